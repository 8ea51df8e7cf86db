#include "cleaning/browsers/ProfileDatabase.hpp"

#include <sqlite3.h>

#include <filesystem>

namespace velloran {

namespace fs = std::filesystem;

namespace {

class Statement {
public:
    Statement(sqlite3* db, const std::string& sql) : db_(db) {
        if (sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt_, nullptr) != SQLITE_OK)
            throw DatabaseError{sqlite3_errmsg(db)};
    }
    ~Statement() { sqlite3_finalize(stmt_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    void Bind(const std::string& text) {
        sqlite3_bind_text(stmt_, 1, text.c_str(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
    }
    // True while a row is there.
    bool Step() {
        const int rc = sqlite3_step(stmt_);
        if (rc == SQLITE_ROW) return true;
        if (rc == SQLITE_DONE) return false;
        throw DatabaseError{sqlite3_errmsg(db_)};
    }
    std::int64_t Int(int column) { return sqlite3_column_int64(stmt_, column); }
    std::string Text(int column) {
        const unsigned char* t = sqlite3_column_text(stmt_, column);
        return t ? reinterpret_cast<const char*>(t) : "";
    }

private:
    sqlite3* db_;
    sqlite3_stmt* stmt_ = nullptr;
};

}  // namespace

std::optional<ProfileDatabase> ProfileDatabase::Open(const std::string& path, std::string& error) {
    sqlite3* db = nullptr;
    const int rc = sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
    if (rc != SQLITE_OK) {
        error = db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
        sqlite3_close(db);
        return std::nullopt;
    }
    sqlite3_busy_timeout(db, 200);
    ProfileDatabase result(db);
    try {
        // A damaged file is refused before anything is written to it.
        Statement check(db, "PRAGMA quick_check");
        if (!check.Step() || check.Text(0) != "ok")
            throw DatabaseError{"database disk image is malformed"};
        result.Exec("PRAGMA secure_delete=ON");
    } catch (const DatabaseError& e) {
        error = e.message;
        return std::nullopt;
    }
    return result;
}

ProfileDatabase::ProfileDatabase(ProfileDatabase&& other) noexcept : db_(other.db_) {
    other.db_ = nullptr;
}

ProfileDatabase::~ProfileDatabase() {
    if (db_) sqlite3_close(db_);
}

bool ProfileDatabase::HasTable(const std::string& table) {
    Statement s(db_, "SELECT 1 FROM sqlite_master WHERE type='table' AND name=?");
    s.Bind(table);
    return s.Step();
}

bool ProfileDatabase::HasColumn(const std::string& table, const std::string& column) {
    Statement s(db_, "SELECT 1 FROM pragma_table_info(?) WHERE name='" + column + "'");
    s.Bind(table);
    return s.Step();
}

std::int64_t ProfileDatabase::Exec(const std::string& sql) {
    Statement s(db_, sql);
    while (s.Step()) {
    }
    return sqlite3_changes64(db_);
}

std::int64_t ProfileDatabase::ExecWithText(const std::string& sql, const std::string& text) {
    Statement s(db_, sql);
    s.Bind(text);
    while (s.Step()) {
    }
    return sqlite3_changes64(db_);
}

std::int64_t ProfileDatabase::Count(const std::string& sql) {
    Statement s(db_, sql);
    return s.Step() ? s.Int(0) : 0;
}

void ProfileDatabase::Begin() { Exec("BEGIN IMMEDIATE"); }

void ProfileDatabase::Commit() {
    Exec("COMMIT");
    // Not in WAL mode: the pragma answers without doing anything.
    Exec("PRAGMA wal_checkpoint(TRUNCATE)");
}

void ProfileDatabase::Rollback() noexcept {
    if (!sqlite3_get_autocommit(db_)) sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
}

std::string CopyDatabaseForPreview(const std::string& path, const std::string& folder) {
    const fs::path target = fs::path(folder) / fs::path(path).filename();
    for (const char* side : {"", "-wal", "-journal"}) {
        const fs::path from = path + side;
        std::error_code ec;
        if (fs::exists(from, ec))
            fs::copy_file(from, target.string() + side, fs::copy_options::overwrite_existing);
    }
    return target.string();
}

}  // namespace velloran
