// Windows browsers mark a profile in use by holding a file open for themselves:
// Gecko's parent.lock, Chromium's lockfile.
#include <gtest/gtest.h>

#include "common/platform/windows/Win32.hpp"

#include <filesystem>
#include <fstream>

#include "cleaning/browsers/ChromiumProfiles.hpp"
#include "cleaning/browsers/GeckoTasks.hpp"
#include "common/platform/windows/WindowsPlatform.hpp"
#include "support/TestProcess.hpp"

namespace velloran::test {
namespace {

namespace fs = std::filesystem;

// Opens `file` the way a running browser does: nobody else may open it.
win::Handle HoldExclusively(const fs::path& file) {
    return win::Handle(CreateFileW(file.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                   OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
}

TEST(BrowserLocksWindowsTest, AFileHeldOpenMarksTheProfileInUse) {
    const fs::path dir = MakeTempDir("velloran-locks");
    struct Cleanup {
        fs::path path;
        ~Cleanup() { fs::remove_all(path); }
    } cleanup{dir};
    WindowsPlatform platform;
    const std::string gecko = (dir / "abc.default").string();
    const std::string chromium = (dir / "Opera Stable").string();
    fs::create_directories(gecko);
    fs::create_directories(chromium);
    // Left behind by a browser that ended: not in use.
    std::ofstream(fs::path(gecko) / "parent.lock").close();
    std::ofstream(fs::path(chromium) / "lockfile").close();
    EXPECT_EQ(GeckoProfileInUse(platform, gecko), "");
    EXPECT_EQ(ChromiumFolderInUse(platform, chromium), std::nullopt);
    {
        win::Handle geckoLock = HoldExclusively(fs::path(gecko) / "parent.lock");
        win::Handle chromiumLock = HoldExclusively(fs::path(chromium) / "lockfile");
        ASSERT_TRUE(geckoLock && chromiumLock);
        EXPECT_EQ(GeckoProfileInUse(platform, gecko), "the browser holds its lock (parent.lock)");
        EXPECT_EQ(ChromiumFolderInUse(platform, chromium), "the browser holds its lock (lockfile)");
    }
    EXPECT_EQ(GeckoProfileInUse(platform, gecko), "");
}

}  // namespace
}  // namespace velloran::test
