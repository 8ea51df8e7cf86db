#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "cleaning/browsers/ChromiumProfiles.hpp"
#include "cleaning/browsers/OperaCleaner.hpp"
#include "support/FilesPlatform.hpp"
#include "support/TestProcess.hpp"

namespace velloran::test {

namespace fs = std::filesystem;

namespace {

void Write(const fs::path& p, const std::string& text) {
    fs::create_directories(p.parent_path());
    std::ofstream(p, std::ios::binary) << text;
}

// A database made from the schema Chromium 156 wrote, with `rows` run after it.
void MakeDatabase(const fs::path& path, const char* schema, const std::string& rows) {
    fs::create_directories(path.parent_path());
    std::string sql = ReadAll(fs::path(VELLORAN_TEST_DATADIR) / "chromium" / schema);
    // The dump lists SQLite's own sequence table, which cannot be created by hand.
    const std::string seq = "CREATE TABLE sqlite_sequence(name,seq);";
    if (auto at = sql.find(seq); at != std::string::npos) sql.erase(at, seq.size());
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
    char* error = nullptr;
    const int rc =
        sqlite3_exec(db, ("PRAGMA synchronous=OFF; BEGIN;" + sql + rows + "COMMIT;").c_str(),
                     nullptr, nullptr, &error);
    EXPECT_EQ(rc, SQLITE_OK) << (error ? error : "");
    sqlite3_free(error);
    sqlite3_close(db);
}

std::int64_t Query(const fs::path& path, const std::string& sql) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* st = nullptr;
    std::int64_t value = -1;
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &st, nullptr) == SQLITE_OK &&
        sqlite3_step(st) == SQLITE_ROW)
        value = sqlite3_column_int64(st, 0);
    sqlite3_finalize(st);
    sqlite3_close(db);
    return value;
}

std::string Cookie(const std::string& host, const std::string& name) {
    return "INSERT INTO cookies VALUES(0,'" + host + "','','" + name +
           "','v',x'','/',0,0,0,0,0,0,0,0,0,0,0,0,0);";
}

// url 1 typed and followed by a link, url 2 only typed, url 3 only linked; a typed
// search leads to url 2.
const std::string kHistoryRows =
    "INSERT INTO urls VALUES(1,'http://a.test/','A',2,1,0,0);"
    "INSERT INTO urls VALUES(2,'http://b.test/?q=secret','B',1,1,0,0);"
    "INSERT INTO urls VALUES(3,'http://c.test/','C',1,0,0,0);"
    "INSERT INTO visits(id,url,visit_time,transition) VALUES(1,1,1,0x30000001);"
    "INSERT INTO visits(id,url,visit_time,transition) VALUES(2,1,2,0);"
    "INSERT INTO visits(id,url,visit_time,transition) VALUES(3,2,3,5);"
    "INSERT INTO visits(id,url,visit_time,transition) VALUES(4,3,4,0);"
    "INSERT INTO keyword_search_terms VALUES(2,2,'secret','secret');";

class OperaCleanerTest : public ::testing::Test {
protected:
    void SetUp() override {
        home = MakeTempDir("velloran-opera");
        platform.home = home.string();
        platform.scratch = home / "scratch";
        fs::create_directories(platform.scratch);
        userData = home / ".config" / "opera";
        profile = userData / "Default";
        Write(profile / "Preferences", "{}");
        Write(userData / "Local State", "{}");
    }
    void TearDown() override { fs::remove_all(home); }

    std::vector<std::string> Run(int task) {
        std::vector<std::string> lines;
        OperaCleaner cleaner(platform, (home / "keep.txt").string());
        cleaner.OnProgress = [&](const std::string& area, const std::string& text) {
            EXPECT_EQ(area, "Opera");
            lines.push_back(text);
        };
        errors.clear();
        cleaner.OnError = [&](const WorkerFault& f) { errors.push_back(f.description); };
        cleaner.Clean(task);
        failed = cleaner.TakeOutcome().failed.size();
        return lines;
    }
    // The Error events of the last Run and how many failures it counted.
    std::vector<std::string> errors;
    std::size_t failed = 0;

    fs::path home, userData, profile;
    FilesPlatform platform;
};

std::string Joined(const std::vector<std::string>& lines) {
    std::string all;
    for (const std::string& l : lines) all += l + "\n";
    return all;
}

}  // namespace

