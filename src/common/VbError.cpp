#include "common/VbError.hpp"

#include <array>
#include <utility>

namespace velloran {

std::string VbError::StandardText(int number) {
    static constexpr std::array<std::pair<int, const char*>, 19> kTexts{{
        {vbErrInvalidCall, "Invalid procedure call or argument"},
        {vbErrOverflow, "Overflow"},
        {vbErrSubscript, "Subscript out of range"},
        {vbErrTypeMismatch, "Type mismatch"},
        {vbErrFileNotFound, "File not found"},
        {vbErrDeviceIO, "Device I/O error"},
        {vbErrFileExists, "File already exists"},
        {vbErrDiskFull, "Disk full"},
        {vbErrPermissionDenied, "Permission denied"},
        {vbErrPathFileAccess, "Path/File access error"},
        {vbErrPathNotFound, "Path not found"},
        {vbErrObjectNotSet, "Object variable or With block variable not set"},
        {vbErrBadFileFormat, "Bad file format"},
        {vbErrInvalidPropertyValue, "Invalid property value"},
        {vbErrKeyInUse, "This key is already associated with an element of this collection"},
        {vbErrIndexOutOfBounds, "Index out of bounds"},
        {vbErrElementNotFound, "Element not found"},
        {vbErrKeyNotUnique, "Key is not unique in collection"},
        {0, ""},
    }};
    for (const auto& [n, text] : kTexts)
        if (n == number) return text;
    return "Application-defined or object-defined error";
}

VbError VbError::Standard(VbErrorNumber number, const std::string& subject) {
    std::string text = StandardText(number);
    if (!subject.empty()) text += ": " + subject;
    return VbError(number, std::move(text));
}

VbError VbError::InvalidCall(const std::string& subject) {
    return Standard(vbErrInvalidCall, subject);
}
VbError VbError::FileNotFound(const std::string& subject) {
    return Standard(vbErrFileNotFound, subject);
}
VbError VbError::DeviceIO(const std::string& subject) { return Standard(vbErrDeviceIO, subject); }
VbError VbError::FileExists(const std::string& subject) {
    return Standard(vbErrFileExists, subject);
}
VbError VbError::DiskFull(const std::string& subject) { return Standard(vbErrDiskFull, subject); }
VbError VbError::PermissionDenied(const std::string& subject) {
    return Standard(vbErrPermissionDenied, subject);
}
VbError VbError::PathFileAccess(const std::string& subject) {
    return Standard(vbErrPathFileAccess, subject);
}
VbError VbError::PathNotFound(const std::string& subject) {
    return Standard(vbErrPathNotFound, subject);
}
VbError VbError::Overflow() { return Standard(vbErrOverflow, {}); }
VbError VbError::SubscriptOutOfRange() { return Standard(vbErrSubscript, {}); }
VbError VbError::TypeMismatch() { return Standard(vbErrTypeMismatch, {}); }
VbError VbError::ObjectNotSet() { return Standard(vbErrObjectNotSet, {}); }
VbError VbError::InvalidPropertyValue() { return Standard(vbErrInvalidPropertyValue, {}); }
VbError VbError::KeyInUse() { return Standard(vbErrKeyInUse, {}); }
VbError VbError::IndexOutOfBounds() { return Standard(vbErrIndexOutOfBounds, {}); }
VbError VbError::ElementNotFound() { return Standard(vbErrElementNotFound, {}); }
VbError VbError::KeyNotUnique() { return Standard(vbErrKeyNotUnique, {}); }
VbError VbError::NoSuchControl(int index) {
    return VbError(vbErrNoSuchControl,
                   "Control array element '" + std::to_string(index) + "' doesn't exist");
}
VbError VbError::BadFileFormat(const std::string& why) { return VbError(vbErrBadFileFormat, why); }

}  // namespace velloran
