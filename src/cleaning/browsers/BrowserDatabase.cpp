#include "cleaning/browsers/BrowserDatabase.hpp"
#include "common/platform/Paths.hpp"

#include <sqlite3.h>

#include <filesystem>

namespace velloran {

namespace {

class Statement {
public:
    Statement(sqlite3* db, const std::string& sql) : db_(db) {
        if (sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt_, nullptr) != SQLITE_OK)
            throw DatabaseError(sqlite3_errmsg(db));
    }
    ~Statement() { sqlite3_finalize(stmt_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    void Bind(const std::vector<std::string>& params) {
        for (std::size_t i = 0; i < params.size(); ++i)
            if (sqlite3_bind_text(stmt_, static_cast<int>(i + 1), params[i].c_str(),
                                  static_cast<int>(params[i].size()),
                                  SQLITE_TRANSIENT) != SQLITE_OK)
                throw DatabaseError(sqlite3_errmsg(db_));
    }
    // True while there is a row.
    bool Step() {
        const int rc = sqlite3_step(stmt_);
        if (rc == SQLITE_ROW) return true;
        if (rc == SQLITE_DONE) return false;
        throw DatabaseError(sqlite3_errmsg(db_));
    }
    sqlite3_stmt* Get() { return stmt_; }

private:
    sqlite3* db_;
    sqlite3_stmt* stmt_ = nullptr;
};

// A file name as an SQLite URI path: only what URIs give a meaning is escaped.
std::string UriPath(const std::string& path) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : path) {
        if (c == '%' || c == '?' || c == '#' || c < 0x21 || c > 0x7E) {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 15];
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

std::string Quoted(const std::string& name) {
    std::string q = "\"";
    for (char c : name) q += c == '"' ? std::string("\"\"") : std::string(1, c);
    return q + "\"";
}

}  // namespace

std::unique_ptr<BrowserDatabase> BrowserDatabase::Open(Platform& platform, const std::string& path,
                                                       std::string& error) {
    std::error_code ec;
    // SQLite takes an empty file for an empty database and would write a new one.
    if (!std::filesystem::is_regular_file(PathFromUtf8(path), ec) ||
        std::filesystem::file_size(PathFromUtf8(path), ec) == 0) {
        error = "the database is missing or empty";
        return nullptr;
    }
    std::string file;
    try {
        file = platform.DatabaseToEdit(path);
    } catch (const std::exception& e) {
        error = e.what();
        return nullptr;
    }
    sqlite3* db = nullptr;
    const int rc = sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
    std::unique_ptr<BrowserDatabase> result(new BrowserDatabase(db, path));
    if (rc != SQLITE_OK) {
        error = db ? sqlite3_errmsg(db) : "out of memory";
        return nullptr;
    }
    if (sqlite3_db_readonly(db, "main") == 1) {
        error = "the database is read-only";
        return nullptr;
    }
    try {
        // Reading the schema proves it is a database and that no one holds it.
        result->QueryInt("SELECT count(*) FROM sqlite_master");
        result->Execute("PRAGMA secure_delete=ON");
        result->Execute("PRAGMA foreign_keys=ON");
    } catch (const DatabaseError& e) {
        error = e.what();
        return nullptr;
    }
    return result;
}

std::unique_ptr<BrowserDatabase> BrowserDatabase::OpenForReading(const std::string& path,
                                                                 std::string& error, bool inUse) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(PathFromUtf8(path), ec) ||
        std::filesystem::file_size(PathFromUtf8(path), ec) == 0) {
        error = "the database is missing or empty";
        return nullptr;
    }
    sqlite3* db = nullptr;
    // Without a write-ahead log to replay, the file on disk is the whole database and
    // the immutable read leaves not even a lock behind.
    const auto log = std::filesystem::file_size(path + "-wal", ec);
    const bool logged = !inUse && !ec && log > 0;
    const std::string uri = "file:" + UriPath(path) + (logged ? "" : "?immutable=1");
    const int rc =
        sqlite3_open_v2(uri.c_str(), &db, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
    std::unique_ptr<BrowserDatabase> result(new BrowserDatabase(db, path));
    if (rc != SQLITE_OK) {
        error = db ? sqlite3_errmsg(db) : "out of memory";
        return nullptr;
    }
    try {
        result->QueryInt("SELECT count(*) FROM sqlite_master");
    } catch (const DatabaseError& e) {
        error = e.what();
        return nullptr;
    }
    return result;
}

BrowserDatabase::~BrowserDatabase() { sqlite3_close_v2(db_); }

void BrowserDatabase::Run(const std::string& sql, const std::vector<std::string>& params,
                          const std::function<void(void*)>& onRow) {
    Statement st(db_, sql);
    st.Bind(params);
    while (st.Step())
        if (onRow) onRow(st.Get());
}

std::int64_t BrowserDatabase::Execute(const std::string& sql,
                                      const std::vector<std::string>& params) {
    Run(sql, params, {});
    return sqlite3_changes64(db_);
}

std::int64_t BrowserDatabase::QueryInt(const std::string& sql,
                                       const std::vector<std::string>& params) {
    std::int64_t value = 0;
    bool first = true;
    Run(sql, params, [&](void* st) {
        if (first) value = sqlite3_column_int64(static_cast<sqlite3_stmt*>(st), 0);
        first = false;
    });
    return value;
}

std::vector<std::string> BrowserDatabase::QueryTexts(const std::string& sql,
                                                     const std::vector<std::string>& params) {
    std::vector<std::string> rows;
    Run(sql, params, [&](void* st) {
        const auto* text = sqlite3_column_text(static_cast<sqlite3_stmt*>(st), 0);
        rows.emplace_back(text ? reinterpret_cast<const char*>(text) : "");
    });
    return rows;
}

std::vector<std::pair<std::string, std::int64_t>> BrowserDatabase::QueryCounts(
    const std::string& sql, const std::vector<std::string>& params) {
    std::vector<std::pair<std::string, std::int64_t>> rows;
    Run(sql, params, [&](void* st) {
        auto* s = static_cast<sqlite3_stmt*>(st);
        const auto* text = sqlite3_column_text(s, 0);
        rows.emplace_back(text ? reinterpret_cast<const char*>(text) : "",
                          sqlite3_column_int64(s, 1));
    });
    return rows;
}

bool BrowserDatabase::HasTable(const std::string& table) {
    return QueryInt("SELECT count(*) FROM sqlite_master WHERE type='table' AND name=?1", {table}) >
           0;
}

bool BrowserDatabase::HasColumn(const std::string& table, const std::string& column) {
    return QueryInt("SELECT count(*) FROM pragma_table_info(" + Quoted(table) + ") WHERE name=?1",
                    {column}) > 0;
}

std::string BrowserDatabase::Transaction(const std::function<void(BrowserDatabase&)>& body) {
    try {
        Execute("BEGIN IMMEDIATE");
    } catch (const DatabaseError& e) {
        return e.what();
    }
    try {
        body(*this);
        Execute("COMMIT");
    } catch (const std::exception& e) {
        sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
        return e.what();
    }
    // Deleted rows must not survive in the WAL; a database in rollback mode answers
    // this with a harmless row.
    try {
        QueryInt("PRAGMA wal_checkpoint(TRUNCATE)");
    } catch (const DatabaseError&) {
    }
    return {};
}

}  // namespace velloran
