#include "cleaning/browsers/ChromiumProfiles.hpp"
#include "common/platform/Paths.hpp"

#include <algorithm>
#include <charconv>
#include <filesystem>

namespace velloran {

namespace fs = std::filesystem;

namespace {

constexpr ChromiumRoot kOperaRoots[] = {
    {".config/opera", ".cache/opera"},
    {".config/opera-beta", ".cache/opera-beta"},
    {".config/opera-developer", ".cache/opera-developer"},
    {"snap/opera/current/.config/opera", "snap/opera/current/.cache/opera"},
    // Windows: the profile in %APPDATA%, its cache in %LOCALAPPDATA%.
    {"AppData/Roaming/Opera Software/Opera Stable", "AppData/Local/Opera Software/Opera Stable"},
    {"AppData/Roaming/Opera Software/Opera Next", "AppData/Local/Opera Software/Opera Next"},
    {"AppData/Roaming/Opera Software/Opera Developer",
     "AppData/Local/Opera Software/Opera Developer"},
    {"AppData/Roaming/Opera Software/Opera GX Stable",
     "AppData/Local/Opera Software/Opera GX Stable"},
};

// Files that only a profile folder holds.
constexpr const char* kProfileDatabases[] = {"History", "Cookies", "Web Data", "Preferences"};

bool IsFile(const fs::path& p) {
    std::error_code ec;
    return fs::is_regular_file(p, ec);
}

}  // namespace

const ChromiumBrowser kOperaBrowser{"Opera", kOperaRoots};

std::vector<ChromiumProfile> ChromiumProfiles(Platform& platform, const ChromiumBrowser& browser) {
    std::vector<ChromiumProfile> profiles;
    const fs::path home = PathFromUtf8(platform.HomeDirectory());
    for (const ChromiumRoot& root : browser.roots) {
        const std::string folder = (home / root.userData).make_preferred().string();
        if (!platform.DirectoryExists(folder)) continue;
        for (ChromiumProfile& p :
             ChromiumProfilesOf(folder, (home / root.cache).make_preferred().string()))
            profiles.push_back(std::move(p));
    }
    return profiles;
}

std::string ChromiumUserDataFolder(Platform& platform, const ChromiumBrowser& browser) {
    const fs::path home = PathFromUtf8(platform.HomeDirectory());
    for (const ChromiumRoot& root : browser.roots) {
        const std::string folder = (home / root.userData).make_preferred().string();
        if (platform.DirectoryExists(folder)) return folder;
    }
    return {};
}

std::vector<ChromiumProfile> ChromiumProfilesOf(const std::string& userDataFolder,
                                                const std::string& cacheRoot) {
    std::vector<ChromiumProfile> profiles;
    const fs::path root = PathFromUtf8(userDataFolder);
    if (std::any_of(std::begin(kProfileDatabases), std::end(kProfileDatabases),
                    [&](const char* name) { return IsFile(root / name); }))
        profiles.push_back({userDataFolder, cacheRoot, userDataFolder});
    std::vector<fs::path> subfolders;
    std::error_code ec;
    for (fs::directory_iterator it(root, ec), end; !ec && it != end; it.increment(ec))
        if (it->is_directory(ec) && !it->is_symlink(ec) && IsFile(it->path() / "Preferences"))
            subfolders.push_back(it->path());
    std::sort(subfolders.begin(), subfolders.end());
    for (const fs::path& p : subfolders)
        profiles.push_back(
            {p.string(), (PathFromUtf8(cacheRoot) / p.filename()).string(), userDataFolder});
    return profiles;
}

std::optional<std::string> ChromiumFolderInUse(Platform& platform,
                                               const std::string& userDataFolder) {
    // On Windows the running browser holds "lockfile" open for itself.
    if (platform.FileLockHeld(JoinPath(userDataFolder, "lockfile")))
        return "the browser holds its lock (lockfile)";
    const std::optional<std::string> target =
        platform.ReadLink(JoinPath(userDataFolder, "SingletonLock"));
    if (!target) return std::nullopt;
    const std::size_t dash = target->rfind('-');
    if (dash == std::string::npos) return std::nullopt;
    long pid = 0;
    const char* first = target->data() + dash + 1;
    const char* last = target->data() + target->size();
    if (std::from_chars(first, last, pid).ptr != last) return std::nullopt;
    if (!platform.ProcessAliveOnThisHost(target->substr(0, dash), pid)) return std::nullopt;
    return "the browser runs on it (process " + std::to_string(pid) + ")";
}

}  // namespace velloran
