#include "cleaning/browsers/JsonScan.hpp"

#include <cstdint>
#include <functional>

namespace velloran {

namespace {

// Nesting deeper than this is no file a browser writes; it stops the reader
// before the stack would run out.
constexpr int kMaxDepth = 200;

class Reader {
public:
    explicit Reader(std::string_view text) : t_(text) {}

    // Calls `member` with each name of the object here; `member` must read the value.
    bool Object(const std::function<bool(const std::string&)>& member) {
        if (!Take('{') || ++depth_ > kMaxDepth) return false;
        if (Take('}')) return --depth_, true;
        do {
            std::string name;
            if (!String(&name) || !Take(':') || !member(name)) return false;
        } while (Take(','));
        --depth_;
        return Take('}');
    }

    bool Array(const std::function<bool()>& element) {
        if (!Take('[') || ++depth_ > kMaxDepth) return false;
        if (Take(']')) return --depth_, true;
        do {
            if (!element()) return false;
        } while (Take(','));
        --depth_;
        return Take(']');
    }

    bool String(std::string* out) {
        if (!Take('"')) return false;
        while (i_ < t_.size()) {
            const char c = t_[i_++];
            if (c == '"') return true;
            if (c != '\\') {
                if (out) *out += c;
                continue;
            }
            if (i_ >= t_.size()) return false;
            const char e = t_[i_++];
            if (e == 'u') {
                std::uint32_t code = 0;
                if (!Hex4(code)) return false;
                // A surrogate pair is one character.
                if (code >= 0xD800 && code < 0xDC00 && t_.substr(i_, 2) == "\\u") {
                    i_ += 2;
                    std::uint32_t low = 0;
                    if (!Hex4(low)) return false;
                    code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
                }
                if (out) Utf8(code, *out);
            } else if (out) {
                constexpr std::string_view from = "bfnrt", to = "\b\f\n\r\t";
                const auto at = from.find(e);
                *out += at == std::string_view::npos ? e : to[at];
            }
        }
        return false;
    }

    bool Skip() {
        Space();
        if (i_ >= t_.size()) return false;
        switch (t_[i_]) {
            case '{':
                return Object([this](const std::string&) { return Skip(); });
            case '[':
                return Array([this] { return Skip(); });
            case '"':
                return String(nullptr);
        }
        // A number, true, false or null: up to the next delimiter.
        const std::size_t start = i_;
        while (i_ < t_.size() &&
               std::string_view(",]} \t\r\n").find(t_[i_]) == std::string_view::npos)
            ++i_;
        return i_ > start;
    }

    char Peek() {
        Space();
        return i_ < t_.size() ? t_[i_] : '\0';
    }

private:
    void Space() {
        while (i_ < t_.size() && std::string_view(" \t\r\n").find(t_[i_]) != std::string_view::npos)
            ++i_;
    }
    bool Take(char c) {
        Space();
        if (i_ >= t_.size() || t_[i_] != c) return false;
        ++i_;
        return true;
    }
    bool Hex4(std::uint32_t& code) {
        if (i_ + 4 > t_.size()) return false;
        for (int k = 0; k < 4; ++k) {
            const char h = t_[i_++];
            code <<= 4;
            if (h >= '0' && h <= '9')
                code |= h - '0';
            else if (h >= 'a' && h <= 'f')
                code |= h - 'a' + 10;
            else if (h >= 'A' && h <= 'F')
                code |= h - 'A' + 10;
            else
                return false;
        }
        return true;
    }
    static void Utf8(std::uint32_t c, std::string& out) {
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }

    std::string_view t_;
    std::size_t i_ = 0;
    int depth_ = 0;
};

bool Keys(Reader& r, const std::vector<std::string_view>& path, std::size_t step,
          std::vector<std::string>& keys) {
    if (r.Peek() != '{') return r.Skip();
    return r.Object([&](const std::string& name) {
        if (step == path.size()) {
            keys.push_back(name);
            return r.Skip();
        }
        if (name == path[step]) return Keys(r, path, step + 1, keys);
        return r.Skip();
    });
}

bool Strings(Reader& r, std::string_view wanted, std::vector<std::string>& found) {
    switch (r.Peek()) {
        case '{':
            return r.Object([&](const std::string& name) {
                if (name == wanted && r.Peek() == '"') {
                    std::string value;
                    if (!r.String(&value)) return false;
                    found.push_back(std::move(value));
                    return true;
                }
                return Strings(r, wanted, found);
            });
        case '[':
            return r.Array([&] { return Strings(r, wanted, found); });
    }
    return r.Skip();
}

}  // namespace

std::vector<std::string> JsonObjectKeys(std::string_view json,
                                        std::initializer_list<std::string_view> path) {
    std::vector<std::string> keys;
    Reader r(json);
    Keys(r, std::vector<std::string_view>(path), 0, keys);
    return keys;
}

std::vector<std::string> JsonStringsNamed(std::string_view json, std::string_view name) {
    std::vector<std::string> found;
    Reader r(json);
    Strings(r, name, found);
    return found;
}

}  // namespace velloran
