#include "cleaning/browsers/ChromiumCleaner.hpp"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <filesystem>

#include "cleaning/browsers/BrowserDatabase.hpp"
#include "cleaning/browsers/CookieKeepList.hpp"
#include "common/VbError.hpp"

namespace velloran {

namespace fs = std::filesystem;

namespace {

// Transitions whose core type (the low byte) says the user typed: TYPED, and
// GENERATED for a search typed into the address bar.
constexpr const char* kTypedVisit = "(transition & 255) IN (1, 5)";

// Disk cache folders: beside the user data and inside the profile.
constexpr const char* kCacheFolders[] = {"Cache",     "Code Cache",        "GPUCache",
                                         "DawnCache", "DawnGraphiteCache", "DawnWebGPUCache"};

struct Piece {
    std::int64_t count;
    const char* what;
};

// "3 typed visits, 1 typed search" from the non-zero pieces; "" when all are zero.
std::string Counted(std::initializer_list<Piece> pieces) {
    std::string text;
    for (const Piece& p : pieces) {
        if (p.count == 0) continue;
        if (!text.empty()) text += ", ";
        text += std::to_string(p.count) + " " + p.what;
    }
    return text;
}

void Require(BrowserDatabase& db, const std::string& table,
             std::initializer_list<const char*> columns) {
    if (!db.HasTable(table)) throw DatabaseError("it has no table " + table);
    for (const char* c : columns)
        if (!db.HasColumn(table, c)) throw DatabaseError("table " + table + " has no column " + c);
}

std::string TypedHistory(BrowserDatabase& db) {
    Require(db, "urls", {"id", "typed_count", "visit_count"});
    Require(db, "visits", {"id", "url", "transition"});
    db.Execute("CREATE TEMP TABLE typed_urls AS SELECT DISTINCT url AS id FROM visits WHERE " +
               std::string(kTypedVisit) + " UNION SELECT id FROM urls WHERE typed_count > 0");
    const std::int64_t visits = db.Execute("DELETE FROM visits WHERE " + std::string(kTypedVisit));
    // Rows that describe the removed visits would point at nothing.
    for (const char* table : {"visit_source", "content_annotations", "context_annotations"}) {
        const bool byId = std::string(table) == "visit_source";
        if (db.HasTable(table) && db.HasColumn(table, byId ? "id" : "visit_id"))
            db.Execute(std::string("DELETE FROM ") + table + " WHERE " +
                       (byId ? "id" : "visit_id") + " NOT IN (SELECT id FROM visits)");
    }
    db.Execute("UPDATE urls SET typed_count = 0 WHERE typed_count > 0");
    db.Execute(
        "UPDATE urls SET visit_count = (SELECT COUNT(*) FROM visits WHERE visits.url = urls.id) "
        "WHERE id IN temp.typed_urls");
    const std::int64_t addresses = db.Execute(
        "DELETE FROM urls WHERE id IN temp.typed_urls AND id NOT IN (SELECT url FROM visits)");
    std::int64_t searches = 0;
    if (db.HasTable("keyword_search_terms"))
        searches = db.Execute("DELETE FROM keyword_search_terms");
    if (db.HasTable("segments") && db.HasColumn("segments", "url_id")) {
        db.Execute("DELETE FROM segments WHERE url_id NOT IN (SELECT id FROM urls)");
        if (db.HasTable("segment_usage") && db.HasColumn("segment_usage", "segment_id"))
            db.Execute(
                "DELETE FROM segment_usage WHERE segment_id NOT IN (SELECT id FROM segments)");
    }
    db.Execute("DROP TABLE temp.typed_urls");
    return Counted({{visits, "typed visits"},
                    {addresses, "addresses left with no visit"},
                    {searches, "typed searches"}});
}

std::string Shortcuts(BrowserDatabase& db) {
    Require(db, "omni_box_shortcuts", {});
    return Counted({{db.Execute("DELETE FROM omni_box_shortcuts"), "address bar shortcuts"}});
}

std::string Predictions(BrowserDatabase& db) {
    Require(db, "network_action_predictor", {});
    return Counted(
        {{db.Execute("DELETE FROM network_action_predictor"), "typed-text predictions"}});
}

std::string FormEntries(BrowserDatabase& db) {
    if (!db.HasTable("autofill") && !db.HasTable("autocomplete"))
        throw DatabaseError("it has no table autofill or autocomplete");
    std::int64_t entries = 0;
    for (const char* table : {"autofill", "autocomplete"})
        if (db.HasTable(table)) entries += db.Execute(std::string("DELETE FROM ") + table);
    return Counted({{entries, "form entries"}});
}

std::string Cookies(BrowserDatabase& db, const CookieKeepList& keep, std::int64_t& kept) {
    Require(db, "cookies", {"host_key"});
    db.Execute("CREATE TEMP TABLE kept_hosts(host TEXT PRIMARY KEY)");
    // host_key is plain text even where the value is encrypted.
    for (const std::string& host : db.QueryTexts("SELECT DISTINCT host_key FROM cookies"))
        if (keep.Keeps(host)) db.Execute("INSERT INTO temp.kept_hosts VALUES (?1)", {host});
    const std::int64_t removed =
        db.Execute("DELETE FROM cookies WHERE host_key NOT IN temp.kept_hosts");
    kept = db.QueryInt("SELECT COUNT(*) FROM cookies");
    db.Execute("DROP TABLE temp.kept_hosts");
    return Counted({{removed, "cookies"}});
}

struct FolderSize {
    std::int64_t files = 0;
    std::int64_t bytes = 0;
};

FolderSize Measure(const fs::path& folder) {
    FolderSize size;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        if (!it->is_regular_file(ec)) continue;
        ++size.files;
        size.bytes += static_cast<std::int64_t>(it->file_size(ec));
    }
    return size;
}

// A folder that holds the browser's settings is a profile, never a cache.
bool HoldsProfile(const fs::path& folder) {
    std::error_code ec;
    return fs::exists(folder / "Local State", ec) || fs::exists(folder / "Preferences", ec);
}

}  // namespace

