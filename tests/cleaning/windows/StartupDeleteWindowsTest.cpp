// The start-up deletion on Windows: the Run value of HKEY_CURRENT_USER starts the
// program with "-delstart", and delstart.dat lives beside the program.
#include <gtest/gtest.h>

#include "common/platform/windows/Win32.hpp"

#include <filesystem>

#include "cleaning/StartupDelete.hpp"
#include "common/platform/Autostart.hpp"
#include "common/platform/Paths.hpp"
#include "support/AppFixture.hpp"

namespace velloran::test {
namespace {

constexpr std::string_view kRun = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";

class StartupDeleteWindowsTest : public AppFixture {
protected:
    StartupDeleteWindowsTest() { platform.exePath = "C:\\Program Files\\Velloran\\velloran.exe"; }
    std::optional<std::string> RunValue() {
        auto v = registry.ReadValue(kHKeyCurrentUser, kRun, "Velloran");
        return v ? std::optional<std::string>(v->AsString()) : std::nullopt;
    }
};

TEST_F(StartupDeleteWindowsTest, TheRunValueIsWrittenOnlyWhereTheRunKeyIsAndRemovedAfter) {
    LoadMain();
    // Without the Run key the request writes the list but creates no key.
    EXPECT_EQ(RequestStartupDelete(app, "C:\\data\\first.dat"), vbTrue);
    EXPECT_EQ(platform.texts[StartupDeleteListPath()], "C:\\data\\first.dat\n");
    EXPECT_FALSE(registry.KeyExists(kHKeyCurrentUser, kRun));

    registry.WriteValue(kHKeyCurrentUser, kRun, "Other", RegValue::String("other.exe"));
    registry.WriteValue(kHKeyCurrentUser, kRun, "VELLORAN", RegValue::String("old.exe"));
    EXPECT_EQ(RequestStartupDelete(app, "C:\\data\\in use.dat"), vbTrue);
    EXPECT_EQ(platform.texts[StartupDeleteListPath()],
              "C:\\data\\first.dat\nC:\\data\\in use.dat\n")
        << "every request waits for the next start";
    // The program's path as it is, unquoted, then the switch.
    EXPECT_EQ(RunValue(), "C:\\Program Files\\Velloran\\velloran.exe -delstart");

    // Started with the switch: the path goes, and so do the value and the list.
    platform.files = {"C:\\data\\in use.dat", StartupDeleteListPath()};
    Application next(host, platform);
    next.SetRegistry(&registry);
    next.CommandLine = "-delstart";
    next.Main().Form_Initialize();
    EXPECT_EQ(ExpectProgramEnd([&] { next.Main().Load(); }), 0);
    EXPECT_FALSE(platform.files.count("C:\\data\\in use.dat"));
    EXPECT_FALSE(platform.files.count(StartupDeleteListPath()));
    EXPECT_EQ(RunValue(), std::nullopt);
    EXPECT_EQ(registry.ReadValue(kHKeyCurrentUser, kRun, "Other"), RegValue::String("other.exe"))
        << "the other programs' entries stay";
}

TEST(StartupDeleteListPathTest, BesideTheProgramWhenItsFolderCanBeWritten) {
    wchar_t self[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    // The test program's folder is the build's, which the test may write.
    EXPECT_EQ(PathFromUtf8(StartupDeleteListPath()),
              std::filesystem::path(self).parent_path() / "delstart.dat");
}

}  // namespace
}  // namespace velloran::test
