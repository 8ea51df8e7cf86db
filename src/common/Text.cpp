#include "common/Text.hpp"

#include <algorithm>
#include <cctype>

namespace velloran {

namespace {

char LowerChar(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }
char UpperChar(char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); }

}  // namespace

std::string AsciiLower(std::string_view s) {
    std::string out(s);
    std::transform(out.begin(), out.end(), out.begin(), LowerChar);
    return out;
}

std::string AsciiUpper(std::string_view s) {
    std::string out(s);
    std::transform(out.begin(), out.end(), out.begin(), UpperChar);
    return out;
}

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return LowerChar(x) == LowerChar(y);
           });
}

std::vector<std::string> SplitFields(std::string_view text, std::string_view separator) {
    std::vector<std::string> out;
    if (separator.empty()) {
        out.emplace_back(text);
        return out;
    }
    std::size_t start = 0;
    for (;;) {
        const std::size_t at = text.find(separator, start);
        out.emplace_back(text.substr(start, at == std::string_view::npos ? at : at - start));
        if (at == std::string_view::npos) return out;
        start = at + separator.size();
    }
}

std::string Trimmed(std::string_view text, std::string_view blanks) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    const std::size_t last = text.find_last_not_of(blanks);
    return std::string(text.substr(first, last - first + 1));
}

std::string JoinPath(std::string_view folder, std::string_view name) {
    if (folder.empty()) return std::string(name);
    std::string out(folder);
    if (out.back() != '/') out += '/';
    return out.append(name);
}

}  // namespace velloran
