#include "common/platform/linux/WindowLookup.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "support/TestProcess.hpp"

namespace velloran::linuxfs {
namespace {

TEST(WindowLookup, BrowsersAreKnownByTheirOwnClassesAndProcesses) {
    const WindowClassRule* gecko = RuleForWindowClass("MozillaWindowClass");
    const WindowClassRule* opera = RuleForWindowClass("OpWindow");
    const WindowClassRule* ie = RuleForWindowClass("IEFrame");
    ASSERT_TRUE(gecko && opera && ie);
    EXPECT_EQ(RuleForWindowClass("Notepad"), nullptr);

    // Debian's Firefox ESR and its relatives, as X11 shows them.
    EXPECT_TRUE(MatchesX11Class(*gecko, "Navigator", "firefox-esr"));
    EXPECT_TRUE(MatchesX11Class(*gecko, "Navigator", "LibreWolf"));
    EXPECT_TRUE(MatchesX11Class(*gecko, "seamonkey", "SeaMonkey"));
    EXPECT_FALSE(MatchesX11Class(*gecko, "chromium", "Chromium"));
    EXPECT_TRUE(MatchesX11Class(*opera, "opera", "Opera"));
    EXPECT_FALSE(MatchesX11Class(*opera, "chromium", "Chromium"));
    EXPECT_TRUE(MatchesX11Class(*ie, "iexplore.exe", "iexplore.exe"));

    // Process names: Debian's names, the kernel's 15-character cut, Wine's programs.
    EXPECT_TRUE(MatchesProcess(*gecko, "firefox-esr", "/usr/lib/firefox-esr/firefox-esr"));
    EXPECT_FALSE(MatchesProcess(*gecko, "Isolated Web Co", "/usr/lib/firefox-esr/firefox-esr"))
        << "content processes belong to a browser that the main process already shows";
    EXPECT_TRUE(MatchesProcess(*opera, "opera-developer", ""));
    EXPECT_TRUE(MatchesProcess(*ie, "wine64-preloade",
                               "C:\\Program Files\\Internet Explorer\\iexplore.exe"));
    EXPECT_FALSE(MatchesProcess(*ie, "bash", "/bin/bash"));
    EXPECT_FALSE(MatchesProcess(*opera, "", ""));
}

TEST(WindowLookup, ProcessTableFindsOnlyThisUsersMatchingProcess) {
    const std::filesystem::path root = test::MakeTempDir("velloran-proc");
    struct Cleanup {
        std::filesystem::path p;
        ~Cleanup() { std::filesystem::remove_all(p); }
    } cleanup{root};
    struct {
        std::filesystem::path p;
        const std::filesystem::path& path() const { return p; }
    } proc{root};
    auto addProcess = [&](const std::string& pid, const std::string& comm,
                          const std::string& cmdline) {
        std::filesystem::create_directories(proc.path() / pid);
        std::ofstream(proc.path() / pid / "comm") << comm << "\n";
        std::ofstream(proc.path() / pid / "cmdline") << cmdline;
    };
    const WindowClassRule& gecko = *RuleForWindowClass("MozillaWindowClass");
    addProcess("self", "firefox-esr", "firefox-esr");  // not a pid
    addProcess("12", "bash", std::string("/bin/bash\0-l", 12));
    EXPECT_EQ(FindProcess(gecko, proc.path().string()), std::nullopt);
    addProcess("4242", "firefox-esr", std::string("/usr/lib/firefox-esr/firefox-esr\0-P", 35));
    EXPECT_EQ(FindProcess(gecko, proc.path().string()), "firefox-esr");
    if (::getuid() == 0) {
        // Another user's browser does not hold this user's profiles.
        ASSERT_EQ(::chown((proc.path() / "4242").c_str(), 4242, 4242), 0);
        EXPECT_EQ(FindProcess(gecko, proc.path().string()), std::nullopt);
    }
    EXPECT_EQ(FindProcess(gecko, (proc.path() / "missing").string()), std::nullopt);
}

}  // namespace
}  // namespace velloran::linuxfs
