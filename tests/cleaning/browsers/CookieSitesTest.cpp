#include "cleaning/browsers/CookieSites.hpp"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>

#include "common/platform/linux/LinuxPlatform.hpp"
#include "support/TestProcess.hpp"

namespace velloran {
namespace {

namespace fs = std::filesystem;

void Exec(sqlite3* db, const char* sql) {
    char* error = nullptr;
    ASSERT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, &error), SQLITE_OK) << error;
}

std::vector<std::string> Hosts(const std::vector<CookieSite>& sites) {
    std::vector<std::string> hosts;
    for (const CookieSite& s : sites) hosts.push_back(s.host);
    return hosts;
}

// A browser commits a cookie to its write-ahead log and stops before the log is
// copied into the database, as a crash leaves it.
TEST(CookieSites, ACookieOnlyInTheWriteAheadLogIsListedWhenNoBrowserRuns) {
    const fs::path dir = test::MakeTempDir("velloran-wal");
    const std::string file = (dir / "cookies.sqlite").string();
    sqlite3* browser = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &browser), SQLITE_OK);
    Exec(browser, "PRAGMA journal_mode=WAL");
    Exec(browser, "CREATE TABLE moz_cookies (id INTEGER PRIMARY KEY, host TEXT)");
    Exec(browser, "INSERT INTO moz_cookies (host) VALUES ('.old.test')");
    Exec(browser, "PRAGMA wal_checkpoint(TRUNCATE)");
    ASSERT_EQ(sqlite3_db_config(browser, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr), SQLITE_OK);
    Exec(browser, "INSERT INTO moz_cookies (host) VALUES ('.bank.test')");
    sqlite3_close(browser);
    ASSERT_GT(fs::file_size(file + "-wal"), 0u);

    LinuxPlatform platform{Target{}};
    CookieStore store{"Firefox test", file, "moz_cookies", "host", ""};
    std::string error;
    EXPECT_EQ(Hosts(ReadCookieSites(platform, store, error)),
              (std::vector<std::string>{"bank.test", "old.test"}))
        << error;
    std::int64_t removed = 0;
    EXPECT_EQ(DeleteCookieSites(platform, store, {"bank.test"}, removed), "");
    EXPECT_EQ(removed, 1);
    EXPECT_EQ(Hosts(ReadCookieSites(platform, store, error)), std::vector<std::string>{"old.test"});

    // A running browser's files are read as they are on disk, touching nothing.
    ASSERT_EQ(sqlite3_open(file.c_str(), &browser), SQLITE_OK);
    ASSERT_EQ(sqlite3_db_config(browser, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr), SQLITE_OK);
    Exec(browser, "INSERT INTO moz_cookies (host) VALUES ('.new.test')");
    store.inUse = "the browser is running";
    const auto wal = fs::file_size(file + "-wal");
    EXPECT_EQ(Hosts(ReadCookieSites(platform, store, error)), std::vector<std::string>{"old.test"});
    EXPECT_EQ(fs::file_size(file + "-wal"), wal);
    sqlite3_close(browser);
    fs::remove_all(dir);
}

}  // namespace
}  // namespace velloran
