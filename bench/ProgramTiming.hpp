#pragma once
// Timing whole programs for the benchmarks that compare Velloran's programs with
// their peers: shell commands, their wall time, medians, and the usual arguments.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace velloran::bench {

inline std::string Quote(const std::string& s) { return "'" + s + "'"; }

// Runs a shell command; false (and a line on standard error) when it failed.
inline bool Run(const std::string& cmd) {
    if (std::system(cmd.c_str()) == 0) return true;
    std::fprintf(stderr, "failed: %s\n", cmd.c_str());
    return false;
}

// The command's wall time in seconds.
inline double Timed(const std::string& cmd) {
    const auto t0 = std::chrono::steady_clock::now();
    Run(cmd);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

inline double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

// [DIR] [RUNS] [VELLORAN_CLI]: the folder to work in (/var/tmp), the runs per
// figure (5) and the console program (the one beside this build).
struct ProgramArgs {
    std::filesystem::path dir;
    int runs;
    std::string cli;
};
inline ProgramArgs ParseProgramArgs(int argc, char** argv) {
    namespace fs = std::filesystem;
    const fs::path self = fs::canonical("/proc/self/exe").parent_path();
    return {argc > 1 ? argv[1] : "/var/tmp", argc > 2 ? std::max(1, std::atoi(argv[2])) : 5,
            argc > 3 ? argv[3] : (self.parent_path() / "src/velloran-cli").string()};
}

}  // namespace velloran::bench
