#include "common/registry/RegistryValue.hpp"

#include <array>
#include <cstdio>
#include <memory>

#include "common/platform/TextCase.hpp"

namespace velloran {

std::string RootKeyName(std::uint32_t root) {
    switch (root) {
        case kHKeyClassesRoot:
            return "HKEY_CLASSES_ROOT";
        case kHKeyCurrentUser:
            return "HKEY_CURRENT_USER";
        case kHKeyLocalMachine:
            return "HKEY_LOCAL_MACHINE";
        case kHKeyUsers:
            return "HKEY_USERS";
        default: {
            char buf[16];
            std::snprintf(buf, sizeof buf, "0x%08X", root);
            return buf;
        }
    }
}

// ---- UTF-8 / UTF-16 ----

void AppendUtf16(std::u16string& out, char32_t cp) {
    if (cp >= 0x10000) {
        cp -= 0x10000;
        out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
        out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
    } else {
        out.push_back(static_cast<char16_t>(cp));
    }
}

std::u16string Utf8ToUtf16(std::string_view s) {
    std::u16string out;
    out.reserve(s.size());
    size_t i = 0;
    while (i < s.size()) {
        unsigned char c = static_cast<unsigned char>(s[i]);
        if (c < 0x80) {
            out.push_back(c);
            ++i;
            continue;
        }
        int extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : -1;
        char32_t cp = extra == 3 ? (c & 0x07) : extra == 2 ? (c & 0x0F) : (c & 0x1F);
        bool ok = extra > 0 && c < 0xF8;
        for (int k = 1; ok && k <= extra; ++k) {
            if (i + k >= s.size()) {
                ok = false;
                break;
            }
            unsigned char cc = static_cast<unsigned char>(s[i + k]);
            if ((cc & 0xC0) != 0x80)
                ok = false;
            else
                cp = (cp << 6) | (cc & 0x3F);
        }
        static constexpr char32_t kMin[] = {0, 0x80, 0x800, 0x10000};
        if (ok && (cp < kMin[extra] || cp > 0x10FFFF || (cp >= 0xD800 && cp < 0xE000))) ok = false;
        if (!ok) {
            out.push_back(0xFFFD);
            ++i;
            continue;
        }
        AppendUtf16(out, cp);
        i += extra + 1;
    }
    return out;
}

static void AppendUtf8(std::string& out, char32_t cp) {
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

std::string Utf16ToUtf8(std::u16string_view s) {
    std::string out;
    out.reserve(s.size());
    for (size_t i = 0; i < s.size(); ++i) {
        char32_t c = s[i];
        if (c >= 0xD800 && c < 0xDC00 && i + 1 < s.size() && s[i + 1] >= 0xDC00 &&
            s[i + 1] < 0xE000) {
            c = 0x10000 + ((c - 0xD800) << 10) + (s[i + 1] - 0xDC00);
            ++i;
        } else if (c >= 0xD800 && c < 0xE000) {
            c = 0xFFFD;
        }
        AppendUtf8(out, c);
    }
    return out;
}

// ---- case folding ----

namespace {

// Simple lower-case mappings for the scripts registry names use in practice; used
// where the C library has no Unicode locale to ask.
char16_t FallbackLower(char16_t c) {
    if (c >= u'A' && c <= u'Z') return c + 32;
    if (c < 0xC0) return c;
    if (c <= 0xDE) return c == 0xD7 ? c : c + 32;
    if (c == 0x130) return u'i';
    if ((c >= 0x100 && c <= 0x137) || (c >= 0x14A && c <= 0x177)) return (c % 2 == 0) ? c + 1 : c;
    if ((c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E)) return (c % 2 == 1) ? c + 1 : c;
    if (c == 0x178) return 0xFF;
    if (c == 0x386) return 0x3AC;
    if (c >= 0x388 && c <= 0x38A) return c + 37;
    if (c == 0x38C) return 0x3CC;
    if (c == 0x38E || c == 0x38F) return c + 63;
    if (c >= 0x391 && c <= 0x3AB && c != 0x3A2) return c + 32;
    if (c >= 0x400 && c <= 0x40F) return c + 80;
    if (c >= 0x410 && c <= 0x42F) return c + 32;
    if ((c >= 0x460 && c <= 0x481) || (c >= 0x48A && c <= 0x4BF)) return (c % 2 == 0) ? c + 1 : c;
    if (c >= 0xFF21 && c <= 0xFF3A) return c + 32;
    return c;
}

struct FoldTable {
    std::array<char16_t, 0x10000> map;
    FoldTable() {
        for (unsigned c = 0; c < 0x10000; ++c) map[c] = FallbackLower(static_cast<char16_t>(c));
        // The system's Unicode tables cover what the list above does not.
        ApplySystemLowerCase(map);
    }
};

const FoldTable& Fold() {
    static const FoldTable table;
    return table;
}

}  // namespace

char16_t RegFoldCase(char16_t c) { return Fold().map[c]; }

int RegCompareNames(std::u16string_view a, std::u16string_view b) {
    const auto& map = Fold().map;
    size_t n = std::min(a.size(), b.size());
    for (size_t i = 0; i < n; ++i) {
        int d = int(map[a[i]]) - int(map[b[i]]);
        if (d) return d;
    }
    return a.size() < b.size() ? -1 : a.size() > b.size() ? 1 : 0;
}

std::vector<std::u16string> SplitRegPath(std::string_view path) {
    std::vector<std::u16string> out;
    size_t i = 0;
    while (i < path.size()) {
        size_t j = path.find('\\', i);
        if (j == std::string_view::npos) j = path.size();
        if (j > i) out.push_back(Utf8ToUtf16(path.substr(i, j - i)));
        i = j + 1;
    }
    return out;
}

// ---- RegValue ----

static void AppendUtf16Le(RegBytes& out, std::u16string_view s) {
    for (char16_t c : s) {
        out.push_back(static_cast<std::uint8_t>(c & 0xFF));
        out.push_back(static_cast<std::uint8_t>(c >> 8));
    }
}

RegValue RegValue::String(std::string_view utf8, std::uint32_t type) {
    RegValue v;
    v.type = type;
    AppendUtf16Le(v.data, Utf8ToUtf16(utf8));
    AppendUtf16Le(v.data, std::u16string(1, u'\0'));
    return v;
}

RegValue RegValue::MultiString(const std::vector<std::string>& items) {
    RegValue v;
    v.type = kRegMultiSz;
    for (const auto& item : items) {
        AppendUtf16Le(v.data, Utf8ToUtf16(item));
        AppendUtf16Le(v.data, std::u16string(1, u'\0'));
    }
    AppendUtf16Le(v.data, std::u16string(1, u'\0'));
    return v;
}

RegValue RegValue::Dword(std::uint32_t x) {
    RegValue v;
    v.type = kRegDword;
    for (int i = 0; i < 4; ++i) v.data.push_back(static_cast<std::uint8_t>(x >> (8 * i)));
    return v;
}

RegValue RegValue::Qword(std::uint64_t x) {
    RegValue v;
    v.type = kRegQword;
    for (int i = 0; i < 8; ++i) v.data.push_back(static_cast<std::uint8_t>(x >> (8 * i)));
    return v;
}

RegValue RegValue::Binary(RegBytes bytes, std::uint32_t type) {
    RegValue v;
    v.type = type;
    v.data = std::move(bytes);
    return v;
}

static std::u16string Units(const RegBytes& data) {
    std::u16string s;
    s.reserve(data.size() / 2);
    for (size_t i = 0; i + 1 < data.size(); i += 2)
        s.push_back(static_cast<char16_t>(data[i] | (data[i + 1] << 8)));
    return s;
}

std::string RegValue::AsString() const {
    std::u16string s = Units(data);
    if (auto nul = s.find(u'\0'); nul != std::u16string::npos) s.resize(nul);
    return Utf16ToUtf8(s);
}

std::vector<std::string> RegValue::AsStrings() const {
    std::u16string s = Units(data);
    std::vector<std::string> out;
    size_t i = 0;
    while (i < s.size()) {
        size_t j = s.find(u'\0', i);
        if (j == std::u16string::npos) j = s.size();
        // An empty item ends the list.
        if (j == i) break;
        out.push_back(Utf16ToUtf8(std::u16string_view(s).substr(i, j - i)));
        i = j + 1;
    }
    return out;
}

}  // namespace velloran
