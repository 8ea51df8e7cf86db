#include "common/platform/Paths.hpp"

#include "common/platform/windows/Win32.hpp"

namespace velloran {

const char kPathSeparator = '\\';
const std::string_view kPathSeparators = "\\/";

// Names compare as the file system compares them: the system's upper case.
std::string PathKey(std::string_view path) {
    std::wstring wide = win::Wide(path);
    for (wchar_t& c : wide)
        if (c == L'/') c = L'\\';
    if (!wide.empty()) CharUpperBuffW(wide.data(), static_cast<DWORD>(wide.size()));
    return win::Narrow(wide);
}

}  // namespace velloran
