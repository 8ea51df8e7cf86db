#include "cleaning/browsers/GeckoProfiles.hpp"

#include <algorithm>
#include <array>
#include <cctype>
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

bool IsFolder(const fs::path& p) {
    std::error_code ec;
    return fs::symlink_status(p, ec).type() == fs::file_type::directory;
}

std::vector<std::string> SaltedFolders(const fs::path& root) {
    std::vector<std::string> found;
    std::error_code ec;
    for (fs::directory_iterator app(root, ec), end; !ec && app != end; app.increment(ec)) {
        if (!IsFolder(app->path())) continue;
        std::error_code inner;
        for (fs::directory_iterator p(app->path(), inner); !inner && p != end; p.increment(inner)) {
            const std::string name = p->path().filename().string();
            if (name.size() == 12 && name.ends_with(".slt") && IsFolder(p->path()))
                found.push_back(p->path().string());
        }
    }
    return found;
}

// True when `path` lies below `base`, going by the names alone.
bool Below(const fs::path& base, const fs::path& path) {
    if (base.empty()) return false;
    const fs::path rel = path.lexically_normal().lexically_relative(base.lexically_normal());
    return !rel.empty() && *rel.begin() != "..";
}

// True when `path` is `base` or lies below it, and every folder from `base` down to
// it is a real folder: no link leads anywhere else on the way.
bool ReachedWithoutLinks(const fs::path& base, const fs::path& path) {
    if (!Below(base, path)) return false;
    const fs::path rel = path.lexically_normal().lexically_relative(base.lexically_normal());
    fs::path at = base;
    for (const fs::path& part : rel) {
        if (part.empty() || part == ".") continue;
        at /= part;
        if (!IsFolder(at)) return false;
    }
    return IsFolder(at);
}

// A folder a browser has used as its profile: its own settings or times, and the
// lock it takes while it runs.
bool IsRealProfile(const fs::path& folder) {
    std::error_code ec;
    auto type = [&](const char* name) { return fs::symlink_status(folder / name, ec).type(); };
    const bool own =
        type("prefs.js") == fs::file_type::regular || type("times.json") == fs::file_type::regular;
    const bool lock =
        type(".parentlock") == fs::file_type::regular || type("lock") == fs::file_type::symlink;
    return own && lock;
}

bool IsWindowsPath(const std::string& p) {
    return p.size() >= 3 && std::isalpha(static_cast<unsigned char>(p[0])) && p[1] == ':' &&
           (p[2] == '\\' || p[2] == '/');
}

// The profile folders of a profiles.ini in the Windows environment: relative ones
// below `folder`, absolute ones (Windows paths) through the environment's drive
// mapping, and only when they stay inside the environment's drive C: without a link
// on the way. A host path is not a path of that environment.
std::vector<std::string> EnvironmentProfiles(const GeckoLocations& where, const fs::path& folder,
                                             const std::vector<ProfilesIniEntry>& entries) {
    std::vector<std::string> found;
    std::error_code ec;
    const fs::path drive = where.environmentRoot.empty()
                               ? fs::path()
                               : fs::weakly_canonical(PathFromUtf8(where.environmentRoot), ec);
    for (ProfilesIniEntry e : entries) {
        std::replace(e.path.begin(), e.path.end(), '\\', '/');
        if (e.relative) {
            const fs::path p = (folder / PathFromUtf8(e.path)).make_preferred();
            if (ReachedWithoutLinks(folder, p)) found.push_back(Utf8FromPath(p.lexically_normal()));
        } else if (IsWindowsPath(e.path) && where.hostPath && !drive.empty()) {
            const auto host = where.hostPath(e.path);
            if (host && ReachedWithoutLinks(drive, PathFromUtf8(*host)))
                found.push_back(Utf8FromPath(PathFromUtf8(*host).lexically_normal()));
        }
    }
    return found;
}

// The profile folders of a profiles.ini in the user's home: those below `folder`
// as they are; one elsewhere only when it is a browser's real profile, reached
// without a link.
std::vector<std::string> HomeProfiles(const GeckoLocations& where, const fs::path& folder,
                                      const std::vector<ProfilesIniEntry>& entries) {
    std::vector<std::string> found;
    for (const ProfilesIniEntry& e : entries) {
        const fs::path p =
            (e.relative ? folder / PathFromUtf8(e.path) : PathFromUtf8(e.path)).lexically_normal();
        if (!p.is_absolute()) continue;
        if (ReachedWithoutLinks(folder, p)) {
            found.push_back(Utf8FromPath(p));
            continue;
        }
        const fs::path home = PathFromUtf8(where.home);
        if (ReachedWithoutLinks(Below(home, p) ? home : p.root_path(), p) && IsRealProfile(p))
            found.push_back(Utf8FromPath(p));
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
    if (auto windows = platform.SpecialFolderPath(CSIDL_WINDOWS))
        where.environmentRoot = Utf8FromPath(PathFromUtf8(*windows).parent_path());
    where.hostPath = [&platform](const std::string& p) { return platform.HostPath(p); };
    return where;
}

std::vector<ProfilesIniEntry> ProfilesIniEntries(const std::string& ini) {
    std::vector<ProfilesIniEntry> entries;
    std::istringstream in(ini);
    bool inProfile = false;
    ProfilesIniEntry entry;
    auto flush = [&] {
        if (inProfile && !entry.path.empty()) entries.push_back(entry);
        entry = {};
    };
    for (std::string line; std::getline(in, line);) {
        line = Trim(line);
        if (line.starts_with("[")) {
            flush();
            inProfile = line.starts_with("[Profile");
        } else if (line.starts_with("Path=")) {
            entry.path = line.substr(5);
        } else if (line.starts_with("IsRelative=")) {
            entry.relative = line.substr(11) != "0";
        }
    }
    flush();
    return entries;
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
        const bool environment = root.base == Base::AppData;
        // A root inside the environment is reached from its drive C: without a link.
        if (environment && Below(PathFromUtf8(where.environmentRoot), folder) &&
            !ReachedWithoutLinks(PathFromUtf8(where.environmentRoot), folder))
            continue;
        std::vector<std::string> found;
        if (root.layout == Layout::Salted) {
            found = SaltedFolders(folder);
        } else if (std::ifstream ini(folder / "profiles.ini"); ini) {
            std::stringstream text;
            text << ini.rdbuf();
            const auto entries = ProfilesIniEntries(text.str());
            found = environment ? EnvironmentProfiles(where, folder, entries)
                                : HomeProfiles(where, folder, entries);
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
