#include "common/platform/TextCase.hpp"

#include <windows.h>

#include <vector>

namespace velloran {

// The system's own case mapping, the one its registry compares names with: every
// unit above ASCII lower-cased in one call.
void ApplySystemLowerCase(std::array<char16_t, 0x10000>& table) {
    std::vector<wchar_t> units;
    units.reserve(0x10000);
    for (unsigned c = 0x80; c < 0x10000; ++c)
        if (c < 0xD800 || c >= 0xE000) units.push_back(static_cast<wchar_t>(c));
    std::vector<wchar_t> lower = units;
    CharLowerBuffW(lower.data(), static_cast<DWORD>(lower.size()));
    for (std::size_t i = 0; i < units.size(); ++i)
        if (lower[i] != units[i])
            table[static_cast<char16_t>(units[i])] = static_cast<char16_t>(lower[i]);
}

}  // namespace velloran
