#include "cleaning/browsers/GeckoProfiles.hpp"

#include <array>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "common/Target.hpp"
#include "common/platform/Paths.hpp"

namespace velloran {

namespace fs = std::filesystem;

namespace {

enum class Base { Home, Config, Cache, AppData, LocalAppData };
enum class Layout {
    ProfilesIni,  // profiles.ini lists the profiles
    Salted,       // <root>/<profile name>/<8 characters>.slt, no profiles.ini needed
};

struct GeckoRoot {
    Base base;
    const char* folder;
    Layout layout;
    // Where a profile's disk cache lives: the same path below this folder as the
    // profile's below the root ("" for none).
    Base cacheBase;
    const char* cacheFolder;
};

// Windows browsers keep a profile in %APPDATA% and its cache in %LOCALAPPDATA%, on
// Windows and inside a Wine prefix alike.
constexpr std::array<GeckoRoot, 18> kRoots{{
    {Base::Home, ".mozilla/firefox", Layout::ProfilesIni, Base::Cache, "mozilla/firefox"},
    {Base::Config, "mozilla/firefox", Layout::ProfilesIni, Base::Cache, "mozilla/firefox"},
    {Base::Home, "snap/firefox/common/.mozilla/firefox", Layout::ProfilesIni, Base::Cache, ""},
    {Base::Home, ".var/app/org.mozilla.firefox/.mozilla/firefox", Layout::ProfilesIni, Base::Cache,
     ""},
    {Base::Home, ".var/app/org.mozilla.firefox/config/mozilla/firefox", Layout::ProfilesIni,
     Base::Cache, ""},
    {Base::Home, ".librewolf", Layout::ProfilesIni, Base::Cache, "librewolf"},
    {Base::Home, ".var/app/io.gitlab.librewolf-community/.librewolf", Layout::ProfilesIni,
     Base::Cache, ""},
    {Base::Home, ".waterfox", Layout::ProfilesIni, Base::Cache, "waterfox"},
    {Base::Home, ".mozilla/seamonkey", Layout::ProfilesIni, Base::Cache, "mozilla/seamonkey"},
    {Base::Home, ".moonchild productions/pale moon", Layout::ProfilesIni, Base::Cache,
     "moonchild productions/pale moon"},
    {Base::Home, ".mozilla", Layout::Salted, Base::Cache, ""},
    {Base::AppData, "Mozilla/Firefox", Layout::ProfilesIni, Base::LocalAppData, "Mozilla/Firefox"},
    {Base::AppData, "Mozilla/SeaMonkey", Layout::ProfilesIni, Base::LocalAppData,
     "Mozilla/SeaMonkey"},
    {Base::AppData, "Moonchild Productions/Pale Moon", Layout::ProfilesIni, Base::LocalAppData,
     "Moonchild Productions/Pale Moon"},
    {Base::AppData, "Waterfox", Layout::ProfilesIni, Base::LocalAppData, "Waterfox"},
    {Base::AppData, "librewolf", Layout::ProfilesIni, Base::LocalAppData, "librewolf"},
    {Base::AppData, "Mozilla/Profiles", Layout::Salted, Base::LocalAppData, ""},
    {Base::AppData, "Netscape/NSv6/Users50", Layout::Salted, Base::LocalAppData, ""},
}};

// Cache folder names inside a profile or its cache folder; never the profile itself.
constexpr std::array<const char*, 5> kCacheNames{"cache2", "startupCache", "thumbnails", "Cache",
                                                 "OfflineCache"};

std::string BaseFolder(const GeckoLocations& where, Base base) {
    switch (base) {
        case Base::Home:
            return where.home;
        case Base::Config:
            return where.configHome;
        case Base::Cache:
            return where.cacheHome;
        case Base::AppData:
            return where.appData;
        case Base::LocalAppData:
            return where.localAppData;
    }
    return {};
}

std::string Trim(std::string s) {
    while (!s.empty() && (s.back() == '\r' || s.back() == ' ')) s.pop_back();
    while (!s.empty() && s.front() == ' ') s.erase(0, 1);
    return s;
}

std::vector<std::string> SaltedFolders(const fs::path& root) {
    std::vector<std::string> found;
    std::error_code ec;
    for (fs::directory_iterator app(root, ec), end; !ec && app != end; app.increment(ec)) {
        if (!app->is_directory(ec)) continue;
        std::error_code inner;
        for (fs::directory_iterator p(app->path(), inner); !inner && p != end; p.increment(inner)) {
            const std::string name = p->path().filename().string();
            if (name.size() == 12 && name.ends_with(".slt") && p->is_directory(inner))
                found.push_back(p->path().string());
        }
    }
    return found;
}

std::vector<std::string> CacheFolders(const fs::path& profile, const fs::path& external) {
    std::vector<std::string> folders;
    for (const fs::path& base : {external, profile}) {
        if (base.empty()) continue;
        for (const char* name : kCacheNames) folders.push_back((base / name).string());
    }
    return folders;
}

}  // namespace

GeckoLocations GeckoLocations::FromEnvironment(Platform& platform) {
    GeckoLocations where;
    where.home = platform.HomeDirectory();
    where.configHome = XdgConfigHome().string();
    where.cacheHome = XdgCacheHome().string();
    if (auto appData = platform.SpecialFolderPath(CSIDL_APPDATA)) where.appData = *appData;
    if (auto local = platform.SpecialFolderPath(CSIDL_LOCAL_APPDATA)) where.localAppData = *local;
    return where;
}

std::vector<std::string> ProfilesIniFolders(const std::string& ini, const std::string& root) {
    std::vector<std::string> folders;
    std::istringstream in(ini);
    bool inProfile = false;
    std::string path;
    bool relative = true;
    auto flush = [&] {
        if (inProfile && !path.empty())
            folders.push_back(
                relative
                    ? Utf8FromPath((PathFromUtf8(root) / PathFromUtf8(path)).lexically_normal())
                    : path);
        path.clear();
        relative = true;
    };
    for (std::string line; std::getline(in, line);) {
        line = Trim(line);
        if (line.starts_with("[")) {
            flush();
            inProfile = line.starts_with("[Profile");
        } else if (line.starts_with("Path=")) {
            path = line.substr(5);
        } else if (line.starts_with("IsRelative=")) {
            relative = line.substr(11) != "0";
        }
    }
    flush();
    return folders;
}

std::vector<GeckoProfile> FindGeckoProfiles(const GeckoLocations& where) {
    std::vector<GeckoProfile> profiles;
    std::set<std::string> seen;
    std::error_code ec;
    for (const GeckoRoot& root : kRoots) {
        const std::string base = BaseFolder(where, root.base);
        if (base.empty()) continue;
        // The rows write "/"; a path shows the system's own separator.
        const fs::path folder = (PathFromUtf8(base) / root.folder).make_preferred();
        std::vector<std::string> found;
        if (root.layout == Layout::Salted) {
            found = SaltedFolders(folder);
        } else if (std::ifstream ini(folder / "profiles.ini"); ini) {
            std::stringstream text;
            text << ini.rdbuf();
            found = ProfilesIniFolders(text.str(), folder.string());
        }
        for (const std::string& path : found) {
            const fs::path canonical = fs::weakly_canonical(PathFromUtf8(path), ec);
            if (ec || !fs::is_directory(canonical, ec) ||
                !seen.insert(PathKey(canonical.string())).second)
                continue;
            // A profile under the root keeps its cache under the cache home; one
            // elsewhere keeps it inside itself.
            fs::path external;
            const fs::path rel = canonical.lexically_relative(fs::weakly_canonical(folder, ec));
            const std::string cacheBase = BaseFolder(where, root.cacheBase);
            if (*root.cacheFolder && !cacheBase.empty() && !rel.empty() && *rel.begin() != "..")
                external = (PathFromUtf8(cacheBase) / root.cacheFolder / rel).make_preferred();
            profiles.push_back({canonical.string(), CacheFolders(canonical, external)});
        }
    }
    return profiles;
}

bool AnyGeckoRoot(Platform& platform, const GeckoLocations& where) {
    for (const GeckoRoot& root : kRoots) {
        const std::string base = BaseFolder(where, root.base);
        if (base.empty()) continue;
        const fs::path folder = PathFromUtf8(base) / root.folder;
        if (root.layout == Layout::Salted ? !SaltedFolders(folder).empty()
                                          : platform.DirectoryExists(folder.string()))
            return true;
    }
    return false;
}

}  // namespace velloran
