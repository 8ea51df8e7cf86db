#pragma once
// Paths are UTF-8 text in the core and native only at the system's boundary. A
// std::filesystem::path made from a std::string reads it in the system's narrow
// encoding, which on Windows is the ANSI code page, not UTF-8: "Café" would name
// "CafÃ©". Every path made from text therefore goes through PathFromUtf8, and
// every text made from a path through Utf8FromPath.
#include <filesystem>
#include <string>
#include <string_view>

namespace velloran {

inline std::filesystem::path PathFromUtf8(std::string_view utf8) {
    return std::filesystem::path(
        std::u8string_view(reinterpret_cast<const char8_t*>(utf8.data()), utf8.size()));
}

inline std::string Utf8FromPath(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return std::string(text.begin(), text.end());
}

}  // namespace velloran
