#pragma once
// Small text helpers every layer shares: ASCII case folding (file, window and
// caption names; never registry names, which fold as Wine does) and splitting
// a line into fields.
#include <string>
#include <string_view>
#include <vector>

namespace velloran {

std::string AsciiLower(std::string_view s);
std::string AsciiUpper(std::string_view s);
bool EqualsIgnoringCase(std::string_view a, std::string_view b);

// The fields between separators: "a;;b" gives "a", "", "b"; an empty text gives
// one empty field; an empty separator gives the whole text.
std::vector<std::string> SplitFields(std::string_view text, std::string_view separator);

// `text` without leading and trailing characters of `blanks`.
std::string Trimmed(std::string_view text, std::string_view blanks = " \t");
// Paths are joined by JoinPath in common/platform/Paths.hpp (the system's separator).

}  // namespace velloran
