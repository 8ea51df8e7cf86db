// The Netscape boxes from the console, as a user runs them on a Firefox profile.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "support/TestProcess.hpp"

namespace velloran::test {

namespace fs = std::filesystem;

namespace {

std::map<std::string, std::string> Snapshot(const fs::path& root) {
    std::map<std::string, std::string> files;
    for (const auto& e : fs::recursive_directory_iterator(root))
        if (e.is_regular_file()) {
            std::ifstream in(e.path(), std::ios::binary);
            std::stringstream ss;
            ss << in.rdbuf();
            files[e.path().string()] = ss.str();
        }
    return files;
}

}  // namespace

TEST(NetscapeCli, PreviewPrintsTheRealRunsLinesAndChangesNothing) {
    const fs::path dir = MakeTempDir("velloran-nscli");
    struct Cleanup {
        fs::path path;
        ~Cleanup() { fs::remove_all(path); }
    } cleanup{dir};
    const fs::path home = dir / "home";
    const fs::path profile = home / ".mozilla/firefox/abc.default-esr";
    fs::create_directories(profile);
    for (const char* db : {"places.sqlite", "cookies.sqlite", "formhistory.sqlite"})
        fs::copy_file(fs::path(VELLORAN_TEST_DATADIR) / "browsers/gecko" / db, profile / db);
    std::ofstream(home / ".mozilla/firefox/profiles.ini")
        << "[Profile0]\nName=default-esr\nIsRelative=1\nPath=abc.default-esr\n";
    fs::create_directories(home / ".cache/mozilla/firefox/abc.default-esr/cache2");
    std::ofstream(home / ".cache/mozilla/firefox/abc.default-esr/cache2/index") << "1234";
    const std::string env =
        "HOME=" + home.string() + " XDG_CONFIG_HOME=" + (home / ".config").string() +
        " XDG_CACHE_HOME=" + (home / ".cache").string() + " DISPLAY= WINEPREFIX=";

    const auto before = Snapshot(dir);
    // The open-browser check looks at this user's real processes.
    if (RunCli(env, "clean --preview ns_Chk:1").out.find("browser is open!") != std::string::npos)
        GTEST_SKIP() << "a Gecko-family browser of this user is running";
    const CliResult preview = RunCli(env, "clean --preview ns_Chk:all");
    EXPECT_EQ(preview.code, 0) << preview.out;
    EXPECT_EQ(Snapshot(dir), before);
    const CliResult real = RunCli(env, "clean ns_Chk:all");
    EXPECT_EQ(real.code, 0) << real.out;
    ASSERT_TRUE(preview.out.starts_with(real.out)) << preview.out << "\n---\n" << real.out;
    for (const char* line :
         {"Verifying Netscape jobs...", "Removed 5 cookies from", "Removed 1 cache file (4 bytes)",
          "Removed 3 form entries (1 search-bar term)", "1 page that only typing had kept"})
        EXPECT_NE(real.out.find(line), std::string::npos) << line << "\n" << real.out;
    EXPECT_NE(Snapshot(dir), before);
}

}  // namespace velloran::test
