#include <gtest/gtest.h>

#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "cleaning/Preview.hpp"
#include "cleaning/browsers/BrowserDatabase.hpp"
#include "cleaning/browsers/CookieKeepList.hpp"
#include "support/FakePlatform.hpp"
#include "support/TestProcess.hpp"

namespace velloran::test {

namespace fs = std::filesystem;

namespace {

std::string Bytes(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

void MakeDatabase(const fs::path& p, const char* sql) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(p.string().c_str(), &db), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(db);
}

class BrowserDatabaseTest : public ::testing::Test {
protected:
    void SetUp() override { dir = MakeTempDir("velloran-db"); }
    void TearDown() override { fs::remove_all(dir); }
    fs::path dir;
    FakePlatform platform;
};

}  // namespace

TEST_F(BrowserDatabaseTest, RefusesWhatIsNoWritableDatabaseAndNeverCreatesOne) {
    std::string error;
    EXPECT_EQ(BrowserDatabase::Open(platform, (dir / "missing.sqlite").string(), error), nullptr);
    EXPECT_FALSE(fs::exists(dir / "missing.sqlite"));
    EXPECT_FALSE(error.empty());

    std::ofstream(dir / "empty.sqlite").close();
    EXPECT_EQ(BrowserDatabase::Open(platform, (dir / "empty.sqlite").string(), error), nullptr);
    EXPECT_EQ(fs::file_size(dir / "empty.sqlite"), 0u) << "an empty file stays empty";

    std::ofstream(dir / "corrupt.sqlite") << std::string(4096, 'x');
    error.clear();
    EXPECT_EQ(BrowserDatabase::Open(platform, (dir / "corrupt.sqlite").string(), error), nullptr);
    EXPECT_NE(error.find("not a database"), std::string::npos) << error;

    MakeDatabase(dir / "ro.sqlite", "CREATE TABLE t(a);");
    fs::permissions(dir / "ro.sqlite", fs::perms::owner_read);
    if (!test::WritesPastReadOnly(dir)) {
        error.clear();
        EXPECT_EQ(BrowserDatabase::Open(platform, (dir / "ro.sqlite").string(), error), nullptr);
        EXPECT_NE(error.find("read-only"), std::string::npos) << error;
    }
    fs::permissions(dir / "ro.sqlite", fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(BrowserDatabaseTest, TransactionRollsBackOnErrorAndChecksSchema) {
    const fs::path p = dir / "t.sqlite";
    MakeDatabase(p,
                 "PRAGMA journal_mode=WAL; CREATE TABLE t(a TEXT); INSERT INTO t VALUES('x');"
                 "INSERT INTO t VALUES('secret-token-abc');");
    std::string error;
    auto db = BrowserDatabase::Open(platform, p.string(), error);
    ASSERT_NE(db, nullptr) << error;
    EXPECT_TRUE(db->HasTable("t"));
    EXPECT_FALSE(db->HasTable("u"));
    EXPECT_TRUE(db->HasColumn("t", "a"));
    EXPECT_FALSE(db->HasColumn("t", "b"));
    EXPECT_EQ(db->QueryInt("PRAGMA secure_delete"), 1);

    const std::string failed = db->Transaction([](BrowserDatabase& d) {
        EXPECT_EQ(d.Execute("DELETE FROM t WHERE a = ?1", {"x"}), 1);
        d.Execute("DELETE FROM no_such_table");
    });
    EXPECT_NE(failed.find("no such table"), std::string::npos) << failed;
    EXPECT_EQ(db->QueryInt("SELECT count(*) FROM t"), 2) << "rolled back";

    EXPECT_EQ(db->Transaction([](BrowserDatabase& d) { d.Execute("DELETE FROM t"); }), "");
    db.reset();
    std::error_code ec;
    EXPECT_TRUE(!fs::exists(p.string() + "-wal") || fs::file_size(p.string() + "-wal", ec) == 0)
        << "the WAL is emptied after the commit";
    EXPECT_EQ(Bytes(p).find("secret-token-abc"), std::string::npos) << "deleted text overwritten";
}

TEST_F(BrowserDatabaseTest, PreviewEditsAScratchCopyAndCountsAlike) {
    const fs::path p = dir / "t.sqlite";
    MakeDatabase(p,
                 "PRAGMA journal_mode=WAL; CREATE TABLE t(a TEXT); INSERT INTO t VALUES('x');"
                 "INSERT INTO t VALUES('y');");
    const std::string before = Bytes(p);
    {
        PreviewSummary summary;
        PreviewPlatform preview(platform, summary);
        std::string error;
        auto db = BrowserDatabase::Open(preview, p.string(), error);
        ASSERT_NE(db, nullptr) << error;
        EXPECT_EQ(db->Path(), p.string()) << "lines name the real database";
        std::int64_t removed = 0;
        EXPECT_EQ(
            db->Transaction([&](BrowserDatabase& d) { removed = d.Execute("DELETE FROM t"); }), "");
        EXPECT_EQ(removed, 2);
    }
    EXPECT_EQ(Bytes(p), before);
    std::string error;
    auto db = BrowserDatabase::Open(platform, p.string(), error);
    EXPECT_EQ(db->QueryInt("SELECT count(*) FROM t"), 2);
}

TEST(CookieKeepList, KeepsSitesAndTheirSubdomainsOnly) {
    const CookieKeepList keep(
        "# sites whose cookies stay\n"
        "  Bank.Example  # my bank\n"
        "https://mail.test/inbox\r\n"
        "\n"
        ".dotted.test\n");
    EXPECT_EQ(keep.Sites(), (std::vector<std::string>{"bank.example", "mail.test", "dotted.test"}));
    for (const char* host : {"bank.example", ".bank.example", "www.BANK.example", "mail.test",
                             "a.b.mail.test", "dotted.test"})
        EXPECT_TRUE(keep.Keeps(host)) << host;
    for (const char* host : {"notbank.example", "bank.example.evil", "example", "test", ""})
        EXPECT_FALSE(keep.Keeps(host)) << host;
    EXPECT_TRUE(CookieKeepList("").Empty());
}

}  // namespace velloran::test
