#pragma once
// Shared by tests that work on real files and processes.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "support/TempDir.hpp"

namespace velloran::test {

struct CliResult {
    int code;
    std::string out;
    std::string err;
};

// The whole content of a file; empty when it cannot be read.
inline std::string ReadAll(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

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

// "ok" when `text` is one JSON value with nothing after it, else where it stops.
std::string ParseJson(const std::string& text);

}  // namespace velloran::test
