// 'velloran-cli tasks' and 'clean' as a user runs them.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "cli/CliFixture.hpp"

namespace velloran::test {

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

using CleanCommandTest = CliFixture;

TEST_F(CleanCommandTest, PreviewPrintsTheRealRunsLogAndChangesNothing) {
    const std::string before = ReadAll(dir / "prefix" / "user.reg");
    CliResult preview = Cli(env, "clean --preview WIN_CHK:5 win_chk:2");
    EXPECT_EQ(preview.code, 0);
    EXPECT_EQ(ReadAll(dir / "prefix" / "user.reg"), before);
    EXPECT_FALSE(fs::exists(dir / "prefix" / "system.reg"));

    CliResult real = Cli(env, "clean win_chk:5 win_chk:2");
    EXPECT_EQ(real.code, 0);
    const std::string log =
        "Verifying Windows jobs...\n"
        "Cleaning Run history ...\n"
        "Cleared Windows {run dialog} history. (2 Found!)\n"
        "[64] Selected Task(s) completed successfully.\n";
    EXPECT_NE(real.out.find(log), std::string::npos) << real.out;
    ASSERT_TRUE(preview.out.starts_with(real.out)) << preview.out << "\n---\n" << real.out;
    EXPECT_NE(preview.out.find("would remove 2 registry value(s)"), std::string::npos);

    const std::string after = ReadAll(dir / "prefix" / "user.reg");
    EXPECT_EQ(after.find("notepad"), std::string::npos);
    EXPECT_NE(after.find("@=\"keep\""), std::string::npos);
    EXPECT_NE(after.find("[Software\\\\Other] "
                         "1700000000\n#time=1da1747c66d0000\n\"Untouched\"=dword:0000002a\n"),
              std::string::npos)
        << "an unrelated key keeps its bytes";
}

TEST_F(CleanCommandTest, UsageErrors) {
    EXPECT_EQ(Cli(env, "").code, 2);
    EXPECT_EQ(Cli(env, "frobnicate").code, 2);
    EXPECT_EQ(Cli(env, "clean").code, 2);
    EXPECT_EQ(Cli(env, "clean win_chk:14").code, 2);
    EXPECT_EQ(Cli(env, "clean nope:1").code, 2);
    EXPECT_EQ(Cli(env, "clean --bogus win_chk:1").code, 2);
    EXPECT_EQ(Cli(env, "clean ns_chk:all").code, 2) << "no Netscape profile in this home";
}

TEST_F(CleanCommandTest, MalformedRegistryIsRefusedAndLeftWhole) {
    std::ofstream(dir / "prefix" / "user.reg", std::ios::binary | std::ios::trunc)
        << "WINE REGISTRY Version 2\n\n[Software\\\\Broken] 1\n\"a\"=dword:zz\n";
    const std::string before = ReadAll(dir / "prefix" / "user.reg");
    CliResult r = Cli(env, "clean win_chk:5");
    EXPECT_EQ(r.code, 1);
    EXPECT_EQ(ReadAll(dir / "prefix" / "user.reg"), before);
}

TEST_F(CleanCommandTest, TasksListsTheCatalogue) {
    CliResult r = Cli(env, "tasks");
    EXPECT_EQ(r.code, 0);
    EXPECT_NE(r.out.find("win_chk:5\tErase Run History\n"), std::string::npos);
    EXPECT_NE(r.out.find("cmbsDelType:1\tGuttmann Scheme [Supreme, Fast]\n"), std::string::npos);
    EXPECT_TRUE(r.out.starts_with("win_chk:1\t")) << "Windows tasks come first";
}

TEST(CleanCommandNetscape, PreviewPrintsTheRealRunsLinesAndChangesNothing) {
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
