#include "cleaning/browsers/ChromiumProfiles.hpp"
#include "common/platform/Paths.hpp"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "cleaning/browsers/JsonScan.hpp"
#include "common/platform/UserFolders.hpp"

namespace velloran {

namespace fs = std::filesystem;

namespace {

using B = ChromiumBase;

constexpr ChromiumRoot kOperaRoots[] = {
    {B::Home, ".config/opera", B::Home, ".cache/opera"},
    {B::Home, ".config/opera-beta", B::Home, ".cache/opera-beta"},
    {B::Home, ".config/opera-developer", B::Home, ".cache/opera-developer"},
    {B::Home, "snap/opera/current/.config/opera", B::Home, "snap/opera/current/.cache/opera"},
    // Windows: the profile in %APPDATA%, its cache in %LOCALAPPDATA%.
    {B::AppData, "Opera Software/Opera Stable", B::LocalAppData, "Opera Software/Opera Stable"},
    {B::AppData, "Opera Software/Opera Next", B::LocalAppData, "Opera Software/Opera Next"},
    {B::AppData, "Opera Software/Opera Developer", B::LocalAppData,
     "Opera Software/Opera Developer"},
    {B::AppData, "Opera Software/Opera GX Stable", B::LocalAppData,
     "Opera Software/Opera GX Stable"},
};

// Linux keeps the user data under the config home and the disk caches under the
// cache home; a Flatpak has both below its own folder, a snap below its own home.
// Windows keeps both in `User Data` under the local application data.
constexpr ChromiumRoot kChromeRoots[] = {
    {B::Config, "google-chrome", B::Cache, "google-chrome"},
    {B::Home, ".var/app/com.google.Chrome/config/google-chrome", B::Home,
     ".var/app/com.google.Chrome/cache/google-chrome", true},
    {B::LocalAppData, "Google/Chrome/User Data"},
};
constexpr ChromiumRoot kChromeBetaRoots[] = {
    {B::Config, "google-chrome-beta", B::Cache, "google-chrome-beta"},
    {B::LocalAppData, "Google/Chrome Beta/User Data"},
};
constexpr ChromiumRoot kChromeDevRoots[] = {
    {B::Config, "google-chrome-unstable", B::Cache, "google-chrome-unstable"},
    {B::Home, ".var/app/com.google.ChromeDev/config/google-chrome-unstable", B::Home,
     ".var/app/com.google.ChromeDev/cache/google-chrome-unstable", true},
    {B::LocalAppData, "Google/Chrome Dev/User Data"},
};
constexpr ChromiumRoot kChromeCanaryRoots[] = {
    {B::LocalAppData, "Google/Chrome SxS/User Data"},
};
constexpr ChromiumRoot kChromiumRoots[] = {
    {B::Config, "chromium", B::Cache, "chromium"},
    {B::Home, "snap/chromium/common/chromium", B::Home, "snap/chromium/common/.cache/chromium"},
    {B::Home, ".var/app/org.chromium.Chromium/config/chromium", B::Home,
     ".var/app/org.chromium.Chromium/cache/chromium", true},
    {B::LocalAppData, "Chromium/User Data"},
};
constexpr ChromiumRoot kEdgeRoots[] = {
    {B::Config, "microsoft-edge", B::Cache, "microsoft-edge"},
    {B::Home, ".var/app/com.microsoft.Edge/config/microsoft-edge", B::Home,
     ".var/app/com.microsoft.Edge/cache/microsoft-edge", true},
    {B::LocalAppData, "Microsoft/Edge/User Data"},
};
constexpr ChromiumRoot kEdgeBetaRoots[] = {
    {B::Config, "microsoft-edge-beta", B::Cache, "microsoft-edge-beta"},
    {B::LocalAppData, "Microsoft/Edge Beta/User Data"},
};
constexpr ChromiumRoot kEdgeDevRoots[] = {
    {B::Config, "microsoft-edge-dev", B::Cache, "microsoft-edge-dev"},
    {B::LocalAppData, "Microsoft/Edge Dev/User Data"},
};
constexpr ChromiumRoot kBraveRoots[] = {
    {B::Config, "BraveSoftware/Brave-Browser", B::Cache, "BraveSoftware/Brave-Browser"},
    {B::Home, ".var/app/com.brave.Browser/config/BraveSoftware/Brave-Browser", B::Home,
     ".var/app/com.brave.Browser/cache/BraveSoftware/Brave-Browser", true},
    {B::Home, "snap/brave/current/.config/BraveSoftware/Brave-Browser", B::Home,
     "snap/brave/current/.cache/BraveSoftware/Brave-Browser"},
    {B::LocalAppData, "BraveSoftware/Brave-Browser/User Data"},
};
constexpr ChromiumRoot kBraveBetaRoots[] = {
    {B::Config, "BraveSoftware/Brave-Browser-Beta", B::Cache, "BraveSoftware/Brave-Browser-Beta"},
    {B::LocalAppData, "BraveSoftware/Brave-Browser-Beta/User Data"},
};
constexpr ChromiumRoot kBraveNightlyRoots[] = {
    {B::Config, "BraveSoftware/Brave-Browser-Nightly", B::Cache,
     "BraveSoftware/Brave-Browser-Nightly"},
    {B::LocalAppData, "BraveSoftware/Brave-Browser-Nightly/User Data"},
};
constexpr ChromiumRoot kVivaldiRoots[] = {
    {B::Config, "vivaldi", B::Cache, "vivaldi"},
    {B::Home, ".var/app/com.vivaldi.Vivaldi/config/vivaldi", B::Home,
     ".var/app/com.vivaldi.Vivaldi/cache/vivaldi", true},
    {B::LocalAppData, "Vivaldi/User Data"},
};
constexpr ChromiumRoot kVivaldiSnapshotRoots[] = {
    {B::Config, "vivaldi-snapshot", B::Cache, "vivaldi-snapshot"},
};

using Names = std::string_view;
constexpr Names kOperaClasses[] = {"opera", "opera-beta", "opera-developer"};
constexpr Names kOperaProcesses[] = {"opera", "opera-beta", "opera-developer", "opera.exe"};
constexpr Names kChromeClasses[] = {"google-chrome"};
constexpr Names kChromeBetaClasses[] = {"google-chrome-beta"};
constexpr Names kChromeDevClasses[] = {"google-chrome-unstable"};
// Every channel of Chrome, and the snap of Chromium, runs a program named "chrome".
constexpr Names kChromeProcesses[] = {"chrome", "chrome.exe"};
constexpr Names kChromiumClasses[] = {"chromium", "chromium-browser"};
constexpr Names kChromiumProcesses[] = {"chromium", "chromium-browser", "chrome", "chrome.exe"};
constexpr Names kEdgeClasses[] = {"microsoft-edge"};
constexpr Names kEdgeBetaClasses[] = {"microsoft-edge-beta"};
constexpr Names kEdgeDevClasses[] = {"microsoft-edge-dev"};
constexpr Names kEdgeProcesses[] = {"msedge", "msedge.exe"};
constexpr Names kBraveClasses[] = {"brave-browser"};
constexpr Names kBraveBetaClasses[] = {"brave-browser-beta"};
constexpr Names kBraveNightlyClasses[] = {"brave-browser-nightly"};
constexpr Names kBraveProcesses[] = {"brave", "brave.exe"};
constexpr Names kVivaldiClasses[] = {"vivaldi-stable"};
constexpr Names kVivaldiSnapshotClasses[] = {"vivaldi-snapshot"};
constexpr Names kVivaldiProcesses[] = {"vivaldi-bin", "vivaldi.exe"};

const ChromiumBrowser kFamily[] = {
    {"Google Chrome", kChromeRoots, kChromeClasses, kChromeProcesses},
    {"Google Chrome Beta", kChromeBetaRoots, kChromeBetaClasses, kChromeProcesses},
    {"Google Chrome Dev", kChromeDevRoots, kChromeDevClasses, kChromeProcesses},
    {"Google Chrome Canary", kChromeCanaryRoots, {}, kChromeProcesses},
    {"Chromium", kChromiumRoots, kChromiumClasses, kChromiumProcesses},
    {"Microsoft Edge", kEdgeRoots, kEdgeClasses, kEdgeProcesses},
    {"Microsoft Edge Beta", kEdgeBetaRoots, kEdgeBetaClasses, kEdgeProcesses},
    {"Microsoft Edge Dev", kEdgeDevRoots, kEdgeDevClasses, kEdgeProcesses},
    {"Brave", kBraveRoots, kBraveClasses, kBraveProcesses},
    {"Brave Beta", kBraveBetaRoots, kBraveBetaClasses, kBraveProcesses},
    {"Brave Nightly", kBraveNightlyRoots, kBraveNightlyClasses, kBraveProcesses},
    {"Vivaldi", kVivaldiRoots, kVivaldiClasses, kVivaldiProcesses},
    {"Vivaldi Snapshot", kVivaldiSnapshotRoots, kVivaldiSnapshotClasses, kVivaldiProcesses},
};

// Files that only a profile folder holds.
constexpr const char* kProfileDatabases[] = {"History", "Cookies", "Web Data", "Preferences"};

bool IsFile(const fs::path& p) {
    std::error_code ec;
    return fs::is_regular_file(p, ec);
}

bool IsFolder(const fs::path& p) {
    std::error_code ec;
    return fs::is_directory(p, ec) && !fs::is_symlink(p, ec);
}

std::vector<std::string_view> Union(std::span<const std::string_view> ChromiumBrowser::*list) {
    std::vector<std::string_view> all;
    for (const ChromiumBrowser& browser : kFamily)
        for (std::string_view name : browser.*list)
            if (std::find(all.begin(), all.end(), name) == all.end()) all.push_back(name);
    return all;
}

// The profile folders `Local State` lists. A name is one folder of the user data
// folder; anything else in a damaged file is not followed.
std::vector<std::string> LocalStateProfiles(const fs::path& userData) {
    std::ifstream in(userData / "Local State", std::ios::binary);
    if (!in) return {};
    std::stringstream text;
    text << in.rdbuf();
    std::vector<std::string> names;
    for (std::string& name : JsonObjectKeys(text.str(), {"profile", "info_cache"}))
        if (!name.empty() && name != "." && name != ".." &&
            name.find_first_of("/\\") == std::string::npos)
            names.push_back(std::move(name));
    return names;
}

}  // namespace

const ChromiumBrowser kOperaBrowser{"Opera", kOperaRoots, kOperaClasses, kOperaProcesses};

std::span<const ChromiumBrowser> ChromiumFamilyBrowsers() { return kFamily; }

std::vector<std::string_view> ChromiumFamilyWindowClasses() {
    return Union(&ChromiumBrowser::windowClasses);
}

std::vector<std::string_view> ChromiumFamilyProcesses() {
    return Union(&ChromiumBrowser::processes);
}

ChromiumLocations ChromiumLocations::FromEnvironment(Platform& platform) {
    ChromiumLocations where;
    where.home = platform.HomeDirectory();
    where.configHome = XdgConfigHome().string();
    where.cacheHome = XdgCacheHome().string();
    if (auto local = platform.SpecialFolderPath(CSIDL_LOCAL_APPDATA)) where.localAppData = *local;
    if (auto roaming = platform.SpecialFolderPath(CSIDL_APPDATA)) where.appData = *roaming;
    return where;
}

std::string ChromiumLocations::Folder(ChromiumBase base) const {
    switch (base) {
        case ChromiumBase::Home:
            return home;
        case ChromiumBase::Config:
            return configHome;
        case ChromiumBase::Cache:
            return cacheHome;
        case ChromiumBase::LocalAppData:
            return localAppData;
        case ChromiumBase::AppData:
            return appData;
    }
    return {};
}

std::vector<ChromiumProfile> ChromiumProfiles(Platform& platform, const ChromiumLocations& where,
                                              const ChromiumBrowser& browser) {
    std::vector<ChromiumProfile> profiles;
    std::set<std::string> seen;
    for (const ChromiumRoot& root : browser.roots) {
        const std::string base = where.Folder(root.base);
        if (base.empty()) continue;
        const std::string folder =
            Utf8FromPath((PathFromUtf8(base) / root.userData).make_preferred());
        if (!platform.DirectoryExists(folder)) continue;
        std::error_code ec;
        const fs::path canonical = fs::weakly_canonical(PathFromUtf8(folder), ec);
        if (!seen.insert(PathKey(ec ? folder : Utf8FromPath(canonical))).second) continue;
        std::string cache;
        if (root.cache && !where.Folder(root.cacheBase).empty())
            cache = Utf8FromPath(
                (PathFromUtf8(where.Folder(root.cacheBase)) / root.cache).make_preferred());
        for (ChromiumProfile& p : ChromiumProfilesOf(folder, cache)) {
            p.sandboxPids = root.sandboxPids;
            profiles.push_back(std::move(p));
        }
    }
    return profiles;
}

std::vector<ChromiumProfile> ChromiumProfiles(Platform& platform, const ChromiumBrowser& browser) {
    return ChromiumProfiles(platform, ChromiumLocations::FromEnvironment(platform), browser);
}

std::string ChromiumUserDataFolder(Platform& platform, const ChromiumBrowser& browser) {
    const ChromiumLocations where = ChromiumLocations::FromEnvironment(platform);
    for (const ChromiumRoot& root : browser.roots) {
        const std::string base = where.Folder(root.base);
        if (base.empty()) continue;
        const std::string folder =
            Utf8FromPath((PathFromUtf8(base) / root.userData).make_preferred());
        if (platform.DirectoryExists(folder)) return folder;
    }
    return {};
}

std::vector<ChromiumProfile> ChromiumProfilesOf(const std::string& userDataFolder,
                                                const std::string& cacheRoot) {
    std::vector<ChromiumProfile> profiles;
    const fs::path root = PathFromUtf8(userDataFolder);
    const auto cacheOf = [&](const fs::path& profile) {
        return cacheRoot.empty() ? Utf8FromPath(profile)
                                 : Utf8FromPath(PathFromUtf8(cacheRoot) / profile.filename());
    };
    if (std::any_of(std::begin(kProfileDatabases), std::end(kProfileDatabases),
                    [&](const char* name) { return IsFile(root / name); }))
        profiles.push_back(
            {userDataFolder, cacheRoot.empty() ? userDataFolder : cacheRoot, userDataFolder});
    std::set<fs::path> subfolders;
    std::error_code ec;
    for (fs::directory_iterator it(root, ec), end; !ec && it != end; it.increment(ec))
        if (IsFolder(it->path()) && IsFile(it->path() / "Preferences"))
            subfolders.insert(it->path());
    // A profile the browser lists may not have written its settings yet.
    for (const std::string& name : LocalStateProfiles(root))
        if (IsFolder(root / name)) subfolders.insert(root / name);
    for (const fs::path& p : subfolders)
        profiles.push_back({Utf8FromPath(p), cacheOf(p), userDataFolder});
    return profiles;
}

std::optional<std::string> ChromiumFolderInUse(Platform& platform,
                                               const std::string& userDataFolder,
                                               bool sandboxPids) {
    if (const std::optional<std::string> target =
            platform.ReadLink(JoinPath(userDataFolder, "SingletonLock"))) {
        const std::size_t dash = target->rfind('-');
        long pid = 0;
        const char* first = target->data() + (dash == std::string::npos ? 0 : dash + 1);
        const char* last = target->data() + target->size();
        if (dash != std::string::npos && std::from_chars(first, last, pid).ptr == last) {
            const std::string host = target->substr(0, dash);
            if (sandboxPids) {
                // Process 1 lives on every system: this asks only whether the lock
                // was made on this machine.
                if (platform.ProcessAliveOnThisHost(host, 1))
                    return "the browser may run on it in its sandbox (its lock names process " +
                           std::to_string(pid) + " there)";
            } else if (platform.ProcessAliveOnThisHost(host, pid)) {
                return "the browser runs on it (process " + std::to_string(pid) + ")";
            }
        }
    }
    if (platform.FileLockHeld(JoinPath(userDataFolder, "lockfile")))
        return std::string("the browser holds its lock (lockfile)");
    return std::nullopt;
}

}  // namespace velloran
