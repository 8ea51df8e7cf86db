#include "cleaning/browsers/CookieSites.hpp"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>

#include "cleaning/browsers/BrowserDatabase.hpp"
#include "cleaning/browsers/ChromiumProfiles.hpp"
#include "cleaning/browsers/GeckoTasks.hpp"
#include "cleaning/browsers/IECleaner.hpp"
#include "common/ModFunctions.hpp"
#include "common/Text.hpp"
#include "common/VbError.hpp"
#include "common/platform/Paths.hpp"

namespace velloran {

namespace fs = std::filesystem;

namespace {

// The cookie manager asks for the cookies folder by this id; the shell reads its
// low byte (33, the cookies folder).
constexpr int kCookiesFolderId = 545;

// Which Gecko browser a profile belongs to, by a piece of its path (lower case);
// the first row that matches names it.
struct GeckoName {
    const char* pathPiece;
    const char* name;
};
constexpr GeckoName kGeckoNames[] = {
    {"librewolf", "LibreWolf"},
    {"waterfox", "Waterfox"},
    {"seamonkey", "SeaMonkey"},
    {"pale moon", "Pale Moon"},
    {"firefox", "Firefox"},
    {".slt", "Netscape/Mozilla"},
    {"", "Mozilla"},
};

std::string GeckoBrowserName(const std::string& profile) {
    const std::string path = AsciiLower(profile);
    for (const GeckoName& row : kGeckoNames)
        if (path.find(row.pathPiece) != std::string::npos) return row.name;
    return "Mozilla";
}

std::string Shown(Platform& platform, const std::string& path) {
    const std::string home = platform.HomeDirectory();
    if (!home.empty() && path.size() > home.size() && path.starts_with(home) &&
        IsPathSeparator(path[home.size()]))
        return std::string("~").append(path, home.size());
    return path;
}

std::string Undotted(std::string host) {
    while (!host.empty() && host.front() == '.') host.erase(0, 1);
    return host;
}

std::vector<CookieSite> Sites(const std::map<std::string, std::int64_t>& counts) {
    std::vector<CookieSite> sites;
    for (const auto& [host, n] : counts)
        if (!host.empty()) sites.push_back({host, n});
    return sites;
}

// The site of a cookies.txt line, "" for a comment or a blank line; the file holds
// one cookie a line, its host first and the fields split by tabs.
std::string TextCookieSite(const std::string& line) {
    const auto tab = line.find('\t');
    if (line.empty() || line.front() == '#' || tab == std::string::npos) return {};
    return AsciiLower(Undotted(line.substr(0, tab)));
}

std::vector<CookieSite> ReadTextSites(Platform& platform, const CookieStore& store,
                                      std::string& error) {
    const auto text = platform.ReadTextFile(store.file);
    if (!text) {
        error = "the file cannot be read";
        return {};
    }
    std::map<std::string, std::int64_t> counts;
    std::istringstream in(*text);
    for (std::string line; std::getline(in, line);)
        if (std::string site = TextCookieSite(line); !site.empty()) ++counts[site];
    return Sites(counts);
}

// The file is written again without the sites' lines; everything else stays.
std::string DeleteTextSites(Platform& platform, const CookieStore& store,
                            const std::vector<std::string>& hosts, std::int64_t& removed) {
    const auto text = platform.ReadTextFile(store.file);
    if (!text) return "the file cannot be read";
    std::string out;
    std::int64_t count = 0;
    std::istringstream in(*text);
    for (std::string line; std::getline(in, line);) {
        const std::string site = TextCookieSite(line);
        if (!site.empty() && std::find(hosts.begin(), hosts.end(), site) != hosts.end())
            ++count;
        else
            out += line + "\n";
    }
    if (count == 0) return {};
    try {
        platform.WriteTextFile(store.file, out);
    } catch (const VbError& e) {
        return e.Description();
    }
    removed = count;
    return {};
}

bool IsFile(const std::string& path) {
    std::error_code ec;
    return fs::is_regular_file(PathFromUtf8(path), ec);
}

}  // namespace

std::vector<CookieStore> FindCookieStores(Platform& platform, const GeckoLocations& gecko,
                                          const ChromiumLocations& chromium) {
    std::vector<CookieStore> stores;
    for (const GeckoProfile& profile : FindGeckoProfiles(gecko)) {
        const std::string label =
            GeckoBrowserName(profile.path) + " " + Shown(platform, profile.path);
        const std::string inUse = GeckoProfileInUse(platform, profile.path);
        if (IsFile(JoinPath(profile.path, "cookies.sqlite")))
            stores.push_back(
                {label, JoinPath(profile.path, "cookies.sqlite"), "moz_cookies", "host", inUse});
        // Netscape 6/7 and the Mozilla Suite keep their cookies as text.
        if (IsFile(JoinPath(profile.path, "cookies.txt")))
            stores.push_back({label + " (cookies.txt)", JoinPath(profile.path, "cookies.txt"),
                              nullptr, nullptr, inUse});
    }
    std::vector<const ChromiumBrowser*> browsers{&kOperaBrowser};
    for (const ChromiumBrowser& browser : ChromiumFamilyBrowsers()) browsers.push_back(&browser);
    std::set<std::string> seen;
    for (const ChromiumBrowser* browser : browsers) {
        for (const ChromiumProfile& profile : ChromiumProfiles(platform, chromium, *browser)) {
            std::error_code ec;
            const fs::path canonical = fs::weakly_canonical(PathFromUtf8(profile.folder), ec);
            if (!seen.insert(PathKey(ec ? profile.folder : Utf8FromPath(canonical))).second)
                continue;
            const auto why = ChromiumProfileInUse(platform, profile);
            // Versions differ in whether the file is in Network/; where both are, the
            // second is named so that the two rows can be told apart.
            bool first = true;
            for (const char* name : {"Network/Cookies", "Cookies"}) {
                const std::string file = JoinPath(profile.folder, name);
                if (!IsFile(file)) continue;
                stores.push_back({std::string(browser->name) + " " +
                                      Shown(platform, profile.folder) +
                                      (first ? "" : " (" + std::string(name) + ")"),
                                  file, "cookies", "host_key", why.value_or("")});
                first = false;
            }
        }
    }
    return stores;
}

std::vector<CookieStore> FindCookieStores(Platform& platform, const GeckoLocations& where) {
    return FindCookieStores(platform, where, ChromiumLocations::FromEnvironment(platform));
}

std::vector<CookieSite> ReadCookieSites(Platform& platform, const CookieStore& store,
                                        std::string& error) {
    if (!store.table) return ReadTextSites(platform, store, error);
    auto db = BrowserDatabase::OpenForReading(store.file, error, !store.inUse.empty());
    if (!db) return {};
    std::map<std::string, std::int64_t> counts;
    try {
        if (!db->HasColumn(store.table, store.hostColumn)) {
            error =
                "this browser version has no " + std::string(store.table) + "." + store.hostColumn;
            return {};
        }
        for (const auto& [host, n] :
             db->QueryCounts("SELECT " + std::string(store.hostColumn) + ", count(*) FROM " +
                             store.table + " GROUP BY 1"))
            counts[Undotted(host)] += n;
    } catch (const DatabaseError& e) {
        error = e.what();
        return {};
    }
    return Sites(counts);
}

std::string DeleteCookieSites(Platform& platform, const CookieStore& store,
                              const std::vector<std::string>& hosts, std::int64_t& removed) {
    removed = 0;
    if (!store.inUse.empty()) return store.inUse;
    if (!store.table) return DeleteTextSites(platform, store, hosts, removed);
    std::string error;
    auto db = BrowserDatabase::Open(platform, store.file, error);
    if (!db) return error;
    try {
        if (!db->HasColumn(store.table, store.hostColumn))
            return "this browser version has no " + std::string(store.table) + "." +
                   store.hostColumn;
    } catch (const DatabaseError& e) {
        return e.what();
    }
    const std::string sql =
        "DELETE FROM " + std::string(store.table) + " WHERE " + store.hostColumn + " IN (?1, ?2)";
    std::int64_t count = 0;
    error = db->Transaction([&](BrowserDatabase& d) {
        for (const std::string& host : hosts) count += d.Execute(sql, {host, "." + host});
    });
    if (error.empty()) removed = count;
    return error;
}

std::string IECookieFileSite(const std::string& fileName) {
    const auto at = fileName.find('@');
    if (at == std::string::npos) return {};
    std::string site = fileName.substr(at + 1);
    // "site[1].txt": the site runs up to the bracket, or else up to ".txt".
    if (const auto bracket = site.find('['); bracket != std::string::npos)
        site.erase(bracket);
    else if (AsciiLower(site).ends_with(".txt"))
        site.erase(site.size() - 4);
    return site;
}

std::string CookiesFolder(Platform& platform, RegistryStore& registry) {
    std::string folder = GetSpecialFolder(platform, kCookiesFolderId);
    if (!folder.empty()) return folder;
    return ShellFolderPath(registry, platform, "Cookies").value_or("");
}

}  // namespace velloran
