#pragma once
// The system's own lower-case mapping of UTF-16 units, for names that compare
// without regard to case beyond what a fixed table covers.
#include <array>

namespace velloran {

// Sets each entry of `table` (indexed by unit, 0x80 and up) that the system's
// Unicode tables lower-case to that lower case; other entries keep their value.
void ApplySystemLowerCase(std::array<char16_t, 0x10000>& table);

}  // namespace velloran
