// A strict JSON reader for the console's --json output: it only says whether
// the text is one well-formed value.
#include <cctype>
#include <string>

#include "support/TestProcess.hpp"

namespace velloran::test {

namespace {

struct Reader {
    const std::string& s;
    std::size_t i = 0;
    void Space() {
        while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i]))) ++i;
    }
    bool Literal(const char* word) {
        const std::string w(word);
        if (s.compare(i, w.size(), w) != 0) return false;
        i += w.size();
        return true;
    }
    bool String() {
        if (s[i] != '"') return false;
        for (++i; i < s.size(); ++i) {
            const auto c = static_cast<unsigned char>(s[i]);
            if (c == '"') return ++i, true;
            if (c < 0x20) return false;
            if (c == '\\') {
                if (++i == s.size()) return false;
                if (s[i] == 'u') {
                    for (int k = 0; k < 4; ++k)
                        if (++i == s.size() || !std::isxdigit(static_cast<unsigned char>(s[i])))
                            return false;
                } else if (std::string("\"\\/bfnrt").find(s[i]) == std::string::npos) {
                    return false;
                }
            }
        }
        return false;
    }
    bool Number() {
        const std::size_t start = i;
        if (s[i] == '-') ++i;
        while (i < s.size() && (std::isdigit(static_cast<unsigned char>(s[i])) || s[i] == '.' ||
                                s[i] == 'e' || s[i] == 'E' || s[i] == '+' || s[i] == '-'))
            ++i;
        return i > start;
    }
    template <class Item>
    bool Sequence(char close, Item item) {
        ++i;
        Space();
        if (i < s.size() && s[i] == close) return ++i, true;
        for (;;) {
            if (!item()) return false;
            Space();
            if (i >= s.size()) return false;
            if (s[i] == close) return ++i, true;
            if (s[i] != ',') return false;
            ++i;
            Space();
        }
    }
    bool Value() {
        Space();
        if (i >= s.size()) return false;
        switch (s[i]) {
            case '{':
                return Sequence('}', [this] {
                    if (i >= s.size() || !String()) return false;
                    Space();
                    if (i >= s.size() || s[i] != ':') return false;
                    ++i;
                    return Value();
                });
            case '[':
                return Sequence(']', [this] { return Value(); });
            case '"':
                return String();
            default:
                return Literal("true") || Literal("false") || Literal("null") || Number();
        }
    }
};

}  // namespace

std::string ParseJson(const std::string& text) {
    Reader r{text};
    if (!r.Value()) return "bad value at " + std::to_string(r.i);
    r.Space();
    return r.i == text.size() ? "ok" : "text after the value at " + std::to_string(r.i);
}

}  // namespace velloran::test
