#include "tools/junk/Wildcard.hpp"

#include <algorithm>
#include <span>

namespace velloran {

namespace {
bool EqualsFolded(std::string_view name, std::string_view folded) {
    if (name.size() != folded.size()) return false;
    for (std::size_t i = 0; i < name.size(); ++i)
        if (FoldCase(name[i]) != folded[i]) return false;
    return true;
}
}  // namespace

Wildcard::Wildcard(std::string_view pattern) : pattern_(pattern) {
    // Translate to the DOS wildcards the way the Win32 directory search does:
    // "?" is always DOS_QM, "*" before "." is DOS_STAR, "." before a wildcard or at
    // the end is DOS_DOT.
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        char c = pattern[i];
        char next = i + 1 < pattern.size() ? pattern[i + 1] : '\0';
        if (c == '?')
            compiled_ += static_cast<char>(kDosQm);
        else if (c == '*')
            compiled_ += static_cast<char>(next == '.' ? kDosStar : kStar);
        else if (c == '.' && (next == '?' || next == '*' || next == '\0'))
            compiled_ += static_cast<char>(kDosDot);
        else
            compiled_ += FoldCase(c);
    }
    auto isWild = [](char c) { return c >= kStar && c <= kDosDot; };
    if (pattern == "*" || pattern == "*.*") {
        kind_ = Kind::All;
    } else if (std::none_of(compiled_.begin(), compiled_.end(), isWild)) {
        kind_ = Kind::Literal;
        literal_ = compiled_;
    } else if (compiled_.size() >= 2 && compiled_[0] == kDosStar &&
               std::none_of(compiled_.begin() + 1, compiled_.end(), isWild) &&
               compiled_.find('.', 2) == std::string::npos) {
        // "*.ext" with a plain extension: DOS_STAR stops before the last dot, so the
        // name must simply end in ".ext".
        kind_ = Kind::Suffix;
        literal_ = compiled_.substr(1);
    } else if (compiled_.size() >= 2 && compiled_[0] == kStar &&
               std::none_of(compiled_.begin() + 1, compiled_.end(), isWild)) {
        kind_ = Kind::Suffix;  // "*~": a plain star before a literal tail
        literal_ = compiled_.substr(1);
    } else {
        kind_ = Kind::General;
        // Most names fail on the literal head ("~$*", "hs_err_pid*"): test it first.
        prefix_ = compiled_.substr(
            0, static_cast<std::size_t>(std::find_if(compiled_.begin(), compiled_.end(), isWild) -
                                        compiled_.begin()));
    }
}

bool Wildcard::Matches(std::string_view name) const {
    switch (kind_) {
        case Kind::All:
            return true;
        case Kind::Literal:
            return EqualsFolded(name, literal_);
        case Kind::Suffix:
            return name.size() >= literal_.size() &&
                   EqualsFolded(name.substr(name.size() - literal_.size()), literal_);
        case Kind::General:
            break;
    }
    return MatchGeneral(name);
}

// Set-of-states matching over the compiled pattern: states[k] means the first k
// tokens have consumed the name so far. Linear in name × pattern, no backtracking.
bool Wildcard::MatchGeneral(std::string_view name) const {
    if (name.size() < prefix_.size() || !EqualsFolded(name.substr(0, prefix_.size()), prefix_))
        return false;
    const std::size_t m = compiled_.size();
    const std::size_t lastDot = name.rfind('.');
    // State sets live on the stack for patterns of ordinary length.
    constexpr std::size_t kSmall = 64;
    char smallCur[kSmall + 1], smallNxt[kSmall + 1];
    std::vector<char> bigCur, bigNxt;
    std::span<char> cur, nxt;
    if (m < kSmall) {
        cur = std::span<char>(smallCur, m + 1);
        nxt = std::span<char>(smallNxt, m + 1);
    } else {
        bigCur.resize(m + 1);
        bigNxt.resize(m + 1);
        cur = bigCur;
        nxt = bigNxt;
    }
    std::fill(cur.begin(), cur.end(), 0);

    // Tokens that can match nothing at position i spread the state forward.
    auto closure = [&](std::span<char> st, std::size_t i) {
        const bool atEnd = i == name.size();
        const bool atDot = !atEnd && name[i] == '.';
        for (std::size_t k = 0; k < m; ++k) {
            if (!st[k]) continue;
            char t = compiled_[k];
            if (t == kStar || t == kDosStar)
                st[k + 1] = 1;
            else if (t == kDosQm && (atEnd || atDot))
                st[k + 1] = 1;
            else if (t == kDosDot && atEnd)
                st[k + 1] = 1;
        }
    };

    cur[0] = 1;
    closure(cur, 0);
    for (std::size_t i = 0; i < name.size(); ++i) {
        std::fill(nxt.begin(), nxt.end(), 0);
        const char c = FoldCase(name[i]);
        bool any = false;
        for (std::size_t k = 0; k < m; ++k) {
            if (!cur[k]) continue;
            char t = compiled_[k];
            switch (t) {
                case kStar:
                    nxt[k] = 1;  // consume and stay
                    break;
                case kDosStar:
                    // Anything but the last dot of the name.
                    if (i != lastDot) nxt[k] = 1;
                    break;
                case kDosQm:
                    if (c != '.') nxt[k + 1] = 1;
                    break;
                case kDosDot:
                    if (c == '.') nxt[k + 1] = 1;
                    break;
                default:
                    if (t == c) nxt[k + 1] = 1;
                    break;
            }
        }
        closure(nxt, i + 1);
        for (char s : nxt) any = any || s;
        if (!any) return false;
        std::swap(cur, nxt);
    }
    return cur[m] != 0;
}

bool WildcardMatch(std::string_view pattern, std::string_view name) {
    return Wildcard(pattern).Matches(name);
}

}  // namespace velloran
