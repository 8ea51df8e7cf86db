#pragma once
// The console program run as a separate process, through the shell.
#include <sys/wait.h>

#include <cstdio>
#include <string>

namespace velloran::test {

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
