// The help pages and junk filters that the installer and the portable zip put
// beside the program are found there, wherever the program's folder is.
#include <gtest/gtest.h>

#include "common/platform/windows/Win32.hpp"

#include <filesystem>
#include <fstream>
#include <string>

#include "common/platform/Paths.hpp"
#include "common/platform/UserFolders.hpp"
#include "support/TestProcess.hpp"

namespace velloran::test {
namespace {

namespace fs = std::filesystem;

// Runs `program` with `arguments`, its standard output into `out`; the exit code.
DWORD RunProgram(const fs::path& program, const std::wstring& arguments, const fs::path& out) {
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    win::Handle file(CreateFileW(out.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherit,
                                 CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return 0xFFFF;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = file.get();
    startup.hStdError = file.get();
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    std::wstring line = L"\"" + program.native() + L"\" " + arguments;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                        &startup, &process))
        return 0xFFFF;
    win::Handle processHandle(process.hProcess);
    win::Handle threadHandle(process.hThread);
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 0xFFFF;
    GetExitCodeProcess(process.hProcess, &code);
    return code;
}

TEST(ShippedData, TheProgramsFolderComesFirstForItsJunkFilters) {
    const fs::path folder = ShippedDataFolder();
    ASSERT_TRUE(folder.is_absolute()) << Utf8FromPath(folder);
    EXPECT_TRUE(fs::exists(folder / "velloran_tests.exe")) << Utf8FromPath(folder);

    // A copy of the console program in a folder with a name outside the ANSI code
    // page, with a filter file of its own: only that file knows the probe pattern
    // (the source tree's filters stay reachable through drive Z: as a fallback).
    ScratchDir scratch("velloran-shipped");
    const fs::path home = scratch.Path() / L"Caf\u00E9-\u65E5\u672C";
    const fs::path scan = scratch.Path() / L"scan";
    fs::create_directories(home);
    fs::create_directories(scan);
    fs::copy_file(PathFromUtf8(VELLORAN_CLI_PATH), home / L"velloran-cli.exe");
    std::ofstream(home / L"junk-filters.txt") << "# probe\n*.vlnprobe;Probe;\n";
    std::ofstream(scan / L"left.vlnprobe") << "x";
    std::ofstream(scan / L"kept.txt") << "x";

    const fs::path out = scratch.Path() / L"out.txt";
    const DWORD code = RunProgram(home / L"velloran-cli.exe",
                                  L"junk scan --drive \"" + scan.native() + L"\"", out);
    const std::string printed = ReadAll(out);
    EXPECT_EQ(code, 0u) << printed;
    EXPECT_NE(printed.find("left.vlnprobe"), std::string::npos) << printed;
    EXPECT_EQ(printed.find("kept.txt"), std::string::npos) << printed;
}

}  // namespace
}  // namespace velloran::test
