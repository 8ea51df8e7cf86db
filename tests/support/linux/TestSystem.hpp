#pragma once
// The system calls the tests share, on Linux. tests/support/windows/ has the same
// names for Windows; the build puts the running system's folder on the include
// path, so a test includes "TestSystem.hpp" and stays the same on both.
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

namespace velloran::test {

// Sets an environment variable, or removes it when `value` is null.
inline void SetEnvironmentValue(const std::string& name, const char* value) {
    if (value)
        setenv(name.c_str(), value, 1);
    else
        unsetenv(name.c_str());
}

inline std::optional<std::string> EnvironmentOf(const std::string& name) {
    const char* v = std::getenv(name.c_str());
    return v ? std::optional<std::string>(v) : std::nullopt;
}

// Whether this process may write files marked read-only in `folder`: root may.
inline bool WritesPastReadOnly(const std::filesystem::path& /*folder*/) { return geteuid() == 0; }

// The variables that name the user's configuration and cache folders.
inline constexpr const char* kConfigHomeVariable = "XDG_CONFIG_HOME";
inline constexpr const char* kCacheHomeVariable = "XDG_CACHE_HOME";

inline long ThisProcessId() { return static_cast<long>(getpid()); }

}  // namespace velloran::test
