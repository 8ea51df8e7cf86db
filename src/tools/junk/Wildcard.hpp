#pragma once
// File-name wildcards with the rules of Windows' directory search (FindFirstFile):
// case-insensitive; "?" and "*" keep their DOS meanings, so "*.*" matches every
// name (one without a dot too), "*." matches names without an extension and
// "a?" matches "a". Short 8.3 aliases do not exist here, so "*.tmp" never matches
// "x.tmpl" the way it can on Windows.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velloran {

class Wildcard {
public:
    Wildcard() = default;
    explicit Wildcard(std::string_view pattern);

    bool Matches(std::string_view name) const;
    const std::string& Pattern() const { return pattern_; }
    bool MatchesEverything() const { return kind_ == Kind::All; }

private:
    enum class Kind : std::uint8_t { All, Literal, Suffix, General };
    // Compiled tokens: literal characters (already folded) and the DOS wildcards.
    enum Token : char { kStar = 1, kDosStar = 2, kDosQm = 3, kDosDot = 4 };
    bool MatchGeneral(std::string_view name) const;

    std::string pattern_;
    std::string compiled_;  // lower-cased literals and Token values
    std::string literal_;   // Literal: the folded name; Suffix: the folded tail
    std::string prefix_;    // General: the literal head every match starts with
    Kind kind_ = Kind::General;
};

// ASCII case folding; bytes outside ASCII compare as they are, so names that are
// not UTF-8 still match sensibly.
inline char FoldCase(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c; }

// One-shot helper for callers that match a pattern once.
bool WildcardMatch(std::string_view pattern, std::string_view name);

}  // namespace velloran
