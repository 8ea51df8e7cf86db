#include "cleaning/browsers/GeckoTasks.hpp"

#include <array>
#include <filesystem>
#include <functional>
#include <optional>
#include <sstream>
#include <utility>

#include "cleaning/browsers/BrowserDatabase.hpp"
#include "cleaning/browsers/MorkFile.hpp"
#include "common/VbError.hpp"
#include "common/platform/FolderSize.hpp"
#include "common/platform/Paths.hpp"

namespace velloran {

namespace fs = std::filesystem;

namespace {

using Columns = std::vector<std::pair<const char*, const char*>>;
// Returns the line of what it removed, "" when there was nothing.
using DatabaseEdit = std::function<std::string(BrowserDatabase&)>;

std::string Count(std::int64_t n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

// One task on one database: missing file is nothing to do; every problem is a
// "Failed:" line and the database is left as it was.
void EditDatabase(GeckoTaskContext& c, GeckoTaskResult& r, const std::string& path,
                  const char* what, const Columns& needed, const DatabaseEdit& edit) {
    std::error_code ec;
    if (!fs::exists(PathFromUtf8(path), ec)) return;
    const std::string fail = "Failed: " + std::string(what) + " not removed from " + path + ": ";
    std::string error;
    auto db = BrowserDatabase::Open(c.platform, path, error);
    if (!db) {
        r.Fail(fail + error + ".");
        return;
    }
    try {
        for (const auto& [table, column] : needed)
            if (!db->HasColumn(table, column)) {
                r.Fail(fail + "this browser version has no " + table + "." + column + ".");
                return;
            }
    } catch (const DatabaseError& e) {
        r.Fail(fail + e.what() + ".");
        return;
    }
    std::string line;
    error = db->Transaction([&](BrowserDatabase& d) { line = edit(d); });
    if (!error.empty()) {
        r.Fail(fail + error + "; nothing was changed.");
    } else if (!line.empty()) {
        r.lines.push_back(line);
        r.removedAny = true;
    }
}

// Typed visits and typed flags go; pages they alone kept go too, the others get
// their counts back from the visits left and are marked for a new frecency.
std::string PlacesTyped(BrowserDatabase& db) {
    const std::int64_t inputs =
        db.HasTable("moz_inputhistory") ? db.Execute("DELETE FROM moz_inputhistory") : 0;
    db.Execute("CREATE TEMP TABLE IF NOT EXISTS typed_places(id INTEGER PRIMARY KEY)");
    db.Execute("DELETE FROM typed_places");
    db.Execute(
        "INSERT OR IGNORE INTO typed_places SELECT place_id FROM moz_historyvisits "
        "WHERE visit_type = 2");
    db.Execute("INSERT OR IGNORE INTO typed_places SELECT id FROM moz_places WHERE typed <> 0");
    const std::int64_t visits = db.Execute("DELETE FROM moz_historyvisits WHERE visit_type = 2");
    const std::int64_t flags = db.Execute("UPDATE moz_places SET typed = 0 WHERE typed <> 0");
    const std::string kept = db.HasColumn("moz_places", "foreign_count")
                                 ? "foreign_count > 0"
                                 : "id IN (SELECT fk FROM moz_bookmarks)";
    const std::int64_t pages = db.Execute(
        "DELETE FROM moz_places WHERE id IN typed_places AND NOT (" + kept +
        ") AND NOT EXISTS (SELECT 1 FROM moz_historyvisits v WHERE v.place_id = moz_places.id)");
    db.Execute(
        "UPDATE moz_places SET visit_count = (SELECT count(*) FROM moz_historyvisits v "
        "WHERE v.place_id = moz_places.id AND v.visit_type NOT IN (0, 4, 7, 8, 9)), "
        "last_visit_date = (SELECT max(visit_date) FROM moz_historyvisits v "
        "WHERE v.place_id = moz_places.id) WHERE id IN typed_places");
    if (db.HasColumn("moz_places", "recalc_frecency"))
        db.Execute("UPDATE moz_places SET recalc_frecency = 1 WHERE id IN typed_places");
    if (db.HasColumn("moz_places", "origin_id") && db.HasTable("moz_origins"))
        db.Execute(
            "DELETE FROM moz_origins WHERE id NOT IN (SELECT origin_id FROM moz_places "
            "WHERE origin_id IS NOT NULL)");
    if (db.HasColumn("moz_annos", "place_id"))
        db.Execute("DELETE FROM moz_annos WHERE place_id NOT IN (SELECT id FROM moz_places)");
    db.Execute("DROP TABLE typed_places");
    if (inputs + visits + flags == 0) return {};
    return "Removed from " + db.Path() + ": " +
           Count(inputs, "address-bar entry", "address-bar entries") + ", " +
           Count(visits, "typed visit", "typed visits") + ", " +
           Count(flags, "typed flag", "typed flags") + "; " +
           Count(pages, "page that only typing had kept", "pages that only typing had kept") +
           " removed.";
}

std::string UrlbarHistory(BrowserDatabase& db) {
    const std::int64_t n = db.Execute("DELETE FROM urlbarhistory");
    return n ? "Removed " + Count(n, "typed address", "typed addresses") + " from " + db.Path() +
                   "."
             : std::string();
}

// Netscape 7 keeps its address-bar list as the RDF sequence nc:urlbar-history of
// localstore.rdf; its items go, the rest of the file (window sizes, toolbars) stays.
void UrlbarRdf(GeckoTaskContext& c, GeckoTaskResult& r, const std::string& path) {
    auto text = c.platform.ReadTextFile(path);
    if (!text) return;
    std::string out;
    const std::int64_t removed = RemoveUrlbarHistory(*text, out);
    if (removed == 0) return;
    try {
        c.platform.ReplaceFileContent(path, out);
    } catch (const VbError& e) {
        r.Fail("Failed: typed addresses not removed from " + path + ": " + e.Description() + ".");
        return;
    }
    r.lines.push_back("Removed " + Count(removed, "typed address", "typed addresses") + " from " +
                      path + ".");
    r.removedAny = true;
}

// The new text of a Mork history without its typed rows; nullopt when none was typed.
std::optional<std::string> WithoutTypedRows(const std::string& text, std::int64_t& removed) {
    MorkStore store = MorkStore::Parse(text);
    removed = static_cast<std::int64_t>(store.RemoveRows(IsTypedHistoryRow));
    if (removed == 0) return std::nullopt;
    return store.Write();
}

// Netscape 6/7, the Mozilla Suite and early Firefox mark the pages typed into the
// address bar with a Typed cell of history.dat. Those rows go and the file is
// written anew from what is left, so their text does not stay in its dictionaries.
void MorkTypedHistory(GeckoTaskContext& c, GeckoTaskResult& r, const std::string& path) {
    if (!c.platform.FileExists(path)) return;
    const std::string fail = "Failed: typed addresses not removed from " + path + ": ";
    const std::string untouched = "; the file was left as it was.";
    if (c.platform.FileSize(path).value_or(0) > MorkStore::kMaxBytes) {
        r.Fail(fail + "the file is too large to be a browser's" + untouched);
        return;
    }
    const auto text = c.platform.ReadTextFile(path);
    if (!text) {
        r.Fail(fail + "the file could not be read.");
        return;
    }
    std::int64_t removed = 0;
    try {
        const auto cleaned = WithoutTypedRows(*text, removed);
        if (!cleaned) return;
        c.platform.ReplaceFileContent(path, *cleaned);
    } catch (const MorkError& e) {
        r.Fail(fail + e.what() + untouched);
        return;
    } catch (const VbError& e) {
        r.Fail(fail + e.Description() + untouched);
        return;
    }
    r.lines.push_back("Removed " + Count(removed, "typed address", "typed addresses") + " from " +
                      path + ".");
    r.removedAny = true;
}

GeckoTaskResult TypedAddresses(const GeckoProfile& p, GeckoTaskContext& c) {
    GeckoTaskResult r;
    EditDatabase(c, r, JoinPath(p.path, "places.sqlite"), "typed addresses",
                 {{"moz_places", "typed"}, {"moz_historyvisits", "visit_type"}}, PlacesTyped);
    EditDatabase(c, r, JoinPath(p.path, "urlbarhistory.sqlite"), "typed addresses",
                 {{"urlbarhistory", "url"}}, UrlbarHistory);
    UrlbarRdf(c, r, JoinPath(p.path, "localstore.rdf"));
    MorkTypedHistory(c, r, JoinPath(p.path, "history.dat"));
    return r;
}

// Files and bytes below a folder, counted before it goes.
RemovalCount FolderFiles(Platform& platform, const std::string& folder) {
    const FolderSize size = MeasureFolder(platform, folder);
    RemovalCount n;
    n.items = size.files;
    n.bytes = size.bytes;
    return n;
}

// A profile or a browser's own folder is never a cache folder.
bool HoldsUserData(const fs::path& folder) {
    std::error_code ec;
    for (const char* marker : {"prefs.js", "places.sqlite", "Local State", "Preferences"})
        if (fs::exists(folder / marker, ec)) return true;
    return false;
}

GeckoTaskResult Cache(const GeckoProfile& p, GeckoTaskContext& c) {
    GeckoTaskResult r;
    std::error_code ec;
    for (const std::string& folder : p.cacheFolders) {
        const fs::path where = PathFromUtf8(folder);
        if (!fs::is_directory(fs::symlink_status(where, ec)) || HoldsUserData(where)) continue;
        const RemovalCount size = FolderFiles(c.platform, folder);
        try {
            c.platform.DeletePath(folder);
        } catch (const VbError& e) {
            r.Fail("Failed: cache not removed from " + folder + ": " + e.Description() + ".");
            continue;
        }
        if (size.items == 0) continue;  // an empty folder held no trace worth a line
        r.lines.push_back("Removed " + Count(size.items, "cache file", "cache files") + " (" +
                          std::to_string(size.bytes) + " bytes) from " + folder + ".");
        r.removedAny = true;
    }
    return r;
}

std::string KeptText(std::int64_t kept) {
    return kept ? "; kept " + Count(kept, "cookie", "cookies") + " of the sites to keep" : "";
}

std::string CookiesDatabase(BrowserDatabase& db, const CookieKeepList& keep) {
    std::int64_t removed = 0, kept = 0;
    for (const std::string& host : db.QueryTexts("SELECT DISTINCT host FROM moz_cookies")) {
        if (keep.Keeps(host))
            kept += db.QueryInt("SELECT count(*) FROM moz_cookies WHERE host = ?1", {host});
        else
            removed += db.Execute("DELETE FROM moz_cookies WHERE host = ?1", {host});
    }
    if (removed == 0 && kept == 0) return {};
    return "Removed " + Count(removed, "cookie", "cookies") + " from " + db.Path() +
           KeptText(kept) + ".";
}

// cookies.txt: the kept sites' lines stay, the rest go; the file goes when none stay.
void CookiesText(GeckoTaskContext& c, GeckoTaskResult& r, const std::string& path) {
    auto text = c.platform.ReadTextFile(path);
    if (!text) return;
    std::istringstream in(*text);
    std::string out;
    std::int64_t removed = 0, kept = 0;
    for (std::string line; std::getline(in, line);) {
        const bool cookie = !line.empty() && line[0] != '#' && line.find('\t') != std::string::npos;
        if (!cookie) {
            out += line + "\n";
        } else if (c.keep.Keeps(line.substr(0, line.find('\t')))) {
            out += line + "\n";
            ++kept;
        } else {
            ++removed;
        }
    }
    if (removed == 0) return;
    try {
        if (kept)
            c.platform.WriteTextFile(path, out);
        else
            c.platform.DeletePath(path);
    } catch (const VbError& e) {
        r.Fail("Failed: cookies not removed from " + path + ": " + e.Description() + ".");
        return;
    }
    r.lines.push_back("Removed " + Count(removed, "cookie", "cookies") + " from " + path +
                      KeptText(kept) + ".");
    r.removedAny = true;
}

GeckoTaskResult Cookies(const GeckoProfile& p, GeckoTaskContext& c) {
    GeckoTaskResult r;
    EditDatabase(c, r, JoinPath(p.path, "cookies.sqlite"), "cookies", {{"moz_cookies", "host"}},
                 [&](BrowserDatabase& db) { return CookiesDatabase(db, c.keep); });
    CookiesText(c, r, JoinPath(p.path, "cookies.txt"));
    return r;
}

std::string FormHistory(BrowserDatabase& db) {
    const std::int64_t searches =
        db.QueryInt("SELECT count(*) FROM moz_formhistory WHERE fieldname = 'searchbar-history'");
    if (db.HasTable("moz_history_to_sources")) db.Execute("DELETE FROM moz_history_to_sources");
    if (db.HasTable("moz_sources")) db.Execute("DELETE FROM moz_sources");
    const std::int64_t entries = db.Execute("DELETE FROM moz_formhistory");
    if (entries == 0) return {};
    return "Removed " + Count(entries, "form entry", "form entries") + " (" +
           Count(searches, "search-bar term", "search-bar terms") + ") from " + db.Path() +
           "; saved passwords are not form data and stay.";
}

GeckoTaskResult FormData(const GeckoProfile& p, GeckoTaskContext& c) {
    GeckoTaskResult r;
    EditDatabase(c, r, JoinPath(p.path, "formhistory.sqlite"), "form data",
                 {{"moz_formhistory", "fieldname"}}, FormHistory);
    // The legacy Mork form history holds nothing but form entries.
    const std::string mork = JoinPath(p.path, "formhistory.dat");
    std::error_code ec;
    if (fs::is_regular_file(PathFromUtf8(mork), ec)) {
        try {
            c.platform.DeletePath(mork);
            r.lines.push_back("Removed the form history file " + mork + ".");
            r.removedAny = true;
        } catch (const VbError& e) {
            r.Fail("Failed: form data not removed from " + mork + ": " + e.Description() + ".");
        }
    }
    return r;
}

using Task = GeckoTaskResult (*)(const GeckoProfile&, GeckoTaskContext&);
constexpr std::array<Task, 4> kTasks{TypedAddresses, Cache, Cookies, FormData};

}  // namespace

bool IsTypedHistoryRow(const std::vector<MorkCell>& cells) {
    const auto typed = MorkStore::Value(cells, "Typed");
    return typed && !typed->empty() && *typed != "0";
}

std::int64_t RemoveUrlbarHistory(const std::string& rdf, std::string& out) {
    out = rdf;
    const auto about = out.find("\"nc:urlbar-history\"");
    if (about == std::string::npos) return 0;
    const auto open = out.rfind('<', about);
    const auto openEnd = out.find('>', about);
    if (open == std::string::npos || openEnd == std::string::npos || out[openEnd - 1] == '/')
        return 0;  // an empty sequence
    // The element's tag, "RDF:Seq" or whatever prefix the file uses, closes it.
    const std::string tag = out.substr(open + 1, out.find_first_of(" \t\r\n", open) - open - 1);
    const auto close = out.find("</" + tag, openEnd);
    if (close == std::string::npos) return 0;
    const std::string body = out.substr(openEnd + 1, close - openEnd - 1);
    std::int64_t items = 0;
    for (auto at = body.find("<"); at != std::string::npos; at = body.find("<", at + 1))
        if (body.compare(at + 1, 1, "/") != 0 && body.compare(at + 1, 1, "!") != 0) ++items;
    out.replace(openEnd + 1, close - openEnd - 1, "\n  ");
    return items;
}

GeckoTaskResult RunGeckoTask(int task, const GeckoProfile& profile, GeckoTaskContext& context) {
    if (task < 1 || task > static_cast<int>(kTasks.size())) return {};
    return kTasks[static_cast<std::size_t>(task - 1)](profile, context);
}

std::string GeckoProfileInUse(Platform& platform, const std::string& profile) {
    // Held open or locked while the browser runs: .parentlock on Unix systems,
    // parent.lock on Windows.
    for (const char* lock : {".parentlock", "parent.lock"})
        if (platform.FileLockHeld(JoinPath(profile, lock)))
            return "the browser holds its lock (" + std::string(lock) + ")";
    // Today's link "IP:+PID" stays after a clean exit and proves nothing; the old
    // "IP:PID" of Netscape and the Mozilla Suite does, when that process lives here.
    for (const char* name : {"lock", "parent.lock"}) {
        auto target = platform.ReadLink(JoinPath(profile, name));
        if (!target) continue;
        const auto colon = target->rfind(':');
        if (colon == std::string::npos || target->compare(colon + 1, 1, "+") == 0) continue;
        long pid = 0;
        try {
            pid = std::stol(target->substr(colon + 1));
        } catch (const std::exception&) {
            continue;
        }
        if (platform.ProcessAliveOnThisHost(target->substr(0, colon), pid))
            return "the browser process " + std::to_string(pid) + " holds its lock link";
    }
    return {};
}

}  // namespace velloran
