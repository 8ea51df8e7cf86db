// The "Chromium-based browsers" group on the profile that the real Chromium made,
// copied into the folders of Chrome, Chromium, Edge, Brave and Vivaldi.
#include "cleaning/browsers/ChromiumFamilyCleaner.hpp"
#include "common/platform/Paths.hpp"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>

#include "cleaning/browsers/ChromiumProfiles.hpp"
#include "cleaning/browsers/CookieSites.hpp"
#include "support/FilesPlatform.hpp"
#include "support/RealChromiumProfile.hpp"
#include "support/TestProcess.hpp"

namespace velloran::test {

namespace fs = std::filesystem;

namespace {

std::int64_t Query(const fs::path& db, const std::string& sql) {
    sqlite3* h = nullptr;
    sqlite3_open_v2(Utf8FromPath(db).c_str(), &h, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* st = nullptr;
    std::int64_t value = -1;
    if (sqlite3_prepare_v2(h, sql.c_str(), -1, &st, nullptr) == SQLITE_OK &&
        sqlite3_step(st) == SQLITE_ROW)
        value = sqlite3_column_int64(st, 0);
    else
        ADD_FAILURE() << db << ": " << sqlite3_errmsg(h) << " in " << sql;
    sqlite3_finalize(st);
    sqlite3_close(h);
    return value;
}

std::string IntegrityCheck(const fs::path& db) {
    sqlite3* h = nullptr;
    sqlite3_open_v2(Utf8FromPath(db).c_str(), &h, SQLITE_OPEN_READONLY, nullptr);
    std::string result;
    sqlite3_exec(
        h, "PRAGMA integrity_check",
        [](void* out, int, char** values, char**) {
            *static_cast<std::string*>(out) += values[0] ? values[0] : "";
            return 0;
        },
        &result, nullptr);
    sqlite3_close(h);
    return result;
}

// Every file below `folder` with its bytes.
std::map<std::string, std::string> Snapshot(const fs::path& folder) {
    std::map<std::string, std::string> files;
    for (const auto& e : fs::recursive_directory_iterator(folder))
        if (e.is_regular_file()) files[e.path().string()] = ReadAll(e.path());
    return files;
}

std::string Joined(const std::vector<std::string>& lines) {
    std::string all;
    for (const std::string& l : lines) all += l + "\n";
    return all;
}

// `base` joined with a relative path written with '/', in the system's own form, as the
// program writes the folders it names.
fs::path Under(const fs::path& base, const char* relative) {
    return (base / relative).make_preferred();
}

// A row's folders in the test home: its user data folder and its cache folder
// ("" where the caches are inside the profile).
struct Row {
    const char* browser;
    fs::path userData;
    fs::path cache;
    fs::path Profile() const { return userData / "Default"; }
    fs::path Caches() const { return (cache.empty() ? userData : cache) / "Default"; }
};

class ChromiumFamilyCleanerTest : public ::testing::Test {
protected:
    void SetUp() override {
        root = MakeTempDir("velloran-chromium");
        where = {(root / "home").string(), (root / "config").string(), (root / "cache").string(),
                 Under(root, "AppData/Local").string(), Under(root, "AppData/Roaming").string()};
        platform.home = where.home;
        platform.scratch = root / "scratch";
        fs::create_directories(platform.scratch);
        fs::create_directories(where.home);
        std::ofstream(KeepPath()) << "# kept\nboth.test\n";
    }
    void TearDown() override { fs::remove_all(root); }

    std::string KeepPath() const { return (root / "keep.txt").string(); }

    // The five browsers, each in another kind of folder.
    std::vector<Row> FiveRows() const {
        const fs::path home = where.home;
        return {
            {"Google Chrome", fs::path(where.configHome) / "google-chrome",
             fs::path(where.cacheHome) / "google-chrome"},
            {"Chromium", Under(home, "snap/chromium/common/chromium"),
             Under(home, "snap/chromium/common/.cache/chromium")},
            {"Microsoft Edge", Under(home, ".var/app/com.microsoft.Edge/config/microsoft-edge"),
             Under(home, ".var/app/com.microsoft.Edge/cache/microsoft-edge")},
            {"Brave", Under(where.configHome, "BraveSoftware/Brave-Browser"),
             Under(where.cacheHome, "BraveSoftware/Brave-Browser")},
            {"Vivaldi", Under(where.localAppData, "Vivaldi/User Data"), ""},
        };
    }

    std::vector<std::string> Run(int task) {
        std::vector<std::string> lines;
        ChromiumFamilyCleaner cleaner(platform, where, KeepPath(), "1.0");
        cleaner.OnProgress = [&](const std::string& area, const std::string& text) {
            EXPECT_EQ(area, "Chromium");
            lines.push_back(text);
        };
        cleaner.OnError = [&](const WorkerFault& f) {
            ADD_FAILURE() << "unexpected error: " << f.description;
        };
        cleaner.Clean(task);
        return lines;
    }

    fs::path root;
    ChromiumLocations where;
    FilesPlatform platform;
};

const char* const kDatabases[] = {"History",    "Cookies",   "Web Data",
                                  "Login Data", "Shortcuts", "Network Action Predictor",
                                  "Favicons",   "Top Sites"};

// What the address bar learned is gone and what refers to it is consistent.
void ExpectHistoryConsistent(const fs::path& profile) {
    const fs::path h = profile / "History";
    const char* const orphans[] = {
        "SELECT COUNT(*) FROM visits WHERE url NOT IN (SELECT id FROM urls)",
        "SELECT COUNT(*) FROM visits WHERE from_visit <> 0 AND from_visit NOT IN "
        "(SELECT id FROM visits)",
        "SELECT COUNT(*) FROM visits WHERE segment_id <> 0 AND segment_id NOT IN "
        "(SELECT id FROM segments)",
        "SELECT COUNT(*) FROM visits WHERE visited_link_id <> 0 AND visited_link_id NOT IN "
        "(SELECT id FROM visited_links)",
        "SELECT COUNT(*) FROM segments WHERE url_id NOT IN (SELECT id FROM urls)",
        "SELECT COUNT(*) FROM segment_usage WHERE segment_id NOT IN (SELECT id FROM segments)",
        "SELECT COUNT(*) FROM visited_links WHERE link_url_id NOT IN (SELECT id FROM urls)",
        "SELECT COUNT(*) FROM content_annotations WHERE visit_id NOT IN (SELECT id FROM visits)",
        "SELECT COUNT(*) FROM context_annotations WHERE visit_id NOT IN (SELECT id FROM visits)",
        "SELECT COUNT(*) FROM visit_source WHERE id NOT IN (SELECT id FROM visits)",
        "SELECT COUNT(*) FROM urls WHERE visit_count <> (SELECT COUNT(*) FROM visits v WHERE "
        "v.url = urls.id AND (v.transition & 255) <> 8)",
        "SELECT COUNT(*) FROM urls WHERE typed_count > 0",
        "SELECT COUNT(*) FROM visits WHERE (transition & 255) IN (1, 5, 9, 10) OR "
        "incremented_omnibox_typed_score",
        "SELECT COUNT(*) FROM keyword_search_terms",
    };
    for (const char* sql : orphans) EXPECT_EQ(Query(h, sql), 0) << profile << ": " << sql;
    for (const char* db : kDatabases) EXPECT_EQ(IntegrityCheck(profile / db), "ok") << db;
}

}  // namespace

// One profile in full: the typed entries and everything that only they kept go,
// pages reached without typing stay with consistent counts and links, bookmarks,
// logins and search engines stay, and a preview foretells it without a change.
TEST_F(ChromiumFamilyCleanerTest, TypedEntriesGoWhileUntypedHistoryBookmarksAndLoginsStay) {
    const Row row{"Chromium", fs::path(where.configHome) / "chromium",
                  fs::path(where.cacheHome) / "chromium"};
    MakeRealChromiumProfile(row.userData, row.cache);
    const fs::path p = row.Profile();
    const std::int64_t predictions =
        Query(p / "Network Action Predictor", "SELECT COUNT(*) FROM network_action_predictor");
    ASSERT_GT(predictions, 0);
    const std::int64_t keywords = Query(p / "Web Data", "SELECT COUNT(*) FROM keywords");
    const std::int64_t prefetch = Query(p / "Network Action Predictor",
                                        "SELECT COUNT(*) FROM resource_prefetch_predictor_origin");
    const auto before = Snapshot(root);

    platform.recordsOnly = true;
    const std::vector<std::string> preview = Run(1);
    EXPECT_EQ(Snapshot(root).size(), before.size() + platform.copies);
    for (const auto& [file, bytes] : before) EXPECT_EQ(ReadAll(file), bytes) << file;
    platform.recordsOnly = false;

    const std::vector<std::string> lines = Run(1);
    EXPECT_EQ(lines, preview);
    EXPECT_EQ(lines, std::vector<std::string>{
                         "Chromium profile " + p.string() +
                         ": removed 5 typed visits, 4 addresses left with no visit, 1 typed "
                         "searches from History; 4 address bar shortcuts from Shortcuts; " +
                         std::to_string(predictions) +
                         " typed-text predictions from Network Action Predictor; 3 page icons "
                         "from Favicons; 1 most visited entries from Top Sites."});

    const fs::path h = p / "History";
    // both.test was typed once and followed once; the linked and the submitted pages
    // were never typed; the search, the typed-only pages and the bookmarked one go.
    EXPECT_EQ(Query(h,
                    "SELECT COUNT(*) FROM urls WHERE url IN ('http://both.test/', "
                    "'http://typed.test/linked', 'http://form.test/done?q=my+diary+entry')"),
              3);
    EXPECT_EQ(Query(h, "SELECT COUNT(*) FROM urls"), 3);
    EXPECT_EQ(Query(h, "SELECT visit_count FROM urls WHERE url = 'http://both.test/'"), 1);
    EXPECT_EQ(Query(h, "SELECT COUNT(*) FROM visits"), 3);
    // The link from the typed page now starts its chain, as if typed.test had not been.
    EXPECT_EQ(Query(h,
                    "SELECT from_visit FROM visits v JOIN urls u ON v.url = u.id "
                    "WHERE u.url = 'http://typed.test/linked'"),
              0);
    EXPECT_EQ(Query(h, "SELECT COUNT(*) FROM visited_links"), 3);
    ExpectHistoryConsistent(p);

    // The icon of the bookmarked page stays for the bookmark; the search's goes.
    const fs::path f = p / "Favicons";
    EXPECT_EQ(Query(f,
                    "SELECT COUNT(*) FROM icon_mapping WHERE page_url = "
                    "'http://bookmarked.test/'"),
              1);
    EXPECT_EQ(Query(f, "SELECT COUNT(*) FROM icon_mapping WHERE page_url = 'http://typed.test/'"),
              0);
    EXPECT_EQ(Query(f, "SELECT COUNT(*) FROM favicons WHERE url LIKE '%duckduckgo%'"), 0);
    EXPECT_EQ(Query(f,
                    "SELECT COUNT(*) FROM favicon_bitmaps WHERE icon_id NOT IN "
                    "(SELECT id FROM favicons)"),
              0);
    EXPECT_EQ(Query(f, "SELECT COUNT(*) FROM favicons WHERE url = 'http://typed.test/favicon.ico'"),
              1)
        << "typed.test/linked still shows it";
    EXPECT_EQ(Query(p / "Top Sites",
                    "SELECT COUNT(*) FROM top_sites WHERE url_rank >= "
                    "(SELECT COUNT(*) FROM top_sites)"),
              0)
        << "ranks close up";
    EXPECT_EQ(Query(p / "Shortcuts", "SELECT COUNT(*) FROM omni_box_shortcuts"), 0);
    EXPECT_EQ(
        Query(p / "Network Action Predictor", "SELECT COUNT(*) FROM network_action_predictor"), 0);
    EXPECT_EQ(Query(p / "Network Action Predictor",
                    "SELECT COUNT(*) FROM resource_prefetch_predictor_origin"),
              prefetch);
    for (const char* db : {"History", "Shortcuts", "Network Action Predictor", "Favicons"})
        EXPECT_EQ(ReadAll(p / db).find("secret words"), std::string::npos) << db;
    for (const char* kept : {"Bookmarks", "Login Data", "Web Data", "Cookies", "Preferences"})
        EXPECT_EQ(ReadAll(p / kept), before.at((p / kept).string())) << kept;
    EXPECT_EQ(Query(p / "Web Data", "SELECT COUNT(*) FROM keywords"), keywords);

    EXPECT_EQ(Run(1), std::vector<std::string>{"Chromium profile " + p.string() +
                                               ": no typed addresses or searches to remove."});
}

// The four tasks on Chrome (native), Chromium (snap), Edge (Flatpak), Brave (native)
// and Vivaldi (Windows folders): each profile says what went, and what stays stays.
TEST_F(ChromiumFamilyCleanerTest, EveryOneOfTheFiveBrowsersIsCleanedByAllFourTasks) {
    const std::vector<Row> rows = FiveRows();
    for (const Row& row : rows) MakeRealChromiumProfile(row.userData, row.cache);
    fs::create_directories(rows[0].userData / "ShaderCache");
    std::ofstream(rows[0].userData / "ShaderCache" / "data_0") << "gpu";
    const fs::path kept = rows[0].Profile();
    const std::string bookmarks = ReadAll(kept / "Bookmarks");
    const std::string logins = ReadAll(kept / "Login Data");
    ChromiumFamilyCleaner presence(platform, where, KeepPath(), "1.0");
    EXPECT_TRUE(presence.IsInstalled());

    const char* const expected[] = {
        ": removed 5 typed visits, 4 addresses left with no visit",
        ": removed ",  // cache files, with their count and size
        ": removed 4 cookies from Cookies (1 cookies of kept sites stay).",
        ": removed 1 form entries (text typed into web forms) from Web Data; saved addresses, "
        "cards and passwords stay.",
    };
    for (int task = 1; task <= 4; ++task) {
        const std::vector<std::string> lines = Run(task);
        const std::size_t extra = task == 2 ? 1 : 0;  // Chrome's shared GPU cache
        ASSERT_EQ(lines.size(), rows.size() + extra) << Joined(lines);
        std::size_t at = 0;
        for (const Row& row : rows) {
            const std::string start = std::string(row.browser) + " profile " +
                                      row.Profile().string() + expected[task - 1];
            EXPECT_EQ(lines[at].substr(0, start.size()), start) << "task " << task;
            ++at;
            if (task == 2 && at == 1) {
                EXPECT_EQ(lines[at], "Google Chrome user data " + rows[0].userData.string() +
                                         ": removed 1 shared GPU cache files (3 bytes).");
                ++at;
            }
        }
    }
    for (const Row& row : rows) {
        const fs::path p = row.Profile();
        ExpectHistoryConsistent(p);
        EXPECT_EQ(Query(p / "Cookies",
                        "SELECT COUNT(*) FROM cookies WHERE host_key <> "
                        "'both.test'"),
                  0);
        EXPECT_EQ(Query(p / "Web Data", "SELECT COUNT(*) FROM autofill"), 0);
        EXPECT_EQ(Query(p / "History", "SELECT COUNT(*) FROM urls"), 3) << p;
        EXPECT_FALSE(fs::exists(row.Caches() / "Cache")) << row.browser;
        EXPECT_FALSE(fs::exists(row.Caches() / "Code Cache")) << row.browser;
        EXPECT_EQ(ReadAll(p / "Bookmarks"), bookmarks) << row.browser;
        EXPECT_EQ(ReadAll(p / "Login Data"), logins) << row.browser;
        EXPECT_TRUE(fs::exists(p / "Preferences"));
        EXPECT_TRUE(fs::exists(row.userData / "Local State"));
    }
    EXPECT_FALSE(fs::exists(rows[0].userData / "ShaderCache"));
}

// A browser that runs owns its profile: nothing of it changes and the log says
// why. A lock left by a crash, or by another machine, does not stop the clean.
TEST_F(ChromiumFamilyCleanerTest, AProfileInUseIsNeverWrittenAndTheLineSaysSo) {
    const std::vector<Row> rows = FiveRows();
    for (const Row& row : rows) MakeRealChromiumProfile(row.userData, row.cache);
    fs::create_symlink("testhost-4242", rows[0].userData / "SingletonLock");
    fs::create_symlink("otherhost-4242", rows[1].userData / "SingletonLock");
    // Inside a Flatpak the pid is the sandbox's own: this host's lock is enough.
    fs::create_symlink("testhost-2", rows[2].userData / "SingletonLock");
    fs::create_symlink("testhost-999", rows[3].userData / "SingletonLock");  // crashed
    std::ofstream(rows[4].userData / "lockfile") << "";
    platform.locked.insert((rows[4].userData / "lockfile").string());
    platform.alive = {4242};
    std::map<std::string, std::map<std::string, std::string>> before;
    for (std::size_t i : {0u, 2u, 4u}) {
        before[rows[i].browser] = Snapshot(rows[i].userData);
        if (!rows[i].cache.empty()) before[rows[i].browser].merge(Snapshot(rows[i].cache));
    }

    const std::string why[] = {
        "the browser runs on it (process 4242)", "",
        "the browser may run on it in its sandbox (its lock names process 2 there)", "",
        "the browser holds its lock (lockfile)"};
    for (int task = 1; task <= 4; ++task) {
        const std::vector<std::string> lines = Run(task);
        ASSERT_EQ(lines.size(), rows.size()) << Joined(lines);
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const std::string label =
                std::string(rows[i].browser) + " profile " + rows[i].Profile().string();
            if (why[i].empty())
                EXPECT_EQ(lines[i].rfind(label + ": removed", 0), 0u) << lines[i];
            else
                EXPECT_EQ(lines[i], label + " left untouched: " + why[i] + ".");
        }
    }
    for (std::size_t i : {0u, 2u, 4u}) {
        auto after = Snapshot(rows[i].userData);
        if (!rows[i].cache.empty()) after.merge(Snapshot(rows[i].cache));
        EXPECT_EQ(after, before[rows[i].browser]) << rows[i].browser;
    }

