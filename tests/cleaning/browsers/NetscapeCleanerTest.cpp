#include <gtest/gtest.h>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

#include "cleaning/Preview.hpp"
#include "cleaning/browsers/GeckoProfiles.hpp"
#include "cleaning/browsers/GeckoTasks.hpp"
#include "cleaning/browsers/NetscapeCleaner.hpp"
#include "common/platform/linux/LinuxPlatform.hpp"
#include "support/TestProcess.hpp"

namespace velloran::test {

namespace fs = std::filesystem;

namespace {

const fs::path kFixtures = fs::path(VELLORAN_TEST_DATADIR) / "browsers" / "gecko";
const fs::path kMork = fs::path(VELLORAN_TEST_DATADIR) / "browsers" / "mork";

std::string Bytes(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

std::int64_t Query(const fs::path& db, const std::string& sql) {
    sqlite3* h = nullptr;
    sqlite3_open_v2(db.c_str(), &h, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* st = nullptr;
    std::int64_t v = -1;
    if (sqlite3_prepare_v2(h, sql.c_str(), -1, &st, nullptr) == SQLITE_OK &&
        sqlite3_step(st) == SQLITE_ROW)
        v = sqlite3_column_int64(st, 0);
    sqlite3_finalize(st);
    sqlite3_close(h);
    return v;
}

// Every file below `root` with its bytes, to prove nothing changed.
std::map<std::string, std::string> Snapshot(const fs::path& root) {
    std::map<std::string, std::string> files;
    for (const auto& e : fs::recursive_directory_iterator(root))
        if (e.is_regular_file()) files[e.path().string()] = Bytes(e.path());
    return files;
}

class NetscapeCleanerTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir = MakeTempDir("velloran-gecko");
        where.home = (dir / "home").string();
        where.configHome = (dir / "home/.config").string();
        where.cacheHome = (dir / "home/.cache").string();
        fs::create_directories(where.home);
    }
    void TearDown() override { fs::remove_all(dir); }

    // A Firefox profile with the fixture databases and a disk cache of 3 files.
    fs::path AddProfile(const std::string& name) {
        const fs::path root = fs::path(where.home) / ".mozilla/firefox";
        const fs::path profile = root / name;
        fs::create_directories(profile);
        for (const char* db : {"places.sqlite", "cookies.sqlite", "formhistory.sqlite"})
            fs::copy_file(kFixtures / db, profile / db);
        const fs::path cache = fs::path(where.cacheHome) / "mozilla/firefox" / name / "cache2";
        fs::create_directories(cache / "entries");
        std::ofstream(cache / "index") << "0123456789";
        std::ofstream(cache / "entries/A") << "abc";
        std::ofstream(cache / "entries/B") << "de";
        std::ofstream(root / "profiles.ini", std::ios::app)
            << "[Profile" << count++ << "]\nName=" << name << "\nIsRelative=1\nPath=" << name
            << "\n\n";
        return profile;
    }

    std::vector<std::string> Run(Platform& platform, int task, const std::string& keep = "") {
        NetscapeCleaner cleaner(platform, where, CookieKeepList(keep), "1.0");
        std::vector<std::string> lines;
        cleaner.OnProgress = [&](const std::string& area, const std::string& text) {
            EXPECT_EQ(area, "Netscape");
            lines.push_back(text);
        };
        errors.clear();
        cleaner.OnError = [this](const WorkerFault& f) {
            errors.push_back(f.location + ": " + f.description);
        };
        std::string unused;
        cleaner.Clean(static_cast<std::int16_t>(task), unused);
        outcome = cleaner.TakeOutcome();
        return lines;
    }
    // The Error events of the last Run and what it counted.
    std::vector<std::string> errors;
    Outcome outcome;

    fs::path dir;
    GeckoLocations where;
    LinuxPlatform platform{Target{}};
    int count = 0;
};

}  // namespace

TEST(GeckoProfiles, ProfilesIniListsRelativeAndAbsoluteFolders) {
    const std::string ini =
        "[General]\r\nStartWithLastProfile=1\r\n\r\n"
        "[Profile1]\r\nName=work\r\nIsRelative=0\r\nPath=/data/work profile\r\n\r\n"
        "[Install4F96D1932A9F858E]\r\nDefault=abc.default\r\n\r\n"
        "[Profile0]\r\nName=default\r\nIsRelative=1\r\nPath=Profiles/abc.default\r\n";
    EXPECT_EQ(ProfilesIniEntries(ini),
              (std::vector<ProfilesIniEntry>{{"/data/work profile", false},
                                             {"Profiles/abc.default", true}}));
}

TEST_F(NetscapeCleanerTest, FindsEveryRootOnceWithItsCache) {
    AddProfile("abc.default-esr");
    // Absolute entry outside the roots: its cache lives inside it.
    const fs::path elsewhere = dir / "elsewhere";
    fs::create_directories(elsewhere);
    std::ofstream(elsewhere / "prefs.js") << "// prefs\n";
    std::ofstream(elsewhere / ".parentlock");
    std::ofstream(fs::path(where.home) / ".mozilla/firefox/profiles.ini", std::ios::app)
        << "[Profile7]\nIsRelative=0\nPath=" << elsewhere.string() << "\n"
        << "[Profile8]\nIsRelative=1\nPath=abc.default-esr\n"  // listed twice
        << "[Profile9]\nIsRelative=1\nPath=gone\n";            // missing folder
    const fs::path xdg = fs::path(where.configHome) / "mozilla/firefox";
    fs::create_directories(xdg / "x.new");
    std::ofstream(xdg / "profiles.ini") << "[Profile0]\nPath=x.new\nIsRelative=1\n";
    const fs::path legacy = fs::path(where.home) / ".mozilla/default/ab12cd34.slt";
    fs::create_directories(legacy);
    where.appData = (dir / "appdata").string();
    const fs::path wine = dir / "appdata/Mozilla/Firefox/Profiles/w.default";
    fs::create_directories(wine);
    std::ofstream(dir / "appdata/Mozilla/Firefox/profiles.ini")
        << "[Profile0]\nPath=Profiles/w.default\nIsRelative=1\n";

    const auto profiles = FindGeckoProfiles(where);
    std::vector<std::string> paths;
    for (const auto& p : profiles) paths.push_back(p.path);
    const std::string home = fs::canonical(where.home).string();
    EXPECT_EQ(paths, (std::vector<std::string>{
                         home + "/.mozilla/firefox/abc.default-esr",
                         fs::canonical(elsewhere).string(), home + "/.config/mozilla/firefox/x.new",
                         home + "/.mozilla/default/ab12cd34.slt", fs::canonical(wine).string()}));
    ASSERT_EQ(profiles.size(), 5u);
    EXPECT_EQ(profiles[0].cacheFolders[0], home + "/.cache/mozilla/firefox/abc.default-esr/cache2");
    EXPECT_EQ(profiles[1].cacheFolders[0], fs::canonical(elsewhere).string() + "/cache2");
    EXPECT_TRUE(AnyGeckoRoot(platform, where));
    EXPECT_FALSE(AnyGeckoRoot(platform, GeckoLocations{(dir / "none").string(), "", "", "", ""}));
}

TEST_F(NetscapeCleanerTest, AProfileListedInAPrefixNeverLeadsOutOfIt) {
    const fs::path drive = dir / "prefix/drive_c";
    const fs::path appData = drive / "users/bob/AppData/Roaming";
    const fs::path firefox = appData / "Mozilla/Firefox";
    fs::create_directories(firefox / "Profiles/good.default");
    where.appData = appData.string();
    where.environmentRoot = drive.string();
    // Drive C: is the prefix's drive_c; Z: the host's root, as Wine maps them.
    where.hostPath = [&](const std::string& w) -> std::optional<std::string> {
        std::string rest = w.substr(3);
        std::replace(rest.begin(), rest.end(), '\\', '/');
        if (w[0] == 'C' || w[0] == 'c') return (drive / rest).string();
        if (w[0] == 'Z' || w[0] == 'z') return "/" + rest;
        return std::nullopt;
    };
    // Someone else's folder, with what a profile's cache and cookies would hold.
    const fs::path victim = dir / "victim";
    fs::create_directories(victim / "Cache");
    std::ofstream(victim / "Cache/thesis.odt") << "years of work";
    fs::copy_file(kFixtures / "cookies.sqlite", victim / "cookies.sqlite");
    std::ofstream(victim / "prefs.js") << "// looks like a profile\n";
    std::ofstream(victim / ".parentlock");
    fs::create_directory_symlink(victim, firefox / "Profiles/linked");
    std::string zPath = "Z:" + victim.string();
    std::replace(zPath.begin(), zPath.end(), '/', '\\');
    std::ofstream(firefox / "profiles.ini")
        << "[Profile0]\nIsRelative=0\nPath=" << victim.string() << "\n\n"
        << "[Profile1]\nIsRelative=1\nPath=../../../../../../../../victim\n\n"
        << "[Profile2]\nIsRelative=1\nPath=Profiles/linked\n\n"
        << "[Profile3]\nIsRelative=0\nPath=" << zPath << "\n\n"
        << "[Profile4]\nIsRelative=0\nPath=C:\\users\\bob\\AppData\\Roaming\\Mozilla\\"
           "Firefox\\Profiles\\good.default\n\n"
        << "[Profile5]\nIsRelative=1\nPath=Profiles\\good.default\n";
    std::vector<std::string> paths;
    for (const auto& p : FindGeckoProfiles(where)) paths.push_back(p.path);
    EXPECT_EQ(paths, std::vector<std::string>{(firefox / "Profiles/good.default").string()});

    const auto cookiesBefore = test::ReadAll(victim / "cookies.sqlite");
    for (int task = 1; task <= 4; ++task) Run(platform, task);
    EXPECT_TRUE(fs::exists(victim / "Cache/thesis.odt"));
    EXPECT_EQ(test::ReadAll(victim / "cookies.sqlite"), cookiesBefore);

    // In the home, a profile listed outside the browser's folder must be a real one
    // and be reached without a link.
    GeckoLocations home;
    home.home = where.home;
    const fs::path root = fs::path(where.home) / ".mozilla/firefox";
    fs::create_directories(root);
    fs::create_directories(dir / "bare");
    fs::create_directory_symlink(victim, dir / "through-link");
    std::ofstream(root / "profiles.ini")
        << "[Profile0]\nIsRelative=0\nPath=" << (dir / "bare").string() << "\n\n"
        << "[Profile1]\nIsRelative=0\nPath=" << (dir / "through-link").string() << "\n\n"
        << "[Profile2]\nIsRelative=1\nPath=../../../victim\n";
    paths.clear();
    for (const auto& p : FindGeckoProfiles(home)) paths.push_back(p.path);
    EXPECT_EQ(paths, std::vector<std::string>{victim.string()})
        << "the real profile, reached by its own path";
}

TEST_F(NetscapeCleanerTest, EachTaskRemovesOnlyItsTraceAndCountsIt) {
    const fs::path p = AddProfile("abc.default");
    EXPECT_EQ(Run(platform, 1),
              (std::vector<std::string>{
                  "Removed from " + (fs::canonical(p) / "places.sqlite").string() +
                  ": 2 address-bar entries, 3 typed visits, 3 typed flags; 1 page that only "
                  "typing had kept removed."}));
    const fs::path places = p / "places.sqlite";
    EXPECT_EQ(Query(places, "SELECT count(*) FROM moz_places WHERE url LIKE '%typed-only%'"), 0);
    EXPECT_EQ(Query(places, "SELECT count(*) FROM moz_places WHERE typed <> 0"), 0);
    EXPECT_EQ(Query(places, "SELECT count(*) FROM moz_bookmarks WHERE fk = 2"), 1);
    EXPECT_EQ(Query(places, "SELECT count(*) FROM moz_keywords WHERE keyword = 'bk'"), 1);
    EXPECT_EQ(Query(places, "SELECT visit_count FROM moz_places WHERE id = 4"), 1);
    EXPECT_EQ(Query(places, "SELECT recalc_frecency FROM moz_places WHERE id = 4"), 1);
    EXPECT_EQ(Query(places, "SELECT count(*) FROM moz_historyvisits WHERE place_id = 3"), 2)
        << "history that was not typed stays";
    EXPECT_EQ(Query(places, "SELECT count(*) FROM moz_origins"), 3);
    EXPECT_EQ(Bytes(places).find("typed-only.test"), std::string::npos);

    const std::string cache =
        fs::canonical(where.cacheHome).string() + "/mozilla/firefox/abc.default/cache2";
    EXPECT_EQ(Run(platform, 2),
              (std::vector<std::string>{"Removed 3 cache files (15 bytes) from " + cache + "."}));
    EXPECT_FALSE(fs::exists(cache));
    EXPECT_TRUE(fs::exists(p / "places.sqlite"));

    std::ofstream(p / "cookies.txt") << "# HTTP Cookie File\n"
                                        ".keep.test\tTRUE\t/\tFALSE\t0\tk\tv\n"
                                        ".gone.test\tTRUE\t/\tFALSE\t0\tg\tv\n";
    const auto cookies = Run(platform, 3, "keep.test\n");
    ASSERT_EQ(cookies.size(), 2u);
    EXPECT_NE(cookies[0].find("Removed 3 cookies from"), std::string::npos) << cookies[0];
    EXPECT_NE(cookies[0].find("kept 2 cookies of the sites to keep"), std::string::npos);
    EXPECT_NE(cookies[1].find("Removed 1 cookie from"), std::string::npos) << cookies[1];
    EXPECT_EQ(Query(p / "cookies.sqlite", "SELECT count(*) FROM moz_cookies"), 2);
    EXPECT_EQ(Bytes(p / "cookies.txt"),
              "# HTTP Cookie File\n.keep.test\tTRUE\t/\tFALSE\t0\tk\tv\n");

    const auto forms = Run(platform, 4);
    ASSERT_EQ(forms.size(), 1u);
    EXPECT_NE(forms[0].find("Removed 3 form entries (1 search-bar term)"), std::string::npos);
    EXPECT_EQ(Query(p / "formhistory.sqlite", "SELECT count(*) FROM moz_sources"), 0);

    // A second run finds nothing left, and says so per profile; kept cookies are counted.
    for (int task : {1, 2, 4})
        EXPECT_EQ(Run(platform, task), (std::vector<std::string>{"Nothing to remove in profile " +
                                                                 fs::canonical(p).string() + "."}))
            << task;
    const auto again = Run(platform, 3, "keep.test");
    ASSERT_EQ(again.size(), 1u);
    EXPECT_NE(again[0].find("Removed 0 cookies from"), std::string::npos) << again[0];
    EXPECT_NE(again[0].find("kept 2 cookies"), std::string::npos) << again[0];
    for (const char* db : {"places.sqlite", "cookies.sqlite", "formhistory.sqlite"})
        EXPECT_EQ(Query(p / db,
                        "SELECT count(*) FROM pragma_integrity_check WHERE "
                        "integrity_check <> 'ok'"),
                  0)
            << db;
}

TEST_F(NetscapeCleanerTest, PreviewCountsTheSameAndChangesNoByte) {
    AddProfile("abc.default");
    const auto before = Snapshot(dir);
    std::vector<std::string> previewed;
    PreviewSummary summary;
    {
        PreviewPlatform preview(platform, summary);
        for (int task = 1; task <= 4; ++task)
            for (auto& l : Run(preview, task, "keep.test")) previewed.push_back(l);
    }
    EXPECT_EQ(Snapshot(dir), before);
    std::vector<std::string> real;
    for (int task = 1; task <= 4; ++task)
        for (auto& l : Run(platform, task, "keep.test")) real.push_back(l);
    EXPECT_EQ(previewed, real);
    EXPECT_EQ(real.size(), 4u);
}

TEST_F(NetscapeCleanerTest, ProblemsBecomeFailedLinesAndTheNextProfileIsCleaned) {
    EXPECT_EQ(Run(platform, 3), (std::vector<std::string>{"No Netscape-family profile found."}));

    const fs::path broken = AddProfile("a.broken");
    const fs::path good = AddProfile("b.good");
    std::ofstream(broken / "cookies.sqlite", std::ios::trunc) << std::string(8192, 'x');
    {
        sqlite3* h = nullptr;
        sqlite3_open((broken / "formhistory.sqlite").c_str(), &h);
        sqlite3_exec(h,
                     "DROP TABLE moz_history_to_sources; DROP TABLE moz_formhistory;"
                     "CREATE TABLE moz_formhistory(id INTEGER PRIMARY KEY, value TEXT);",
                     nullptr, nullptr, nullptr);
        sqlite3_close(h);
    }
    const std::string brokenForms = Bytes(broken / "formhistory.sqlite");

    const auto cookies = Run(platform, 3);
    ASSERT_EQ(cookies.size(), 2u);
    EXPECT_TRUE(cookies[0].starts_with("Failed: cookies not removed from " +
                                       fs::canonical(broken).string() + "/cookies.sqlite: "))
        << cookies[0];
    EXPECT_NE(cookies[1].find("Removed 5 cookies"), std::string::npos) << cookies[1];
    // Every profile is tried, then the failure ends the task through one Error.
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_TRUE(errors[0].starts_with("NetscapeCleaner:Clean: Failed: cookies not removed"))
        << errors[0];
    ASSERT_EQ(outcome.failed.size(), 1u);
    EXPECT_EQ(outcome.failed[0].what, fs::canonical(broken).string());

    const auto forms = Run(platform, 4);
    ASSERT_EQ(forms.size(), 2u);
    EXPECT_NE(forms[0].find("this browser version has no moz_formhistory.fieldname"),
              std::string::npos)
        << forms[0];
    EXPECT_EQ(Bytes(broken / "formhistory.sqlite"), brokenForms);
    EXPECT_EQ(Query(good / "formhistory.sqlite", "SELECT count(*) FROM moz_formhistory"), 0);
    EXPECT_EQ(errors.size(), 1u);
    EXPECT_TRUE(Run(platform, 1).size() == 2 && errors.empty()) << "a sound task raises nothing";
}

TEST_F(NetscapeCleanerTest, ProfileInUseIsLeftUntouched) {
    const fs::path p = AddProfile("abc.default");
    std::ofstream(p / ".parentlock").close();
    // An old-style lock link left behind by a clean exit proves nothing.
    fs::create_symlink("127.0.0.1:+999999", p / "lock");
    const auto before = Snapshot(dir);

    // The lock is held by another process, as a running Firefox holds it.
    int ready[2], release[2];
    ASSERT_EQ(pipe(ready), 0);
    ASSERT_EQ(pipe(release), 0);
    const pid_t child = fork();
    if (child == 0) {
        const int fd = open((p / ".parentlock").c_str(), O_RDWR);
        struct flock lock = {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        fcntl(fd, F_SETLK, &lock);
        char c = 1;
        (void)!write(ready[1], &c, 1);
        (void)!read(release[0], &c, 1);
        _exit(0);
    }
    char c;
    ASSERT_EQ(read(ready[0], &c, 1), 1);
    std::vector<std::string> lines;
    for (int task = 1; task <= 4; ++task) {
        lines = Run(platform, task);
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines[0], "Skipped profile " + fs::canonical(p).string() +
                                ": the browser holds its lock (.parentlock); close the browser "
                                "and clean again.");
    }
    (void)!write(release[1], &c, 1);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(Snapshot(dir), before);

    // A Netscape-era link to a live process on this host also means in use.
    fs::remove(p / "lock");
    fs::create_symlink("127.0.0.1:" + std::to_string(getpid()), p / "lock");
    EXPECT_TRUE(Run(platform, 3)[0].starts_with("Skipped profile")) << "live pid";
    fs::remove(p / "lock");
    fs::create_symlink("127.0.0.1:+" + std::to_string(getpid()), p / "lock");
    EXPECT_TRUE(Run(platform, 3)[0].starts_with("Removed")) << "today's link proves nothing";
    for (int fd : {ready[0], ready[1], release[0], release[1]}) close(fd);
}

}  // namespace velloran::test

