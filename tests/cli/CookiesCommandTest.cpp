// 'velloran-cli cookies' as a user runs it on a Wine prefix with Internet Explorer's
// cookie files and a home with a Firefox profile.
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "cli/CliProcess.hpp"
#include "support/BrowserProfiles.hpp"
#include "support/TestProcess.hpp"

namespace velloran::test {

namespace fs = std::filesystem;

namespace {

std::map<std::string, std::string> Snapshot(const fs::path& root) {
    std::map<std::string, std::string> files;
    for (const auto& e : fs::recursive_directory_iterator(root))
        if (e.is_regular_file()) files[e.path().string()] = ReadAll(e.path());
    return files;
}

std::set<std::string> Lines(const std::string& text) {
    std::set<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) out.insert(line);
    return out;
}

std::int64_t CookiesOf(const fs::path& db, const std::string& host) {
    sqlite3* h = nullptr;
    sqlite3_open_v2(db.c_str(), &h, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* st = nullptr;
    std::int64_t n = -1;
    const std::string sql =
        "SELECT count(*) FROM moz_cookies WHERE host IN ('" + host + "', '." + host + "')";
    if (sqlite3_prepare_v2(h, sql.c_str(), -1, &st, nullptr) == SQLITE_OK &&
        sqlite3_step(st) == SQLITE_ROW)
        n = sqlite3_column_int64(st, 0);
    sqlite3_finalize(st);
    sqlite3_close(h);
    return n;
}

class CookiesCli : public ::testing::Test {
protected:
    void SetUp() override {
        dir = MakeTempDir("velloran-cookiescli");
        const fs::path home = dir / "home";
        profile = MakeFirefoxProfile(home, {"cookies.sqlite"});
        // The prefix's Shell Folders name the cookies folder; drive c: is a link.
        prefix = dir / "prefix";
        cookies = prefix / "drive_c/users/tester/AppData/Local/Microsoft/Windows/INetCookies";
        fs::create_directories(cookies);
        fs::create_directories(prefix / "dosdevices");
        fs::create_symlink("../drive_c", prefix / "dosdevices/c:");
        fs::copy_file(fs::path(VELLORAN_TEST_DATADIR) / "ie/prefix/user.reg", prefix / "user.reg");
        for (const char* name :
             {"tester@site.test[1].txt", "tester@keep.test[1].txt", "8VN0RF92.txt"})
            std::ofstream(cookies / name) << "n\nv\nsite.test/\n0\n1\n2\n3\n4\n*\n";
        keepFile = home / ".config/velloran/cookies-keep.txt";
        env = "HOME=" + home.string() + " XDG_CONFIG_HOME=" + (home / ".config").string() +
              " XDG_CACHE_HOME=" + (home / ".cache").string() +
              " XDG_STATE_HOME=" + (home / ".state").string() + " DISPLAY= WINEPREFIX=";
    }
    void TearDown() override { fs::remove_all(dir); }
    CliResult Cli(const std::string& args) const { return RunCli(env, args); }
    std::string PrefixArg() const { return " --prefix " + prefix.string(); }

    fs::path dir, profile, prefix, cookies, keepFile;
    std::string env;
};

}  // namespace

TEST_F(CookiesCli, ListsBothListsAndEditsTheKeepList) {
    const std::string ff = "\tFirefox ~/.mozilla/firefox/abc.default-esr";
    CliResult r = Cli("cookies" + PrefixArg());
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(Lines(r.out),
              (std::set<std::string>{"delete\ttester@site.test[1].txt\tInternet Explorer",
                                     "delete\ttester@keep.test[1].txt\tInternet Explorer",
                                     "delete\texample.test" + ff, "delete\tkeep.test" + ff,
                                     "delete\tsub.keep.test" + ff, "delete\tnotkeep.test" + ff}));
    EXPECT_FALSE(fs::exists(keepFile)) << "listing stores nothing";
    const CliResult json = Cli("cookies list --json" + PrefixArg());
    EXPECT_EQ(json.code, 0);
    EXPECT_EQ(ParseJson(json.out), "ok") << json.out;
    EXPECT_NE(json.out.find("{\"list\":\"delete\",\"name\":\"notkeep.test\",\"where\":\"Firefox "),
              std::string::npos)
        << json.out;

    EXPECT_EQ(Cli("cookies keep https://KEEP.test/login").code, 0);
    EXPECT_EQ(Cli("cookies keep keep.test").code, 0);  // already there: said, not an error
    EXPECT_EQ(Cli("cookies unkeep nothere.test").code, 1);
    EXPECT_NE(ReadAll(keepFile).find("\nkeep.test\n"), std::string::npos);
    r = Cli("cookies list" + PrefixArg());
    for (const std::string& row : {std::string("keep\ttester@keep.test[1].txt\tInternet Explorer"),
                                   "keep\tkeep.test" + ff, "keep\tsub.keep.test" + ff})
        EXPECT_TRUE(Lines(r.out).count(row)) << row << "\n" << r.out;
    EXPECT_TRUE(r.out.find("keep\t") > r.out.rfind("delete\t")) << "delete rows come first";

    EXPECT_EQ(Cli("cookies unkeep keep.test").code, 0);
    EXPECT_EQ(ReadAll(keepFile).find("\nkeep.test\n"), std::string::npos);

    for (const char* bad : {"cookies frob", "cookies delete", "cookies list x", "cookies keep",
                            "cookies keep --preview a.test"})
        EXPECT_EQ(Cli(bad).code, 2) << bad;
    EXPECT_EQ(Cli("cookies delete nosuch.test" + PrefixArg()).code, 2);
}

TEST_F(CookiesCli, PreviewAndNoChangeNothingAndARealRunDeletesOnlyTheNamedRows) {
    const auto before = Snapshot(dir);
    CliResult r = Cli("cookies delete --preview all" + PrefixArg());
    EXPECT_EQ(r.code, 0) << r.out;
    EXPECT_EQ(Snapshot(dir), before);
    EXPECT_NE(r.out.find("Removed 5 cookie(s) of 4 site(s) from Firefox"), std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("Preview: nothing was changed."), std::string::npos);
    r = Cli("cookies delete --no all" + PrefixArg());
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(Snapshot(dir), before);

    r = Cli("cookies delete example.test tester@site.test[1].txt" + PrefixArg());
    EXPECT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("[36] Please confirm that you will like to delete the selected "
                         "cookies(s)."),
              std::string::npos);
    EXPECT_NE(r.out.find("[64] Cookies Deleted Successfully!"), std::string::npos);
    EXPECT_FALSE(fs::exists(cookies / "tester@site.test[1].txt"));
    EXPECT_TRUE(fs::exists(cookies / "tester@keep.test[1].txt"));
    EXPECT_TRUE(fs::exists(cookies / "8VN0RF92.txt"));
    EXPECT_EQ(CookiesOf(profile / "cookies.sqlite", "example.test"), 0);
    EXPECT_EQ(CookiesOf(profile / "cookies.sqlite", "keep.test"), 1);
    EXPECT_EQ(CookiesOf(profile / "cookies.sqlite", "notkeep.test"), 1);
}