std::string ChromiumCleaner::Label(const ChromiumProfile& profile) const {
    return name_ + " profile " + profile.folder;
}

std::string ChromiumCleaner::OnDatabase(const ChromiumProfile& profile, const std::string& file,
                                        const std::function<std::string(BrowserDatabase&)>& task) {
    const std::string path = (fs::path(profile.folder) / file).string();
    if (!platform_.FileExists(path)) return {};
    std::string error;
    std::unique_ptr<BrowserDatabase> db = BrowserDatabase::Open(platform_, path, error);
    if (!db) throw DatabaseError(error);
    std::string text;
    error = db->Transaction([&](BrowserDatabase& d) { text = task(d); });
    if (!error.empty()) throw DatabaseError(error);
    return text;
}

void ChromiumCleaner::CleanTyped(const ChromiumProfile& profile) {
    std::vector<std::string> parts;
    std::vector<std::string> failures;
    const std::pair<const char*, std::string (*)(BrowserDatabase&)> databases[] = {
        {"History", TypedHistory},
        {"Shortcuts", Shortcuts},
        {"Network Action Predictor", Predictions}};
    for (const auto& [file, task] : databases) {
        try {
            std::string text = OnDatabase(profile, file, task);
            if (!text.empty()) parts.push_back(text + " from " + file);
        } catch (const DatabaseError& e) {
            failures.push_back(std::string(file) + " left as it was: " + std::string(e.what()));
        }
    }
    for (const std::string& f : failures) report_("Failed: " + Label(profile) + ": " + f + ".");
    if (!parts.empty()) {
        std::string line = Label(profile) + ": removed ";
        for (std::size_t i = 0; i < parts.size(); ++i) line += (i ? "; " : "") + parts[i];
        report_(line + ".");
    } else if (failures.empty()) {
        report_(Label(profile) + ": no typed addresses or searches to remove.");
    }
}

void ChromiumCleaner::CleanCache(const ChromiumProfile& profile) {
    FolderSize total;
    std::vector<std::string> failures, links;
    for (const std::string& base : {profile.cacheFolder, profile.folder}) {
        for (const char* name : kCacheFolders) {
            const fs::path folder = fs::path(base) / name;
            if (const auto target = platform_.ReadLink(folder.string())) {
                // The user's own link stays, and what it leads to is not cleaned.
                links.push_back(folder.string() + " is a symbolic link to " + *target);
                continue;
            }
            if (!platform_.DirectoryExists(folder.string()) || HoldsProfile(folder)) continue;
            const FolderSize size = Measure(folder);
            try {
                platform_.DeletePath(folder.string());
                total.files += size.files;
                total.bytes += size.bytes;
            } catch (const VbError& e) {
                failures.push_back(folder.string() + ": " + e.what());
            }
        }
    }
    for (const std::string& f : failures)
        report_("Failed: " + Label(profile) + ": cache not removed from " + f);
    for (const std::string& l : links)
        report_(Label(profile) + ": cache not cleaned: " + l +
                "; the cache lives behind it, and the link and what it leads to stay as they "
                "are.");
    if (total.files > 0)
        report_(Label(profile) + ": removed " + std::to_string(total.files) + " cache files (" +
                std::to_string(total.bytes) + " bytes).");
    else if (failures.empty() && links.empty())
        report_(Label(profile) + ": no cache files to remove.");
}

void ChromiumCleaner::CleanCookies(const ChromiumProfile& profile, const CookieKeepList& keep) {
    // Newer versions moved the file into Network/; an old copy may remain beside it.
    bool any = false;
    for (const char* file : {"Network/Cookies", "Cookies"}) {
        bool ran = false;
        std::int64_t kept = 0;
        try {
            const std::string text = OnDatabase(profile, file, [&](BrowserDatabase& db) {
                ran = true;
                return Cookies(db, keep, kept);
            });
            if (!ran) continue;
            any = true;
            const std::string keptText =
                kept ? " (" + std::to_string(kept) + " cookies of kept sites stay)" : "";
            report_(Label(profile) + ": " +
                    (text.empty() ? "no cookies to remove in " + std::string(file)
                                  : "removed " + text + " from " + file) +
                    keptText + ".");
        } catch (const DatabaseError& e) {
            any = true;
            report_("Failed: " + Label(profile) + ": " + file +
                    " left as it was: " + std::string(e.what()) + ".");
        }
    }
    if (!any) report_(Label(profile) + ": no cookies to remove.");
}

void ChromiumCleaner::CleanFormData(const ChromiumProfile& profile) {
    try {
        const std::string text = OnDatabase(profile, "Web Data", FormEntries);
        report_(Label(profile) + ": " +
                (text.empty() ? "no form entries to remove"
                              : "removed " + text + " (text typed into web forms) from Web Data") +
                "; saved addresses, cards and passwords stay.");
    } catch (const DatabaseError& e) {
        report_("Failed: " + Label(profile) +
                ": Web Data left as it was: " + std::string(e.what()) + ".");
    }
}

}  // namespace velloran
