#include "common/platform/TextCase.hpp"

#include <locale.h>
#include <wctype.h>

namespace velloran {

// The C library's tables of a UTF-8 locale, whatever the program's own locale is.
void ApplySystemLowerCase(std::array<char16_t, 0x10000>& table) {
    locale_t loc = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(nullptr));
    if (!loc) return;
    for (unsigned c = 0x80; c < 0x10000; ++c) {
        if (c >= 0xD800 && c < 0xE000) continue;
        wint_t l = towlower_l(static_cast<wint_t>(c), loc);
        if (l < 0x10000 && l != c) table[c] = static_cast<char16_t>(l);
    }
    freelocale(loc);
}

}  // namespace velloran