namespace velloran::test {

TEST_F(NetscapeCleanerTest, LegacyProfileLosesItsAddressBarListAndFormFile) {
    const fs::path p = fs::path(where.home) / ".mozilla/default/ab12cd34.slt";
    fs::create_directories(p);
    const std::string rdf =
        "<?xml version=\"1.0\"?>\n<RDF:RDF "
        "xmlns:RDF=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">\n"
        "  <RDF:Seq RDF:about=\"nc:urlbar-history\">\n"
        "    <RDF:li>http://typed.test/</RDF:li>\n"
        "    <RDF:li RDF:resource=\"http://other.test/\"/>\n"
        "  </RDF:Seq>\n"
        "  <RDF:Description RDF:about=\"chrome://navigator/content/navigator.xul#main-window\" "
        "width=\"800\"/>\n</RDF:RDF>\n";
    std::ofstream(p / "localstore.rdf") << rdf;
    std::ofstream(p / "formhistory.dat") << "// <!-- <mdb:mork:z v=\"1.4\"/> -->\n";
    fs::copy_file(kMork / "history.dat", p / "history.dat");
    fs::create_directories(p / "Cache");
    std::ofstream(p / "Cache/_CACHE_MAP_") << "12345678";

    const std::string profile = fs::canonical(p).string();
    EXPECT_EQ(
        Run(platform, 1),
        (std::vector<std::string>{"Removed 2 typed addresses from " + profile + "/localstore.rdf.",
                                  "Removed 3 typed addresses from " + profile + "/history.dat."}));
    const std::string after = Bytes(p / "localstore.rdf");
    EXPECT_EQ(after.find(".test/"), std::string::npos);
    EXPECT_NE(after.find("width=\"800\""), std::string::npos) << "window settings stay";
    const std::string history = Bytes(p / "history.dat");
    EXPECT_EQ(history.find("typed-only.test"), std::string::npos);
    EXPECT_NE(history.find("http://visited.test/page"), std::string::npos) << "history stays";
    EXPECT_EQ(Run(platform, 1),
              (std::vector<std::string>{"Nothing to remove in profile " + profile + "."}));
    EXPECT_EQ(Run(platform, 2), (std::vector<std::string>{"Removed 1 cache file (8 bytes) from " +
                                                          profile + "/Cache."}));
    EXPECT_EQ(Run(platform, 4), (std::vector<std::string>{"Removed the form history file " +
                                                          profile + "/formhistory.dat."}));
    EXPECT_TRUE(fs::exists(p / "history.dat"));

    std::string out;
    EXPECT_EQ(RemoveUrlbarHistory("<RDF:Seq RDF:about=\"nc:urlbar-history\"/>", out), 0);
    EXPECT_EQ(RemoveUrlbarHistory("<RDF:RDF></RDF:RDF>", out), 0);
}

// Two Mozilla Suite profiles: a damaged or read-only history.dat fails alone and is
// left byte for byte; a preview says what a real run does and changes nothing.
TEST_F(NetscapeCleanerTest, MorkHistoryFailsAloneAndPreviewMatches) {
    std::vector<fs::path> profiles;
    for (const char* name : {"a/aaaaaaaa.slt", "b/bbbbbbbb.slt"}) {
        profiles.push_back(fs::path(where.home) / ".mozilla" / name);
        fs::create_directories(profiles.back());
        fs::copy_file(kMork / "history.dat", profiles.back() / "history.dat");
    }
    const auto joined = [](const std::vector<std::string>& lines) {
        std::string all;
        for (const std::string& l : lines) all += l + "\n";
        return all;
    };
    const fs::path& damaged = profiles[0];
    std::string text = Bytes(damaged / "history.dat");
    text.insert(text.find("[9("), "?");
    std::ofstream(damaged / "history.dat", std::ios::trunc) << text;

    const auto before = Snapshot(dir);
    std::vector<std::string> previewed;
    {
        PreviewSummary summary;
        PreviewPlatform preview(platform, summary);
        previewed = Run(preview, 1);
        EXPECT_EQ(summary.operations,
                  (std::vector<std::string>{"rewrite " + fs::canonical(profiles[1]).string() +
                                            "/history.dat"}));
    }
    EXPECT_EQ(Snapshot(dir), before);
    const auto lines = Run(platform, 1);
    EXPECT_EQ(lines, previewed);
    const std::string all = joined(lines);
    EXPECT_NE(
        all.find("Failed: typed addresses not removed from " + fs::canonical(damaged).string() +
                 "/history.dat: damaged at line 18: '?' in a table; the file was left as "
                 "it was.\n"),
        std::string::npos)
        << all;
    EXPECT_NE(all.find("Removed 3 typed addresses from " + fs::canonical(profiles[1]).string() +
                       "/history.dat.\n"),
              std::string::npos)
        << all;
    EXPECT_EQ(Bytes(damaged / "history.dat"), text);

    // A history made read-only (users do, to stop the browser keeping one) stays so.
    fs::copy_file(kMork / "history.dat", damaged / "history.dat",
                  fs::copy_options::overwrite_existing);
    fs::permissions(damaged / "history.dat", fs::perms::owner_read);
    std::vector<std::string> readOnlyPreview;
    {
        PreviewSummary summary;
        PreviewPlatform preview(platform, summary);
        readOnlyPreview = Run(preview, 1);
    }
    const auto readOnly = Run(platform, 1);
    EXPECT_EQ(readOnlyPreview, readOnly);
    EXPECT_NE(
        joined(readOnly).find("Failed: typed addresses not removed from " +
                              fs::canonical(damaged).string() + "/history.dat: Permission denied"),
        std::string::npos)
        << joined(readOnly);
    EXPECT_EQ(Bytes(damaged / "history.dat"), Bytes(kMork / "history.dat"));
}

}  // namespace velloran::test
