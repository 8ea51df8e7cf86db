#pragma once
// The console program run as a user runs it: a real process on a prefix folder
// and a home of the test's own.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "cli/CliProcess.hpp"
#include "support/TestProcess.hpp"

namespace velloran::test {

namespace fs = std::filesystem;

inline CliResult Cli(const std::string& env, const std::string& args) { return RunCli(env, args); }

inline constexpr const char* kUserReg =
    "WINE REGISTRY Version 2\n"
    ";; All keys relative to REGISTRY\\\\User\\\\S-1-5-21-0-0-0-1000\n"
    "\n"
    "#arch=win64\n"
    "\n"
    "[Software\\\\Microsoft\\\\Windows\\\\CurrentVersion\\\\Explorer\\\\RunMRU] 1700000000\n"
    "#time=1da1747c66d0000\n"
    "@=\"keep\"\n"
    "\"a\"=\"notepad\"\n"
    "\"MRUList\"=\"a\"\n"
    "\n"
    "[Software\\\\Other] 1700000000\n"
    "#time=1da1747c66d0000\n"
    "\"Untouched\"=dword:0000002a\n";

class CliFixture : public ::testing::Test {
protected:
    void SetUp() override {
        dir = fs::temp_directory_path() / ("velloran-cli-" + std::to_string(::getpid()));
        fs::remove_all(dir);
        fs::create_directories(dir / "prefix");
        fs::create_directories(dir / "home");
        std::ofstream(dir / "prefix" / "user.reg", std::ios::binary) << kUserReg;
        env = "HOME=" + (dir / "home").string() +
              " XDG_CONFIG_HOME=" + (dir / "home/.config").string() +
              " XDG_DATA_HOME=" + (dir / "home/.local/share").string() +
              " XDG_STATE_HOME=" + (dir / "home/.local/state").string() +
              " DISPLAY= WINEPREFIX=" + (dir / "prefix").string();
    }
    void TearDown() override { fs::remove_all(dir); }
    fs::path dir;
    std::string env;
};

}  // namespace velloran::test
