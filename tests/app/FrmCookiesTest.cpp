// The cookie manager driven through clicks on the scripted host: Internet
// Explorer's files of the cookies folder on the fake platform, and the sites of
// real-schema Firefox, Opera and Chrome cookie databases on disk, with the stored
// keep list that the browsers' "Clear Cookies" tasks honour afterwards.
#include "app/FrmCookies.hpp"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "cleaning/browsers/ChromiumFamilyCleaner.hpp"
#include "cleaning/browsers/CookieKeepList.hpp"
#include "cleaning/browsers/CookieSites.hpp"
#include "cleaning/browsers/NetscapeCleaner.hpp"
#include "cleaning/browsers/OperaCleaner.hpp"
#include "common/platform/linux/LinuxPlatform.hpp"
#include "support/AppFixture.hpp"
#include "support/BrowserProfiles.hpp"
#include "support/EnvGuard.hpp"
#include "support/RealChromiumProfile.hpp"
#include "support/TestProcess.hpp"

namespace velloran::test {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFolder = "/prefix/cookies";

std::set<std::string> Texts(const ListView& lv) {
    std::set<std::string> out;
    for (int i = 0; i < lv.Count(); ++i) out.insert(lv.Row(i).text);
    return out;
}

int RowOf(const ListView& lv, const std::string& text) {
    for (int i = 0; i < lv.Count(); ++i)
        if (lv.Row(i).text == text) return i;
    ADD_FAILURE() << "no row " << text;
    return -1;
}

void Tick(ListView& lv, const std::string& text) { lv.SetChecked(RowOf(lv, text), true); }

void Sql(const fs::path& db, const std::string& sql) {
    sqlite3* h = nullptr;
    ASSERT_EQ(sqlite3_open(db.c_str(), &h), SQLITE_OK);
    char* error = nullptr;
    EXPECT_EQ(sqlite3_exec(h, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK)
        << (error ? error : "");
    sqlite3_free(error);
    sqlite3_close(h);
}

std::int64_t Count(const fs::path& db, const std::string& sql) {
    sqlite3* h = nullptr;
    sqlite3_open_v2(db.c_str(), &h, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* st = nullptr;
    std::int64_t n = -1;
    if (sqlite3_prepare_v2(h, sql.c_str(), -1, &st, nullptr) == SQLITE_OK &&
        sqlite3_step(st) == SQLITE_ROW)
        n = sqlite3_column_int64(st, 0);
    sqlite3_finalize(st);
    sqlite3_close(h);
    return n;
}

// The fake platform over the real files of a temporary home; a profile whose
// `.parentlock` is in `locked` is held by a running browser.
class HomePlatform : public FakePlatform {
public:
    std::set<std::string> locked;
    bool FileLockHeld(const std::string& p) override { return locked.count(p) != 0; }
    std::optional<std::string> ReadTextFile(const std::string& p) override {
        return realFiles->ReadTextFile(p);
    }
    void WriteTextFile(const std::string& p, const std::string& text) override {
        realFiles->WriteTextFile(p, text);
    }
    void CreateDirectories(const std::string& p) override { realFiles->CreateDirectories(p); }
};

class FrmCookiesTest : public AppFixture {
protected:
    void SetUp() override {
        root = MakeTempDir("velloran-cookies");
        env.Set("XDG_CONFIG_HOME", (root / "config").c_str());
        env.Set("XDG_CACHE_HOME", (root / "cache").c_str());
        LoadMain();
    }
    void TearDown() override { fs::remove_all(root); }

    FrmCookies& Open() {
        FrmCookies& cookies = app.Cookies();
        cookies.Load();
        return cookies;
    }
    std::string KeepPath() const { return (root / "config/velloran/cookies-keep.txt").string(); }

    fs::path root;
    EnvGuard env;
};

// Internet Explorer's files on the fake platform: one "*" line ends each cookie.
class IEFilesTest : public FrmCookiesTest {
protected:
    void SetUp() override {
        FrmCookiesTest::SetUp();
        platform.specialFolders[CSIDL_COOKIES] = kFolder;
        for (const char* name : {"alice@site.test[1].txt", "alice@other.test[2].txt",
                                 "alice@kept.test[1].txt", "8VN0RF92.txt", "index.dat"})
            platform.files.insert(std::string(kFolder) + "/" + name);
        platform.texts[std::string(kFolder) + "/alice@site.test[1].txt"] =
            "a\n1\nsite.test/\n0\n1\n2\n3\n4\n*\nb\n2\nsite.test/\n0\n1\n2\n3\n4\n*\n";
        platform.texts[KeepPath()] = "# mine\nkept.test\n";
    }
    std::vector<std::string> Deleted() const {
        std::vector<std::string> out;
        for (const std::string& c : platform.calls)
            if (c.starts_with("DeleteFileEntry:")) out.push_back(c.substr(16));
        return out;
    }
};

TEST_F(IEFilesTest, ListsOnlyNamesWithAtAndKeptSitesStartInTheKeepList) {
    FrmCookies& cookies = Open();
    // Wine's random names and other files are found by the search but never listed.
    EXPECT_EQ(Texts(cookies.lvDelete),
              (std::set<std::string>{"alice@site.test[1].txt", "alice@other.test[2].txt"}));
    EXPECT_EQ(Texts(cookies.lvKeep), (std::set<std::string>{"alice@kept.test[1].txt"}));
    EXPECT_EQ(cookies.Caption(), "Manage Cookies - 4 Cookies...");
    const ListRow& row = cookies.lvDelete.Row(RowOf(cookies.lvDelete, "alice@site.test[1].txt"));
    EXPECT_EQ(row.subItems, (std::vector<std::string>{"Internet Explorer", "2"}));
    EXPECT_TRUE(host.boxes.empty());
}

TEST_F(IEFilesTest, DeletesExactlyTheTickedRowsAfterYesAndNothingOtherwise) {
    FrmCookies& cookies = Open();
    cookies.cmdClean.UserClick();
    ASSERT_EQ(host.boxes.size(), 1u);
    EXPECT_EQ(host.boxes[0].text, "Nothing to delete, Please select cookie(s) to delete.");
    EXPECT_EQ(host.boxes[0].style, vbExclamation);

    // Ticked rows of the keep list are never deleted, whatever their tick.
    cookies.Check2.SetValue(1);
    Tick(cookies.lvDelete, "alice@site.test[1].txt");
    host.answers = {vbNo};
    cookies.cmdClean.UserClick();
    EXPECT_EQ(host.boxes.back().text,
              "Please confirm that you will like to delete the selected cookies(s).");
    EXPECT_EQ(host.boxes.back().style, 36);
    EXPECT_TRUE(Deleted().empty());
    EXPECT_EQ(cookies.lvDelete.Count(), 2);
    EXPECT_TRUE(cookies.IsLoaded());

    host.boxes.clear();
    app.ReleaseShared();  // an earlier job's end leaves the stop flag set
    cookies.cmdClean.UserClick();
    EXPECT_EQ(Deleted(),
              (std::vector<std::string>{std::string(kFolder) + "/alice@site.test[1].txt"}));
    EXPECT_EQ(cookies.pbar.Caption(), "Completed:  100%");
    ASSERT_EQ(host.boxes.size(), 2u);
    EXPECT_EQ(host.boxes[1].text, "Cookies Deleted Successfully!");
    EXPECT_EQ(host.boxes[1].style, vbInformation);
    EXPECT_FALSE(cookies.IsLoaded());
    // The keep list did not change, so its file was not written.
    EXPECT_EQ(platform.texts[KeepPath()], "# mine\nkept.test\n");
}

TEST_F(IEFilesTest, MovesFollowTheTargetsSelectAllAndTheKeepListIsStoredOnClose) {
    FrmCookies& cookies = Open();
    // Two neighbouring ticked rows both move: removing one must not skip the next.
    cookies.Check1.SetValue(1);
    cookies.Check2.SetValue(1);
    cookies.Command1.UserClick();
    EXPECT_EQ(cookies.lvDelete.Count(), 0);
    ASSERT_EQ(cookies.lvKeep.Count(), 3);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(cookies.lvKeep.Row(i).checked);

    cookies.Check1.SetValue(0);
    cookies.lvKeep.SetChecked(RowOf(cookies.lvKeep, "alice@site.test[1].txt"), false);
    cookies.Command2.UserClick();  // the kept site and other.test go back, unticked
    EXPECT_EQ(Texts(cookies.lvKeep), (std::set<std::string>{"alice@site.test[1].txt"}));
    ASSERT_EQ(cookies.lvDelete.Count(), 2);
    EXPECT_FALSE(cookies.lvDelete.Row(0).checked);

    cookies.cmdExit.UserClick();
    EXPECT_FALSE(cookies.IsLoaded());
    EXPECT_EQ(platform.texts[KeepPath()], "# mine\nsite.test\n");

    FrmCookies& again = Open();
    EXPECT_EQ(Texts(again.lvKeep), (std::set<std::string>{"alice@site.test[1].txt"}));
}

TEST_F(IEFilesTest, AFileThatWillNotGoIsToldAndTheRunStillCompletes) {
    platform.undeletable.insert(std::string(kFolder) + "/alice@other.test[2].txt");
    FrmCookies& cookies = Open();
    cookies.Check1.SetValue(1);
    cookies.cmdClean.UserClick();
    EXPECT_EQ(Deleted().size(), 2u);
    ASSERT_EQ(host.boxes.size(), 3u);
    EXPECT_EQ(host.boxes[1].text.find("Some cookies were not deleted:"), 0u);
    EXPECT_NE(host.boxes[1].text.find("alice@other.test[2].txt"), std::string::npos);
    EXPECT_EQ(host.boxes[2].text, "Cookies Deleted Successfully!");
    EXPECT_EQ(LeftCount(app), 1);
}

TEST_F(IEFilesTest, CloseDuringTheRunStopsItBeforeTheNextRow) {
    FrmCookies& cookies = Open();
    cookies.Check1.SetValue(1);
    host.atDoEvents[host.doEvents + 1] = [&] { cookies.Unload(vbFormControlMenu); };
    cookies.cmdClean.UserClick();
    EXPECT_EQ(Deleted().size(), 1u);
    EXPECT_FALSE(cookies.IsLoaded());
}

// Real-schema Firefox and Opera databases in a temporary home.
class BrowserSitesTest : public FrmCookiesTest {
protected:
    void SetUp() override {
        FrmCookiesTest::SetUp();
        realFiles = std::make_unique<LinuxPlatform>(Target{});
        homePlatform.realFiles = realFiles.get();
        homePlatform.home = (root / "home").string();
        firefox = test::MakeFirefoxProfile(root / "home", {"cookies.sqlite"});
        opera = root / "home/.config/opera/Default";
        fs::create_directories(opera / "Network");
        std::ofstream(opera / "Preferences") << "{}";
        std::ofstream(root / "home/.config/opera/Local State") << "{}";
        Sql(opera / "Network/Cookies",
            ReadAll(fs::path(VELLORAN_TEST_DATADIR) / "chromium/Cookies.sql") + Row(".keep.test") +
                Row("a.keep.test") + Row(".gone.test") + Row("gone.test") + Row("other.test"));
        Write(KeepPath(), "keep.test\n");
    }
    static std::string Row(const std::string& host) {
        static int n = 0;
        return "INSERT INTO cookies VALUES(0,'" + host + "','','n" + std::to_string(n++) +
               "','v',x'','/',0,0,0,0,0,0,0,0,0,0,0,0,0);";
    }
    static void Write(const std::string& path, const std::string& text) {
        fs::create_directories(fs::path(path).parent_path());
        std::ofstream(path) << text;
    }
    // The rows of a list as "text|source|count".
    static std::set<std::string> Rows(const ListView& lv) {
        std::set<std::string> out;
        for (int i = 0; i < lv.Count(); ++i) {
            const ListRow& r = lv.Row(i);
            out.insert(r.text + "|" + r.subItems.at(0) + "|" + r.subItems.at(1));
        }
        return out;
    }
    std::int64_t Hosts(const fs::path& db, const char* table, const char* column,
                       const std::string& host) {
        return Count(db, std::string("SELECT count(*) FROM ") + table + " WHERE " + column +
                             " IN ('" + host + "', '." + host + "')");
    }

    std::unique_ptr<LinuxPlatform> realFiles;
    HomePlatform homePlatform;
    Application homeApp{host, homePlatform};
    fs::path firefox, opera;
};

TEST_F(BrowserSitesTest, SitesAreGroupedPerStoreAndKeptSitesSurviveEveryCookieClean) {
    homeApp.SetRegistry(&registry);
    homeApp.Main().Form_Initialize();
    homeApp.Main().Load();
    FrmCookies& cookies = homeApp.Cookies();
    cookies.Load();
    const std::string ff = "Firefox ~/.mozilla/firefox/abc.default-esr";
    const std::string op = "Opera ~/.config/opera/Default";
    EXPECT_EQ(Rows(cookies.lvDelete),
              (std::set<std::string>{"example.test|" + ff + "|2", "notkeep.test|" + ff + "|1",
                                     "gone.test|" + op + "|2", "other.test|" + op + "|1"}));
    EXPECT_EQ(Rows(cookies.lvKeep),
              (std::set<std::string>{"keep.test|" + ff + "|1", "sub.keep.test|" + ff + "|1",
                                     "keep.test|" + op + "|1", "a.keep.test|" + op + "|1"}));

    // notkeep.test joins the keep list; example.test and gone.test go now.
    Tick(cookies.lvDelete, "notkeep.test");
    cookies.Command1.UserClick();
    Tick(cookies.lvDelete, "example.test");
    Tick(cookies.lvDelete, "gone.test");
    cookies.cmdClean.UserClick();
    EXPECT_EQ(host.boxes.back().text, "Cookies Deleted Successfully!");
    EXPECT_EQ(Hosts(firefox / "cookies.sqlite", "moz_cookies", "host", "example.test"), 0);
    EXPECT_EQ(Hosts(opera / "Network/Cookies", "cookies", "host_key", "gone.test"), 0);
    EXPECT_EQ(Hosts(opera / "Network/Cookies", "cookies", "host_key", "other.test"), 1);
    EXPECT_EQ(Count(firefox / "cookies.sqlite", "SELECT count(*) FROM moz_cookies"), 3);
    EXPECT_EQ(ReadAll(KeepPath()),
              "# Sites whose cookies Velloran keeps, with their subdomains: "
              "one a line.\nkeep.test\nnotkeep.test\n");

    // A later "Clear Cookies" of both browsers keeps exactly the kept sites.
    const CookieKeepList keep = CookieKeepList::Load(*realFiles, KeepPath());
    NetscapeCleaner gecko(*realFiles, GeckoLocations{homePlatform.home, "", "", "", ""}, keep, "1");
    std::string unused;
    gecko.Clean(3, unused);
    EXPECT_EQ(Count(firefox / "cookies.sqlite", "SELECT count(*) FROM moz_cookies"), 3);
    EXPECT_EQ(Hosts(firefox / "cookies.sqlite", "moz_cookies", "host", "notkeep.test"), 1);
    OperaCleaner operaCleaner(homePlatform, KeepPath());
    operaCleaner.Clean(3);
    EXPECT_EQ(Hosts(opera / "Network/Cookies", "cookies", "host_key", "other.test"), 0);
    EXPECT_EQ(Count(opera / "Network/Cookies", "SELECT count(*) FROM cookies"), 2);
}

TEST_F(BrowserSitesTest, AProfileInUseIsShownAsSuchAndLeftByteForByte) {
    homePlatform.locked.insert((firefox / ".parentlock").string());
    const std::string before = ReadAll(firefox / "cookies.sqlite");
    homeApp.SetRegistry(&registry);
    homeApp.Main().Form_Initialize();
    homeApp.Main().Load();
    FrmCookies& cookies = homeApp.Cookies();
    cookies.Load();
    const ListRow& row = cookies.lvDelete.Row(RowOf(cookies.lvDelete, "example.test"));
    EXPECT_EQ(row.subItems.at(0),
              "Firefox ~/.mozilla/firefox/abc.default-esr (in use: the "
              "browser holds its lock (.parentlock))");
    cookies.Check1.SetValue(1);
    cookies.cmdClean.UserClick();
    ASSERT_GE(host.boxes.size(), 3u);
    EXPECT_NE(host.boxes[1].text.find("left as they were: the browser holds its lock"),
              std::string::npos);
    EXPECT_EQ(ReadAll(firefox / "cookies.sqlite"), before);
    EXPECT_EQ(Count(opera / "Network/Cookies", "SELECT count(*) FROM cookies"), 2);
    for (const char* side : {"cookies.sqlite-wal", "cookies.sqlite-shm", "cookies.sqlite-journal"})
        EXPECT_FALSE(fs::exists(firefox / side)) << side;
}

TEST_F(BrowserSitesTest, AnOldProfilesCookiesTxtLosesOnlyTheChosenSitesLines) {
    const fs::path old = root / "home/.mozilla/alice/ab12cd34.slt";
    fs::create_directories(old);
    const std::string header = "# HTTP Cookie File\n";
    std::ofstream(old / "cookies.txt")
        << header << ".old.test\tTRUE\t/\tFALSE\t0\ta\t1\nold.test\tFALSE\t/\tFALSE\t0\tb\t2\n"
        << "stay.test\tFALSE\t/\tFALSE\t0\tc\t3\n";
    homeApp.SetRegistry(&registry);
    homeApp.Main().Form_Initialize();
    homeApp.Main().Load();
    FrmCookies& cookies = homeApp.Cookies();
    cookies.Load();
    const std::string source = "Netscape/Mozilla ~/.mozilla/alice/ab12cd34.slt (cookies.txt)";
    EXPECT_EQ(Rows(cookies.lvDelete).count("old.test|" + source + "|2"), 1u);
    EXPECT_EQ(Rows(cookies.lvDelete).count("stay.test|" + source + "|1"), 1u);
    for (int i = 0; i < cookies.lvDelete.Count(); ++i)
        if (cookies.lvDelete.Row(i).text == "old.test") cookies.lvDelete.SetChecked(i, true);
    cookies.cmdClean.UserClick();
    EXPECT_EQ(ReadAll(old / "cookies.txt"), header + "stay.test\tFALSE\t/\tFALSE\t0\tc\t3\n");
    EXPECT_EQ(Count(firefox / "cookies.sqlite", "SELECT count(*) FROM moz_cookies"), 5);
}

// The Chromium-based browsers' cookies are listed and deleted like the others,
// and their group's "Clear Cookies" keeps the kept sites.
TEST_F(BrowserSitesTest, ChromiumBasedBrowsersSitesAreListedAndTheirGroupKeepsTheKeptSites) {
    const fs::path chrome = root / "config/google-chrome";
    MakeRealChromiumProfile(chrome, root / "cache/google-chrome");
    const fs::path db = chrome / "Default/Cookies";
    Write(KeepPath(), "both.test\n");
    homeApp.SetRegistry(&registry);
    homeApp.Main().Form_Initialize();
    homeApp.Main().Load();
    FrmCookies& cookies = homeApp.Cookies();
    cookies.Load();
    const std::string store = "Google Chrome " + (chrome / "Default").string();
    for (const char* site : {"typed.test", "form.test", "bookmarked.test", "duckduckgo.com"})
        EXPECT_EQ(Rows(cookies.lvDelete).count(std::string(site) + "|" + store + "|1"), 1u) << site;
    EXPECT_EQ(Rows(cookies.lvKeep).count("both.test|" + store + "|1"), 1u);

    Tick(cookies.lvDelete, "typed.test");
    cookies.cmdClean.UserClick();
    EXPECT_EQ(host.boxes.back().text, "Cookies Deleted Successfully!");
    EXPECT_EQ(Hosts(db, "cookies", "host_key", "typed.test"), 0);
    EXPECT_EQ(Count(db, "SELECT count(*) FROM cookies"), 4);

    ChromiumFamilyCleaner group(homePlatform, KeepPath());
    group.Clean(3);
    EXPECT_EQ(Count(db, "SELECT count(*) FROM cookies"), 1);
    EXPECT_EQ(Hosts(db, "cookies", "host_key", "both.test"), 1);
}

TEST(CookieKeepListEdit, EveryWayOfWritingASiteKeepsItsCookies) {
    CookieKeepList list;
    for (const char* entry :
         {"https://bank-a.example:443/login", "bank-b.example.", "*.bank-c.example",
          "http://user@Bank-D.example:8080", "[2001:db8::1]:443", "bank-e.example:"})
        EXPECT_TRUE(list.Add(entry)) << entry;
    EXPECT_EQ(list.Sites(),
              (std::vector<std::string>{"bank-a.example", "bank-b.example", "bank-c.example",
                                        "bank-d.example", "[2001:db8::1]", "bank-e.example"}));
    for (const char* host : {".bank-a.example", "bank-b.example", "www.bank-c.example",
                             ".bank-d.example", "[2001:db8::1]", "bank-e.example"})
        EXPECT_TRUE(list.Keeps(host)) << host;
    // What can name no cookie's site is refused, and said why.
    for (const char* entry : {"bank f.example", "*", "ba*nk.example", "bank..example", "://"}) {
        EXPECT_FALSE(CookieKeepList::Refusal(entry).empty()) << entry;
        EXPECT_FALSE(list.Add(entry)) << entry;
    }
    EXPECT_EQ(CookieKeepList::Refusal("bank.example"), "");
    // Lines stored by earlier versions in the old forms are read as their sites.
    EXPECT_TRUE(CookieKeepList("bank-g.example:443\n*.bank-h.example\n").Keeps("a.bank-h.example"));
    EXPECT_TRUE(CookieKeepList("bank-g.example:443\n").Keeps("bank-g.example"));
}

TEST(CookieKeepListEdit, AddRemoveAndTextKeepTheUsersComments) {
    CookieKeepList list("# my banks\nbank.test  # the main one\n\nhttps://Mail.Test/inbox\n");
    EXPECT_FALSE(list.Add(".BANK.test"));
    EXPECT_TRUE(list.Add("shop.test"));
    EXPECT_FALSE(list.Remove("sub.bank.test"));  // never the parent of what is named
    EXPECT_TRUE(list.Remove("mail.test"));
    EXPECT_EQ(list.Text(), "# my banks\nbank.test  # the main one\n\nshop.test\n");
    EXPECT_TRUE(list.Keeps("www.shop.test"));
    EXPECT_FALSE(list.Keeps("mail.test"));
    EXPECT_EQ(IECookieFileSite("bob@www.site.test[12].txt"), "www.site.test");
    EXPECT_EQ(IECookieFileSite("bob@site.test.txt"), "site.test");
    EXPECT_EQ(IECookieFileSite("8VN0RF92.txt"), "");
}

}  // namespace
}  // namespace velloran::test
