#pragma once
// The console program run as a separate process, through the shell.
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "support/TestProcess.hpp"

namespace velloran::test {

struct CliResult {
    int code;
    std::string out;
    std::string err;
};

// Runs velloran-cli with `env` (assignments) and `args`; standard error is kept apart.
inline CliResult RunCli(const std::string& env, const std::string& args) {
    const std::filesystem::path errDir = MakeTempDir("velloran-cli-err");
    const std::filesystem::path errFile = errDir / "err";
    const std::string cmd = env + " " VELLORAN_CLI_PATH " " + args + " 2>" + errFile.string();
    FILE* p = popen(cmd.c_str(), "r");
    std::string out;
    char buf[4096];
    while (std::size_t n = fread(buf, 1, sizeof buf, p)) out.append(buf, n);
    const int status = pclose(p);
    std::string err = ReadAll(errFile);
    std::filesystem::remove_all(errDir);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out, err};
}

}  // namespace velloran::test
