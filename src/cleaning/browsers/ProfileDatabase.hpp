#pragma once
// A browser's own SQLite database, edited in place: opened read-write without
// create, every statement checked against the tables this version has, one
// transaction per task, deleted rows overwritten and the WAL emptied after commit.
#include <cstdint>
#include <optional>
#include <string>

struct sqlite3;

namespace velloran {

class ProfileDatabase {
public:
    // Opens `path` for writing; an absent file stays absent. `error` says why not.
    static std::optional<ProfileDatabase> Open(const std::string& path, std::string& error);
    ProfileDatabase(ProfileDatabase&& other) noexcept;
    ProfileDatabase& operator=(ProfileDatabase&&) = delete;
    ~ProfileDatabase();

    bool HasTable(const std::string& table);
    bool HasColumn(const std::string& table, const std::string& column);
    // Runs one statement; returns the rows it changed. Throws DatabaseError.
    std::int64_t Exec(const std::string& sql);
    // The first column of the first row, 0 without rows.
    std::int64_t Count(const std::string& sql);
    // Binds `text` to the statement's single parameter and returns the rows changed.
    std::int64_t ExecWithText(const std::string& sql, const std::string& text);

    void Begin();
    // Commits and truncates the WAL so the removed rows leave no copy in it.
    void Commit();
    void Rollback() noexcept;

private:
    explicit ProfileDatabase(sqlite3* db) : db_(db) {}
    sqlite3* db_;
};

struct DatabaseError {
    std::string message;
};

// Copies a database with its side files into `folder` so that a preview can run the
// same statements on the copy; returns the copy's path.
std::string CopyDatabaseForPreview(const std::string& path, const std::string& folder);

}  // namespace velloran