    // The cookie manager shows them as in use and does not open them.
    const auto stores = FindCookieStores(platform, GeckoLocations{}, where);
    ASSERT_EQ(stores.size(), rows.size());
    EXPECT_EQ(stores[0].inUse, why[0]);
    EXPECT_EQ(stores[1].inUse, "");
    std::int64_t removed = 0;
    EXPECT_EQ(DeleteCookieSites(platform, stores[0], {"both.test"}, removed), why[0]);
    EXPECT_EQ(removed, 0);
}

// Profiles are every folder with its settings and every one `Local State` lists;
// the cookie manager names each browser's stores and deletes chosen sites.
TEST_F(ChromiumFamilyCleanerTest, ProfilesOfEveryRowAreFoundAndListedByTheCookieManager) {
    ChromiumFamilyCleaner cleaner(platform, where, KeepPath(), "1.0");
    EXPECT_FALSE(cleaner.IsInstalled());
    EXPECT_EQ(Run(1), std::vector<std::string>{"No Chromium-based browser profile found."});
    const fs::path edge = fs::path(where.configHome) / "microsoft-edge";
    fs::create_directories(edge / "Crashpad");
    std::ofstream(edge / "Local State") << "{}";
    EXPECT_FALSE(cleaner.IsInstalled()) << "a user data folder without a profile";

    MakeRealChromiumProfile(edge, fs::path(where.cacheHome) / "microsoft-edge");
    fs::create_directories(edge / "Profile 3");  // listed, its settings not yet written
    fs::create_directories(edge / "Profile 4");  // neither listed nor a profile
    std::ofstream(edge / "Local State")
        << R"({"profile":{"info_cache":{"Default":{"name":"Person 1"},)"
        << R"("Profile 3":{"name":"Work \"A\""},"../escape":{},"Profile 9":{}}}})";
    EXPECT_TRUE(cleaner.IsInstalled());
    const auto& family = ChromiumFamilyBrowsers();
    const auto edgeRow = std::find_if(family.begin(), family.end(), [](const auto& b) {
        return std::string(b.name) == "Microsoft Edge";
    });
    ASSERT_NE(edgeRow, family.end());
    const auto profiles = ChromiumProfiles(platform, where, *edgeRow);
    ASSERT_EQ(profiles.size(), 2u);
    EXPECT_EQ(profiles[0].folder, (edge / "Default").string());
    EXPECT_EQ(profiles[0].cacheFolder, Under(where.cacheHome, "microsoft-edge/Default").string());
    EXPECT_EQ(profiles[1].folder, (edge / "Profile 3").string());

    // Windows keeps the caches inside the profile; two rows reaching one folder
    // through a link clean it once, under the first row's name for it.
    // Wine makes no links: there the profile is reached by its own row only.
    const fs::path vivaldi = Under(where.localAppData, "Vivaldi/User Data");
    const fs::path flatpak = Under(where.home, ".var/app/com.vivaldi.Vivaldi/config/vivaldi");
    MakeRealChromiumProfile(vivaldi, "");
    fs::create_directories(flatpak.parent_path());
    std::error_code noLink;
    fs::create_directory_symlink(vivaldi, flatpak, noLink);
    const fs::path link = noLink ? vivaldi : flatpak;
    const std::vector<std::string> cache = Run(2);
    ASSERT_EQ(cache.size(), 3u) << Joined(cache);
    EXPECT_EQ(cache[1], "Microsoft Edge profile " + (edge / "Profile 3").string() +
                            ": no cache files to remove.");
    EXPECT_EQ(cache[2].rfind("Vivaldi profile " + (link / "Default").string() + ": removed ", 0),
              0u)
        << cache[2];
    EXPECT_FALSE(fs::exists(vivaldi / "Default/Cache"));
    EXPECT_TRUE(fs::exists(vivaldi / "Default/History"));

    const auto stores = FindCookieStores(platform, GeckoLocations{}, where);
    ASSERT_EQ(stores.size(), 2u);
    EXPECT_EQ(stores[0].label, "Microsoft Edge " + (edge / "Default").string());
    EXPECT_EQ(stores[1].label,
              noLink ? "Vivaldi " + (vivaldi / "Default").string()
                     : "Vivaldi ~/.var/app/com.vivaldi.Vivaldi/config/vivaldi/Default");
    std::string error;
    const auto sites = ReadCookieSites(platform, stores[0], error);
    EXPECT_EQ(sites.size(), 5u) << error;
    std::int64_t removed = 0;
    EXPECT_EQ(DeleteCookieSites(platform, stores[0], {"typed.test", "form.test"}, removed), "");
    EXPECT_EQ(removed, 2);
    EXPECT_EQ(Query(edge / "Default/Cookies", "SELECT COUNT(*) FROM cookies"), 3);

    // The group's window check knows every browser by its X11 class, each once.
    const auto classes = ChromiumFamilyWindowClasses();
    for (const char* name :
         {"google-chrome", "chromium", "microsoft-edge", "brave-browser", "vivaldi-stable"})
        EXPECT_NE(std::find(classes.begin(), classes.end(), name), classes.end()) << name;
    EXPECT_EQ(std::find(classes.begin(), classes.end(), "opera"), classes.end());
    auto sorted = classes;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(std::adjacent_find(sorted.begin(), sorted.end()), sorted.end());
}

}  // namespace velloran::test