TEST_F(OperaCleanerTest, TypedAddressesGoAndTheRestOfTheHistoryStays) {
    MakeDatabase(profile / "History", "History.sql", kHistoryRows);
    MakeDatabase(profile / "Shortcuts", "Shortcuts.sql",
                 "INSERT INTO omni_box_shortcuts(id,text,url) VALUES('x','sec','http://b.test/');");
    MakeDatabase(profile / "Network Action Predictor", "Network_Action_Predictor.sql",
                 "INSERT INTO network_action_predictor VALUES('x','sec','http://b.test/',1,0);"
                 "INSERT INTO network_action_predictor VALUES('y','a.t','http://a.test/',1,0);");

    const auto lines = Run(1);
    ASSERT_EQ(lines.size(), 1u) << Joined(lines);
    EXPECT_EQ(lines[0], "Opera profile " + profile.string() +
                            ": removed 2 typed visits, 1 addresses left with no visit, 1 typed "
                            "searches from History; 1 address bar shortcuts from Shortcuts; 2 "
                            "typed-text predictions from Network Action Predictor.");
    const fs::path h = profile / "History";
    EXPECT_EQ(Query(h, "SELECT COUNT(*) FROM urls WHERE id IN (1,3)"), 2);
    EXPECT_EQ(Query(h, "SELECT COUNT(*) FROM urls WHERE url LIKE '%secret%'"), 0);
    EXPECT_EQ(Query(h, "SELECT typed_count * 10 + visit_count FROM urls WHERE id=1"), 1);
    EXPECT_EQ(Query(h, "SELECT COUNT(*) FROM visits"), 2) << "the link visits stay";
    EXPECT_EQ(ReadAll(h).find("secret"), std::string::npos) << "deleted text overwritten";

    EXPECT_EQ(Run(1), std::vector<std::string>{"Opera profile " + profile.string() +
                                               ": no typed addresses or searches to remove."});
}

TEST_F(OperaCleanerTest, PreviewCountsTheSameAndChangesNoByte) {
    MakeDatabase(profile / "History", "History.sql", kHistoryRows);
    MakeDatabase(profile / "Network" / "Cookies", "Cookies.sql", Cookie(".a.test", "n"));
    Write(home / ".cache" / "opera" / "Default" / "Cache" / "Cache_Data" / "f_000001", "12345");
    const std::string history = ReadAll(profile / "History");
    const std::string cookies = ReadAll(profile / "Network" / "Cookies");

    platform.recordsOnly = true;
    std::vector<std::string> preview;
    for (int task = 1; task <= 4; ++task)
        for (const std::string& l : Run(task)) preview.push_back(l);
    EXPECT_EQ(ReadAll(profile / "History"), history);
    EXPECT_EQ(ReadAll(profile / "Network" / "Cookies"), cookies);
    EXPECT_TRUE(fs::exists(home / ".cache" / "opera" / "Default" / "Cache"));

    platform.recordsOnly = false;
    std::vector<std::string> real;
    for (int task = 1; task <= 4; ++task)
        for (const std::string& l : Run(task)) real.push_back(l);
    EXPECT_EQ(preview, real);
    EXPECT_NE(Joined(real).find("removed 1 cache files (5 bytes)"), std::string::npos);
    EXPECT_FALSE(fs::exists(home / ".cache" / "opera" / "Default" / "Cache"));
}

TEST_F(OperaCleanerTest, ACacheFolderThatIsALinkIsNamedAndLeftAsItIs) {
    // The user moved the cache elsewhere and left a link in its place.
    const fs::path elsewhere = home / "big disk" / "opera-cache";
    for (const char* f : {"Cache_Data/f_000001", "Cache_Data/f_000002", "Cache_Data/index"})
        Write(elsewhere / f, "123456");
    fs::create_directories(home / ".cache" / "opera" / "Default");
    const fs::path link = home / ".cache" / "opera" / "Default" / "Cache";
    fs::create_directory_symlink(elsewhere, link);
    const std::string label = "Opera " + profile.string();
    const auto lines = Run(2);
    EXPECT_EQ(Joined(lines).find("removed"), std::string::npos) << Joined(lines);
    ASSERT_EQ(lines.size(), 1u) << Joined(lines);
    EXPECT_NE(lines[0].find("cache not cleaned: " + link.string() + " is a symbolic link to " +
                            elsewhere.string()),
              std::string::npos)
        << lines[0];
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(ReadAll(elsewhere / "Cache_Data/f_000001"), "123456");

    // The same for a legacy profile's cache4.
    fs::remove_all(userData);
    const fs::path old = home / ".opera";
    Write(old / "typed_history.xml", "<typed_history/>");
    fs::create_directory_symlink(elsewhere, old / "cache4");
    const auto legacy = Run(2);
    ASSERT_EQ(legacy.size(), 1u) << Joined(legacy);
    EXPECT_NE(
        legacy[0].find("cache not cleaned: " + (old / "cache4").string() + " is a symbolic link"),
        std::string::npos)
        << legacy[0];
    EXPECT_TRUE(fs::is_symlink(old / "cache4"));
    EXPECT_EQ(ReadAll(elsewhere / "Cache_Data/index"), "123456");
}

