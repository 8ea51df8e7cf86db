#include "cleaning/browsers/ChromiumCleaner.hpp"

#include "common/platform/FolderSize.hpp"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "cleaning/browsers/BrowserDatabase.hpp"
#include "cleaning/browsers/CookieKeepList.hpp"
#include "cleaning/browsers/JsonScan.hpp"
#include "common/VbError.hpp"
#include "common/platform/Paths.hpp"

namespace velloran {

namespace fs = std::filesystem;

namespace {

// Transitions whose core type (the low byte) says the user typed: TYPED,
// GENERATED (a search typed into the address bar), and KEYWORD and
// KEYWORD_GENERATED (a search through a search engine's keyword).
constexpr const char* kTypedTransition = "(transition & 255) IN (1, 5, 9, 10)";
constexpr int kReloadTransition = 8;

// Disk cache folders: beside the user data and inside the profile.
constexpr const char* kCacheFolders[] = {"Cache",      "Code Cache",        "GPUCache",
                                         "DawnCache",  "DawnGraphiteCache", "DawnWebGPUCache",
                                         "Media Cache"};
// GPU caches that the profiles of a user data folder share, in that folder.
constexpr const char* kSharedCacheFolders[] = {"ShaderCache", "GrShaderCache", "GraphiteDawnCache"};

// Rows that describe one visit, by the column that names it.
struct VisitColumn {
    const char* table;
    const char* column;
};
constexpr VisitColumn kVisitRows[] = {
    {"visit_source", "id"},
    {"content_annotations", "visit_id"},
    {"context_annotations", "visit_id"},
    {"clusters_and_visits", "visit_id"},
    {"cluster_visit_duplicates", "visit_id"},
    {"cluster_visit_duplicates", "duplicate_visit_id"},
};

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

bool Has(BrowserDatabase& db, const char* table, std::initializer_list<const char*> columns) {
    if (!db.HasTable(table)) return false;
    for (const char* c : columns)
        if (!db.HasColumn(table, c)) return false;
    return true;
}

// Visits that point at a removed visit point where it pointed, as the browser
// does when it removes a visit; a chain of removed visits is followed to its end.
void PatchReferrers(BrowserDatabase& db) {
    if (db.HasColumn("visits", "from_visit")) {
        const std::int64_t links = db.QueryInt("SELECT COUNT(*) FROM temp.gone_visits");
        for (std::int64_t pass = 0; pass <= links; ++pass)
            if (db.Execute("UPDATE temp.gone_visits SET from_visit = (SELECT g.from_visit FROM "
                           "temp.gone_visits g WHERE g.id = gone_visits.from_visit) WHERE "
                           "from_visit IN (SELECT id FROM temp.gone_visits)") == 0)
                break;
        // Only a loop of removed visits is left over; it leads nowhere.
        db.Execute(
            "UPDATE temp.gone_visits SET from_visit = 0 WHERE from_visit IN (SELECT id FROM "
            "temp.gone_visits)");
        db.Execute(
            "UPDATE visits SET from_visit = (SELECT g.from_visit FROM temp.gone_visits g WHERE "
            "g.id = visits.from_visit) WHERE from_visit IN (SELECT id FROM temp.gone_visits)");
    }
    if (db.HasColumn("visits", "opener_visit"))
        db.Execute(
            "UPDATE visits SET opener_visit = 0 WHERE opener_visit IN (SELECT id FROM "
            "temp.gone_visits)");
}

// Rows that belonged to the removed visits: their sources, annotations, and the
// clusters left without a visit.
void RemoveVisitRows(BrowserDatabase& db) {
    const bool clusters = Has(db, "clusters_and_visits", {"cluster_id", "visit_id"});
    if (clusters)
        db.Execute(
            "CREATE TEMP TABLE touched_clusters AS SELECT DISTINCT cluster_id FROM "
            "clusters_and_visits WHERE visit_id IN (SELECT id FROM temp.gone_visits)");
    for (const VisitColumn& row : kVisitRows)
        if (Has(db, row.table, {row.column}))
            db.Execute(std::string("DELETE FROM ") + row.table + " WHERE " + row.column +
                       " IN (SELECT id FROM temp.gone_visits)");
    if (!clusters) return;
    if (Has(db, "clusters", {"cluster_id"}))
        db.Execute(
            "DELETE FROM clusters WHERE cluster_id IN temp.touched_clusters AND cluster_id NOT "
            "IN (SELECT cluster_id FROM clusters_and_visits)");
    if (Has(db, "cluster_keywords", {"cluster_id"}) && db.HasTable("clusters"))
        db.Execute(
            "DELETE FROM cluster_keywords WHERE cluster_id IN temp.touched_clusters AND "
            "cluster_id NOT IN (SELECT cluster_id FROM clusters)");
    db.Execute("DROP TABLE temp.touched_clusters");
}

// Rows that belonged to the removed addresses: their segments (most visited
// tiles) with their usage, and the visited-link records of them.
void RemoveAddressRows(BrowserDatabase& db) {
    if (Has(db, "segments", {"id", "url_id"})) {
        db.Execute(
            "CREATE TEMP TABLE gone_segments AS SELECT id FROM segments WHERE url_id IN "
            "(SELECT id FROM temp.removed_urls)");
        if (Has(db, "segment_usage", {"segment_id"}))
            db.Execute("DELETE FROM segment_usage WHERE segment_id IN temp.gone_segments");
        db.Execute("DELETE FROM segments WHERE id IN temp.gone_segments");
        if (db.HasColumn("visits", "segment_id"))
            db.Execute("UPDATE visits SET segment_id = 0 WHERE segment_id IN temp.gone_segments");
        db.Execute("DROP TABLE temp.gone_segments");
    }
    if (Has(db, "visited_links", {"id", "link_url_id"})) {
        db.Execute(
            "CREATE TEMP TABLE gone_links AS SELECT id FROM visited_links WHERE link_url_id IN "
            "(SELECT id FROM temp.removed_urls)");
        db.Execute("DELETE FROM visited_links WHERE id IN temp.gone_links");
        if (db.HasColumn("visits", "visited_link_id"))
            db.Execute(
                "UPDATE visits SET visited_link_id = 0 WHERE visited_link_id IN temp.gone_links");
        db.Execute("DROP TABLE temp.gone_links");
    }
}

// `removed` gets the addresses that lost their last visit.
std::string TypedHistory(BrowserDatabase& db, std::vector<std::string>& removed) {
    Require(db, "urls", {"id", "url", "typed_count", "visit_count"});
    Require(db, "visits", {"id", "url", "transition"});
    std::string typed = kTypedTransition;
    // Newer versions mark the visits that counted as typed.
    if (db.HasColumn("visits", "incremented_omnibox_typed_score"))
        typed = "(" + typed + " OR incremented_omnibox_typed_score <> 0)";
    const bool searches = Has(db, "keyword_search_terms", {"url_id"});

    db.Execute("CREATE TEMP TABLE gone_visits(id INTEGER PRIMARY KEY, from_visit INTEGER)");
    db.Execute(std::string("INSERT INTO temp.gone_visits SELECT id, ") +
               (db.HasColumn("visits", "from_visit") ? "COALESCE(from_visit, 0)" : "0") +
               " FROM visits WHERE " + typed);
    db.Execute("CREATE TEMP TABLE typed_urls(id INTEGER PRIMARY KEY)");
    db.Execute(
        "INSERT OR IGNORE INTO temp.typed_urls SELECT url FROM visits WHERE id IN "
        "(SELECT id FROM temp.gone_visits)");
    db.Execute("INSERT OR IGNORE INTO temp.typed_urls SELECT id FROM urls WHERE typed_count > 0");
    if (searches)
        db.Execute("INSERT OR IGNORE INTO temp.typed_urls SELECT url_id FROM keyword_search_terms");

    PatchReferrers(db);
    const std::int64_t visits =
        db.Execute("DELETE FROM visits WHERE id IN (SELECT id FROM temp.gone_visits)");
    RemoveVisitRows(db);

    db.Execute("UPDATE urls SET typed_count = 0 WHERE typed_count > 0");
    db.Execute(
        "UPDATE urls SET visit_count = (SELECT COUNT(*) FROM visits v WHERE v.url = "
        "urls.id AND (v.transition & 255) <> " +
        std::to_string(kReloadTransition) + ") WHERE id IN temp.typed_urls");
    if (db.HasColumn("urls", "last_visit_time") && db.HasColumn("visits", "visit_time"))
        db.Execute(
            "UPDATE urls SET last_visit_time = COALESCE((SELECT MAX(visit_time) FROM visits v "
            "WHERE v.url = urls.id), last_visit_time) WHERE id IN temp.typed_urls");

    db.Execute(
        "CREATE TEMP TABLE removed_urls AS SELECT id, url FROM urls WHERE id IN temp.typed_urls "
        "AND id NOT IN (SELECT url FROM visits)");
    removed = db.QueryTexts("SELECT url FROM temp.removed_urls");
    const std::int64_t addresses =
        db.Execute("DELETE FROM urls WHERE id IN (SELECT id FROM temp.removed_urls)");
    RemoveAddressRows(db);
    const std::int64_t terms = searches ? db.Execute("DELETE FROM keyword_search_terms") : 0;

    for (const char* table : {"gone_visits", "typed_urls", "removed_urls"})
        db.Execute(std::string("DROP TABLE temp.") + table);
    return Counted({{visits, "typed visits"},
                    {addresses, "addresses left with no visit"},
                    {terms, "typed searches"}});
}

// The icons of removed addresses, unless a bookmark still shows the address; an
// icon that no page uses any more goes with its images.
std::string PageIcons(BrowserDatabase& db, const std::vector<std::string>& removed,
                      const std::vector<std::string>& bookmarked) {
    Require(db, "icon_mapping", {"page_url", "icon_id"});
    db.Execute("CREATE TEMP TABLE gone_pages(url TEXT PRIMARY KEY)");
    for (const std::string& url : removed)
        if (std::find(bookmarked.begin(), bookmarked.end(), url) == bookmarked.end())
            db.Execute("INSERT OR IGNORE INTO temp.gone_pages VALUES (?1)", {url});
    db.Execute(
        "CREATE TEMP TABLE touched_icons AS SELECT DISTINCT icon_id FROM icon_mapping WHERE "
        "page_url IN temp.gone_pages");
    const std::int64_t pages =
        db.Execute("DELETE FROM icon_mapping WHERE page_url IN temp.gone_pages");
    const std::string unused =
        " IN temp.touched_icons AND icon_id NOT IN (SELECT icon_id FROM icon_mapping)";
    if (Has(db, "favicon_bitmaps", {"icon_id"}))
        db.Execute("DELETE FROM favicon_bitmaps WHERE icon_id" + unused);
    if (Has(db, "favicons", {"id"}))
        db.Execute(
            "DELETE FROM favicons WHERE id IN temp.touched_icons AND id NOT IN "
            "(SELECT icon_id FROM icon_mapping)");
    db.Execute("DROP TABLE temp.touched_icons");
    db.Execute("DROP TABLE temp.gone_pages");
    return Counted({{pages, "page icons"}});
}

// Most visited entries of removed addresses; the others close up their ranks.
std::string MostVisited(BrowserDatabase& db, const std::vector<std::string>& removed) {
    Require(db, "top_sites", {"url", "url_rank"});
    std::int64_t sites = 0;
    for (const std::string& url : removed)
        sites += db.Execute("DELETE FROM top_sites WHERE url = ?1", {url});
    if (sites > 0) {
        db.Execute(
            "CREATE TEMP TABLE ranks AS SELECT url, (SELECT COUNT(*) FROM top_sites t WHERE "
            "t.url_rank < s.url_rank) AS new_rank FROM top_sites s");
        db.Execute(
            "UPDATE top_sites SET url_rank = (SELECT new_rank FROM temp.ranks r WHERE r.url = "
            "top_sites.url)");
        db.Execute("DROP TABLE temp.ranks");
    }
    return Counted({{sites, "most visited entries"}});
}

// The addresses the profile's bookmarks hold.
std::vector<std::string> BookmarkedAddresses(const ChromiumProfile& profile) {
    std::ifstream in(PathFromUtf8(profile.folder) / "Bookmarks", std::ios::binary);
    if (!in) return {};
    std::stringstream text;
    text << in.rdbuf();
    return JsonStringsNamed(text.str(), "url");
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
    const std::string path = (PathFromUtf8(profile.folder) / file).string();
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
    std::vector<std::string> removed;
    std::vector<std::string> bookmarked;
    // History first: the icons and most visited entries follow the addresses it lost.
    const std::pair<const char*, std::function<std::string(BrowserDatabase&)>> databases[] = {
        {"History", [&](BrowserDatabase& db) { return TypedHistory(db, removed); }},
        {"Shortcuts", Shortcuts},
        {"Network Action Predictor", Predictions},
        {"Favicons", [&](BrowserDatabase& db) { return PageIcons(db, removed, bookmarked); }},
        {"Top Sites", [&](BrowserDatabase& db) { return MostVisited(db, removed); }},
    };
    for (const auto& [file, task] : databases) {
        const std::string name = file;
        if ((name == "Favicons" || name == "Top Sites") && removed.empty()) continue;
        if (name == "Favicons") bookmarked = BookmarkedAddresses(profile);
        try {
            std::string text = OnDatabase(profile, file, task);
            if (!text.empty()) parts.push_back(text + " from " + file);
        } catch (const DatabaseError& e) {
            failures.push_back(std::string(file) + " left as it was: " + std::string(e.what()));
        }
    }
    for (const std::string& f : failures) Fail("Failed: " + Label(profile) + ": " + f + ".");
    if (!parts.empty()) {
        std::string line = Label(profile) + ": removed ";
        for (std::size_t i = 0; i < parts.size(); ++i) line += (i ? "; " : "") + parts[i];
        report_(line + ".");
    } else if (failures.empty()) {
        report_(Label(profile) + ": no typed addresses or searches to remove.");
    }
}

bool ChromiumCleaner::RemoveCacheFolders(const std::vector<std::string>& folders,
                                         const std::string& label, std::int64_t& files,
                                         std::int64_t& bytes) {
    bool all = true;
    for (const std::string& folder : folders) {
        if (const auto target = platform_.ReadLink(folder)) {
            // The user's own link stays, and what it leads to is not cleaned.
            report_(label + ": cache not cleaned: " + folder + " is a symbolic link to " + *target +
                    "; the cache lives behind it, and the link and what it leads to stay as "
                    "they are.");
            all = false;
            continue;
        }
        if (!platform_.DirectoryExists(folder) || HoldsProfile(PathFromUtf8(folder))) continue;
        const FolderSize size = MeasureFolder(platform_, folder);
        try {
            platform_.DeletePath(folder);
            files += size.files;
            bytes += size.bytes;
        } catch (const VbError& e) {
            Fail("Failed: " + label + ": cache not removed from " + folder + ": " + e.what());
            all = false;
        }
    }
    return all;
}

void ChromiumCleaner::CleanCache(const ChromiumProfile& profile) {
    std::vector<std::string> folders;
    for (const std::string& base : {profile.cacheFolder, profile.folder}) {
        for (const char* name : kCacheFolders) {
            const std::string folder = JoinPath(base, name);
            // On Windows the caches are inside the profile: both bases are one.
            if (std::find(folders.begin(), folders.end(), folder) == folders.end())
                folders.push_back(folder);
        }
    }
    std::int64_t files = 0, bytes = 0;
    const bool failed = !RemoveCacheFolders(folders, Label(profile), files, bytes);
    if (files > 0)
        report_(Label(profile) + ": removed " + std::to_string(files) + " cache files (" +
                std::to_string(bytes) + " bytes).");
    else if (!failed)
        report_(Label(profile) + ": no cache files to remove.");
}

void ChromiumCleaner::CleanSharedCache(const std::string& userDataFolder) {
    std::vector<std::string> folders;
    for (const char* name : kSharedCacheFolders) folders.push_back(JoinPath(userDataFolder, name));
    const std::string label = name_ + " user data " + userDataFolder;
    std::int64_t files = 0, bytes = 0;
    RemoveCacheFolders(folders, label, files, bytes);
    if (files > 0)
        report_(label + ": removed " + std::to_string(files) + " shared GPU cache files (" +
                std::to_string(bytes) + " bytes).");
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
            Fail("Failed: " + Label(profile) + ": " + file +
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
        Fail("Failed: " + Label(profile) + ": Web Data left as it was: " + std::string(e.what()) +
             ".");
    }
}

}  // namespace velloran
