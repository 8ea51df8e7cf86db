#pragma once
// A browser's SQLite database, edited in place and safely: opened read-write
// without ever creating it, schema checked before each statement, one transaction
// per task with rollback on error, deleted rows overwritten, the WAL emptied after
// the commit. The file itself is never replaced or deleted, nor its side files.
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "common/platform/Platform.hpp"

struct sqlite3;

namespace velloran {

// A statement failed; the message is SQLite's own text.
class DatabaseError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class BrowserDatabase {
public:
    // Opens `path` (or the copy the platform edits instead, in a preview). Returns
    // nullptr with `error` set when the file is missing, empty, not a database or
    // cannot be written.
    static std::unique_ptr<BrowserDatabase> Open(Platform& platform, const std::string& path,
                                                 std::string& error);
    // Opens `path` to read it. A database `inUse` by a running browser is read as it
    // is on disk, writing nothing at all: no lock, no WAL index, no journal (SQLite's
    // "immutable" open), so what the browser has not yet written back to the file is
    // not seen. Any other with a write-ahead log is read as SQLite reads it, the log
    // included (what a browser committed just before it stopped is often only there).
    static std::unique_ptr<BrowserDatabase> OpenForReading(const std::string& path,
                                                           std::string& error, bool inUse = true);
    ~BrowserDatabase();
    BrowserDatabase(const BrowserDatabase&) = delete;
    BrowserDatabase& operator=(const BrowserDatabase&) = delete;

    bool HasTable(const std::string& table);
    bool HasColumn(const std::string& table, const std::string& column);

    // Runs `body` in one transaction with foreign keys enforced; commits and empties
    // the WAL when it returns, rolls back when it throws. Returns the error text, ""
    // on success.
    std::string Transaction(const std::function<void(BrowserDatabase&)>& body);

    // One statement with text parameters (?1, ?2...); returns the rows it changed.
    // Throws DatabaseError.
    std::int64_t Execute(const std::string& sql, const std::vector<std::string>& params = {});
    // The first column of the first row as a number, 0 when there is no row.
    std::int64_t QueryInt(const std::string& sql, const std::vector<std::string>& params = {});
    // The first column of every row as text.
    std::vector<std::string> QueryTexts(const std::string& sql,
                                        const std::vector<std::string>& params = {});
    // The first column of every row as text with the second as a number.
    std::vector<std::pair<std::string, std::int64_t>> QueryCounts(
        const std::string& sql, const std::vector<std::string>& params = {});

    const std::string& Path() const { return path_; }

private:
    BrowserDatabase(sqlite3* db, std::string path) : db_(db), path_(std::move(path)) {}
    void Run(const std::string& sql, const std::vector<std::string>& params,
             const std::function<void(void*)>& onRow);
    sqlite3* db_;
    std::string path_;
};

}  // namespace velloran