TEST_F(OperaCleanerTest, CookiesOfKeptSitesAndTheirSubdomainsStay) {
    MakeDatabase(profile / "Network" / "Cookies", "Cookies.sql",
                 Cookie(".example.com", "a") + Cookie("shop.Example.com", "b") +
                     Cookie("notexample.com", "c") + Cookie(".other.org", "d"));
    Write(home / "keep.txt", "# sites\n .example.com \n\n");
    const auto lines = Run(3);
    EXPECT_EQ(lines,
              std::vector<std::string>{
                  "Opera profile " + profile.string() +
                  ": removed 2 cookies from Network/Cookies (2 cookies of kept sites stay)."});
    EXPECT_EQ(Query(profile / "Network" / "Cookies",
                    "SELECT COUNT(*) FROM cookies WHERE name IN ('a','b')"),
              2);
}

TEST_F(OperaCleanerTest, FormEntriesGoWhileSearchEnginesAndAddressesStay) {
    MakeDatabase(
        profile / "Web Data", "Web_Data.sql",
        "INSERT INTO autofill(name,value,value_lower) VALUES('email','me@x.test','me@x.test');"
        "INSERT INTO autocomplete(name,value) VALUES('q','diary');"
        "INSERT INTO addresses(guid) VALUES('home');"
        "INSERT INTO keywords(short_name,keyword,favicon_url,url) VALUES('S','s','','u');");
    EXPECT_EQ(Run(4), std::vector<std::string>{
                          "Opera profile " + profile.string() +
                          ": removed 2 form entries (text typed into web forms) from Web Data; "
                          "saved addresses, cards and passwords stay."});
    const fs::path w = profile / "Web Data";
    EXPECT_EQ(
        Query(w, "SELECT (SELECT COUNT(*) FROM autofill) + (SELECT COUNT(*) FROM autocomplete)"),
        0);
    EXPECT_EQ(Query(w, "SELECT (SELECT COUNT(*) FROM addresses) + (SELECT COUNT(*) FROM keywords)"),
              2);
}

TEST_F(OperaCleanerTest, BrokenDatabasesFailAloneAndTheNextProfileIsCleaned) {
    // Default: History lacks the visits table; Profile 1: Shortcuts is no database.
    MakeDatabase(profile / "History", "History.sql", kHistoryRows + "DROP TABLE visits;");
    const fs::path other = userData / "Profile 1";
    Write(other / "Preferences", "{}");
    Write(other / "Shortcuts", std::string(4096, 'x'));
    MakeDatabase(other / "History", "History.sql", kHistoryRows);
    const std::string before = ReadAll(profile / "History");

    const auto lines = Run(1);
    ASSERT_EQ(lines.size(), 3u) << Joined(lines);
    EXPECT_EQ(lines[0], "Failed: Opera profile " + profile.string() +
                            ": History left as it was: it has no table visits.");
    EXPECT_EQ(lines[1].rfind(
                  "Failed: Opera profile " + other.string() + ": Shortcuts left as it was: ", 0),
              0u)
        << lines[1];
    EXPECT_EQ(lines[2].rfind("Opera profile " + other.string() + ": removed 2 typed visits", 0),
              0u);
    EXPECT_EQ(ReadAll(profile / "History"), before);
    EXPECT_EQ(ReadAll(other / "Shortcuts"), std::string(4096, 'x'));
    // Both profiles were tried; then one Error ends the task, naming the first failure.
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0], lines[0]);
    EXPECT_EQ(failed, 2u);
}

TEST_F(OperaCleanerTest, ARunningBrowserKeepsItsProfileAndAStaleLockDoesNot) {
    MakeDatabase(profile / "Network" / "Cookies", "Cookies.sql", Cookie(".a.test", "n"));
    fs::create_symlink("testhost-4242", userData / "SingletonLock");
    platform.alive = {4242};
    EXPECT_EQ(Run(3), std::vector<std::string>{"Opera profile " + profile.string() +
                                               " left untouched: the browser runs on it (process "
                                               "4242)."});
    EXPECT_EQ(Query(profile / "Network" / "Cookies", "SELECT COUNT(*) FROM cookies"), 1);

    platform.host = "otherhost";  // a lock left by another machine sharing this home
    EXPECT_EQ(Run(3).size(), 1u);
    EXPECT_EQ(Query(profile / "Network" / "Cookies", "SELECT COUNT(*) FROM cookies"), 0);
}

