#pragma once
// Paths are UTF-8 text in the core and native only at the system's boundary. A
// std::filesystem::path made from a std::string reads it in the system's narrow
// encoding, which on Windows is the ANSI code page, not UTF-8: "Café" would name
// "CafÃ©". Every path made from text therefore goes through PathFromUtf8, and
// every text made from a path through Utf8FromPath.
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

namespace velloran {

// The separator the system writes between the parts of a path, and every
// character it reads as one: "/" on Linux; "\" and "/" on Windows.
extern const char kPathSeparator;
extern const std::string_view kPathSeparators;

inline bool IsPathSeparator(char c) { return kPathSeparators.find(c) != std::string_view::npos; }

// What two paths are compared by: the path itself where names are case-sensitive
// (Linux); on Windows without letter case and with one kind of separator.
std::string PathKey(std::string_view path);

// `name` inside `folder`, with the system's separator unless the folder ends with one;
// an empty folder gives the name alone.
inline std::string JoinPath(std::string_view folder, std::string_view name) {
    std::string path(folder);
    if (!path.empty() && !IsPathSeparator(path.back())) path += kPathSeparator;
    return path.append(name);
}

// A path without separators at its end; a root ("/", "C:\\") keeps its own.
inline std::string WithoutTrailingSeparators(std::string path) {
    while (path.size() > 1 && IsPathSeparator(path.back()) && !(path.size() == 3 && path[1] == ':'))
        path.pop_back();
    return path;
}

// The folder part of a path (without its last separator) and the name after it;
// {"", path} when there is no separator.
inline std::pair<std::string, std::string> SplitAtLastSeparator(const std::string& path) {
    const std::size_t at = path.find_last_of(kPathSeparators);
    if (at == std::string::npos) return {std::string(), path};
    return {path.substr(0, at), path.substr(at + 1)};
}

inline std::filesystem::path PathFromUtf8(std::string_view utf8) {
    return std::filesystem::path(
        std::u8string_view(reinterpret_cast<const char8_t*>(utf8.data()), utf8.size()));
}

inline std::string Utf8FromPath(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return std::string(text.begin(), text.end());
}

}  // namespace velloran
