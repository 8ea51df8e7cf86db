#pragma once
// The system calls the tests share, on Windows (see tests/support/linux/).
// The environment is the system's own, as the platform reads it.
#include "common/platform/windows/Win32.hpp"

#include <filesystem>
#include <optional>
#include <string>

namespace velloran::test {

namespace detail {

inline std::wstring Wide(const std::string& utf8) {
    const int n =
        MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
    std::wstring out(static_cast<std::size_t>(n), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), out.data(), n);
    return out;
}

}  // namespace detail

// Sets an environment variable, or removes it when `value` is null.
inline void SetEnvironmentValue(const std::string& name, const char* value) {
    SetEnvironmentVariableW(detail::Wide(name).c_str(),
                            value ? detail::Wide(value).c_str() : nullptr);
}

inline std::optional<std::string> EnvironmentOf(const std::string& name) {
    const std::wstring n = detail::Wide(name);
    const DWORD size = GetEnvironmentVariableW(n.c_str(), nullptr, 0);
    if (size == 0) return std::nullopt;
    std::wstring value(size, L'\0');
    value.resize(GetEnvironmentVariableW(n.c_str(), value.data(), size));
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, value.data(), static_cast<int>(value.size()),
                                          nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, value.data(), static_cast<int>(value.size()), out.data(), bytes,
                        nullptr, nullptr);
    return out;
}

// Whether this process may write files marked read-only in `folder`: Windows
// never lets it, Wine run by root does.
inline bool WritesPastReadOnly(const std::filesystem::path& folder) {
    const std::filesystem::path probe = folder / "read-only-probe";
    HANDLE h = CreateFileW(probe.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                           FILE_ATTRIBUTE_READONLY, nullptr);
    if (h != INVALID_HANDLE_VALUE) CloseHandle(h);
    h = CreateFileW(probe.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    const bool writes = h != INVALID_HANDLE_VALUE;
    if (writes) CloseHandle(h);
    SetFileAttributesW(probe.c_str(), FILE_ATTRIBUTE_NORMAL);
    DeleteFileW(probe.c_str());
    return writes;
}

// The variables that name the user's configuration and cache folders.
inline constexpr const char* kConfigHomeVariable = "APPDATA";
inline constexpr const char* kCacheHomeVariable = "LOCALAPPDATA";

inline long ThisProcessId() { return static_cast<long>(GetCurrentProcessId()); }

}  // namespace velloran::test
