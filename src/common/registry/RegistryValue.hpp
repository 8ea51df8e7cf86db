#pragma once
// Registry values as Windows stores them, the root handles, and the name rules
// (UTF-16 names compared without regard to case) shared by every store.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velloran {

// Predefined root handles, with Windows' numbers.
inline constexpr std::uint32_t kHKeyClassesRoot = 0x80000000u;
inline constexpr std::uint32_t kHKeyCurrentUser = 0x80000001u;
inline constexpr std::uint32_t kHKeyLocalMachine = 0x80000002u;
inline constexpr std::uint32_t kHKeyUsers = 0x80000003u;

// "HKEY_CURRENT_USER" etc.; a number in hex for anything else.
std::string RootKeyName(std::uint32_t root);

// Value type codes, with Windows' numbers.
enum RegTypeCode : std::uint32_t {
    kRegNone = 0,
    kRegSz = 1,
    kRegExpandSz = 2,
    kRegBinary = 3,
    kRegDword = 4,
    kRegDwordBigEndian = 5,
    kRegLink = 6,
    kRegMultiSz = 7,
    kRegResourceList = 8,
    kRegFullResourceDescriptor = 9,
    kRegResourceRequirementsList = 10,
    kRegQword = 11,
};

using RegBytes = std::vector<std::uint8_t>;

// One value's type and data, byte for byte as the registry holds it: string types
// are UTF-16LE including their terminating NUL. Keeping raw bytes lets values of
// any type, including malformed ones, pass through untouched.
struct RegValue {
    std::uint32_t type = kRegNone;
    RegBytes data;

    friend bool operator==(const RegValue&, const RegValue&) = default;

    static RegValue String(std::string_view utf8, std::uint32_t type = kRegSz);
    static RegValue MultiString(const std::vector<std::string>& items);
    static RegValue Dword(std::uint32_t v);
    static RegValue Qword(std::uint64_t v);
    static RegValue Binary(RegBytes bytes, std::uint32_t type = kRegBinary);

    // The text of a string value up to its first NUL (lone surrogates become U+FFFD).
    std::string AsString() const;
    // The items of a REG_MULTI_SZ, without the empty item that terminates the list.
    std::vector<std::string> AsStrings() const;
};

// A value of an enumeration. The unnamed default value has an empty name.
struct RegValueEntry {
    std::string name;
    RegValue value;
    bool IsDefault() const { return name.empty(); }
};

// How enumerations name the default value to callers.
inline constexpr std::string_view kDefaultValueName = "(Default)";

// UTF-8 <-> UTF-16. Invalid UTF-8 bytes and lone surrogates become U+FFFD.
std::u16string Utf8ToUtf16(std::string_view s);
// Appends one code point, as a surrogate pair above the basic plane.
void AppendUtf16(std::u16string& out, char32_t cp);
std::string Utf16ToUtf8(std::u16string_view s);

// Registry names compare like Wine's memicmp_strW: unit by unit after lower-casing,
// and with an equal common part the shorter name sorts first.
char16_t RegFoldCase(char16_t c);
int RegCompareNames(std::u16string_view a, std::u16string_view b);
inline bool RegNamesEqual(std::u16string_view a, std::u16string_view b) {
    return a.size() == b.size() && RegCompareNames(a, b) == 0;
}

// Splits "A\B\\C\" into A, B, C. Empty elements are skipped.
std::vector<std::u16string> SplitRegPath(std::string_view path);

}  // namespace velloran
