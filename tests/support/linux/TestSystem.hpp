#pragma once
// The system calls the tests share, on Linux. tests/support/windows/ has the same
// names for Windows; the build puts the running system's folder on the include
// path, so a test includes "TestSystem.hpp" and stays the same on both.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
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

struct CliResult {
    int code;
    std::string out;
};

// Runs velloran-cli with `env` (assignments) and `args`; standard error is dropped.
inline CliResult RunCli(const std::string& env, const std::string& args) {
    const std::string cmd = env + " " VELLORAN_CLI_PATH " " + args + " 2>/dev/null";
    FILE* p = popen(cmd.c_str(), "r");
    std::string out;
    char buf[4096];
    while (std::size_t n = fread(buf, 1, sizeof buf, p)) out.append(buf, n);
    const int status = pclose(p);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

}  // namespace velloran::test