TEST_F(CookiesCli, TwentyEditsAtOnceKeepEverySiteAndAnEntryThatNamesNoSiteIsRefused) {
    ASSERT_EQ(Cli("cookies keep first.test").code, 0);
    std::vector<FILE*> running;
    for (int i = 0; i < 20; ++i) {
        const std::string cmd = env + " " VELLORAN_CLI_PATH " cookies keep site" +
                                std::to_string(i) + ".test 2>/dev/null";
        running.push_back(popen(cmd.c_str(), "r"));
    }
    for (FILE* p : running) EXPECT_EQ(pclose(p), 0);
    const std::string kept = ReadAll(keepFile);
    EXPECT_NE(kept.find("\nfirst.test\n"), std::string::npos) << kept;
    for (int i = 0; i < 20; ++i)
        EXPECT_NE(kept.find("\nsite" + std::to_string(i) + ".test\n"), std::string::npos)
            << i << "\n"
            << kept;

    EXPECT_EQ(Cli("cookies keep https://bank.test:443/login").code, 0);
    EXPECT_NE(ReadAll(keepFile).find("\nbank.test\n"), std::string::npos);
    EXPECT_EQ(Cli("cookies keep 'not a site'").code, 1);
    EXPECT_EQ(ReadAll(keepFile).find("not a site"), std::string::npos);
}

TEST_F(CookiesCli, AFullDiskLeavesTheKeepListAsItWas) {
    if (geteuid() != 0) GTEST_SKIP() << "mounting a small file system needs root";
    const fs::path config = dir / "home/.config";
    fs::create_directories(config);
    ASSERT_EQ(mount("tmpfs", config.c_str(), "tmpfs", 0, "size=64k"), 0);
    struct Unmount {
        fs::path at;
        ~Unmount() { umount(at.c_str()); }
    } unmount{config};
    ASSERT_EQ(Cli("cookies keep bank.test").code, 0);
    const std::string before = ReadAll(keepFile);
    // Fill what is left of the disk.
    {
        std::ofstream fill(config / "filler", std::ios::binary);
        const std::string block(4096, 'x');
        while (fill.write(block.data(), block.size()) && fill.flush()) {
        }
    }
    std::string many;
    for (int i = 0; i < 200; ++i)
        many += " some-rather-long-site-name-" + std::to_string(i) + ".test";
    EXPECT_EQ(Cli("cookies keep" + many).code, 1);
    EXPECT_EQ(ReadAll(keepFile), before) << "the list is whole, never cut short";
    std::error_code ec;
    std::vector<std::string> left;
    for (const auto& e : fs::directory_iterator(config / "velloran", ec))
        left.push_back(e.path().filename().string());
    EXPECT_EQ(left, std::vector<std::string>{"cookies-keep.txt"}) << "no temporary file stays";
}

}  // namespace velloran::test
