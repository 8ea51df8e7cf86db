#include "common/VbError.hpp"

#include <array>
#include <utility>

namespace velloran {

std::string VbError::StandardText(int number) {
    static constexpr std::array<std::pair<int, const char*>, 10> kTexts{{
        {vbErrInvalidCall, "Invalid procedure call or argument"},
        {vbErrOverflow, "Overflow"},
        {vbErrSubscript, "Subscript out of range"},
        {vbErrFileNotFound, "File not found"},
        {vbErrDeviceIO, "Device I/O error"},
        {vbErrDiskFull, "Disk full"},
        {vbErrPermissionDenied, "Permission denied"},
        {vbErrPathNotFound, "Path not found"},
        {vbErrObjectNotSet, "Object variable or With block variable not set"},
        {0, ""},
    }};
    for (const auto& [n, text] : kTexts)
        if (n == number) return text;
    return "Application-defined or object-defined error";
}

}  // namespace velloran