TEST_F(OperaCleanerTest, ProfilesAreFoundWhereOperaKeepsThem) {
    Write(userData / "History", "");  // databases directly in the user data folder
    Write(userData / "Profile 2" / "Preferences", "{}");
    Write(userData / "Crashpad" / "settings.dat", "");  // no profile
    const auto profiles = ChromiumProfiles(platform, kOperaBrowser);
    ASSERT_EQ(profiles.size(), 3u);
    EXPECT_EQ(profiles[0].folder, userData.string());
    EXPECT_EQ(profiles[1].folder, profile.string());
    EXPECT_EQ(profiles[2].cacheFolder, (home / ".cache" / "opera" / "Profile 2").string());
    EXPECT_EQ(OperaCleaner(platform).ProfileFolder(), userData.string());

    // A cache folder that holds a profile's settings is never removed.
    Write(profile / "Cache" / "Preferences", "{}");
    Write(profile / "GPUCache" / "data_0", "xx");
    const auto lines = Run(2);
    EXPECT_TRUE(fs::exists(profile / "Cache" / "Preferences"));
    EXPECT_FALSE(fs::exists(profile / "GPUCache"));
    EXPECT_NE(Joined(lines).find(profile.string() + ": removed 1 cache files (2 bytes)."),
              std::string::npos)
        << Joined(lines);
}

TEST_F(OperaCleanerTest, LegacyProfilesLoseTheirFilesButNeverWand) {
    fs::remove_all(userData);
    const fs::path old = home / ".opera";
    Write(old / "typed_history.xml",
          "<typed_history><typed_history_item content=\"a.test\" type=\"text\" last_typed=\"1\"/>"
          "<typed_history_item content=\"b\" type=\"search\" last_typed=\"2\"/></typed_history>");
    Write(old / "cookies4.dat", "\x00\x00\x10\x00");
    Write(old / "wand.dat", "secret");
    Write(old / "cache4" / "opr00001.tmp", "abc");
    const std::string label = "Opera profile " + old.string();
    EXPECT_EQ(Run(1), std::vector<std::string>{
                          label + ": removed typed_history.xml (2 typed addresses and searches)."});
    EXPECT_EQ(Run(2), std::vector<std::string>{label + ": removed 1 cache files (3 bytes)."});
    Write(home / "keep.txt", "a.test\n");
    EXPECT_EQ(Run(3), std::vector<std::string>{
                          label + ": cookies4.dat left as it was: it holds the cookies of kept "
                                  "sites too."});
    EXPECT_EQ(Run(4), std::vector<std::string>{label + ": wand.dat left as it was: it holds saved "
                                                       "passwords together with form entries."});
    EXPECT_TRUE(fs::exists(old / "wand.dat"));
    EXPECT_TRUE(fs::exists(old / "cookies4.dat"));
    fs::remove_all(old);
    EXPECT_EQ(Run(1), std::vector<std::string>{"No Opera profile found."});
}

// Opera 11 in the Windows environment: the profile under %APPDATA%, its cache under
// %LOCALAPPDATA%; a cache-named folder that holds a profile stays.
TEST_F(OperaCleanerTest, LegacyCacheUnderLocalAppDataGoesWithItsProfile) {
    fs::remove_all(userData);
    const fs::path roaming = home / "prefix/AppData/Roaming", local = home / "prefix/AppData/Local";
    platform.specialFolders[CSIDL_APPDATA] = roaming.string();
    platform.specialFolders[CSIDL_LOCAL_APPDATA] = local.string();
    const fs::path profile = roaming / "Opera/Opera";
    Write(profile / "operaprefs.ini", "[User Prefs]\n");
    Write(profile / "cache/sesn/opr00001", "12");
    Write(local / "Opera/Opera/cache/sesn/opr00002.tmp", "3456");
    Write(local / "Opera/Opera/opcache/opr00003", "789");
    Write(local / "Opera/Opera/vps/0000/md.dat", "search index");  // not a cache
    Write(local / "Other/cache/file", "another program's");
    Write(local / "Opera/Opera/cache4/operaprefs.ini", "[User Prefs]\n");

    EXPECT_EQ(Run(2), std::vector<std::string>{"Opera profile " + profile.string() +
                                               ": removed 3 cache files (9 bytes)."});
    EXPECT_FALSE(fs::exists(profile / "cache"));
    EXPECT_FALSE(fs::exists(local / "Opera/Opera/cache"));
    EXPECT_FALSE(fs::exists(local / "Opera/Opera/opcache"));
    for (const char* kept :
         {"Opera/Opera/vps/0000/md.dat", "Other/cache/file", "Opera/Opera/cache4/operaprefs.ini"})
        EXPECT_TRUE(fs::exists(local / kept)) << kept;
    EXPECT_TRUE(fs::exists(profile / "operaprefs.ini"));
    EXPECT_EQ(Run(2), std::vector<std::string>{"Opera profile " + profile.string() +
                                               ": no cache files to remove."});
}

}  // namespace velloran::test
