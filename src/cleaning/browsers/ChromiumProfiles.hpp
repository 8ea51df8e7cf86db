#pragma once
// Where the browsers that share Chromium's profile format keep their profiles. A
// browser is a row of folders, so adding one adds data, not code.
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "common/platform/Platform.hpp"

namespace velloran {

// A user data folder and the folder of its disk caches, both relative to home.
struct ChromiumRoot {
    const char* userData;
    const char* cache;
};

struct ChromiumBrowser {
    const char* name;
    std::span<const ChromiumRoot> roots;
};

extern const ChromiumBrowser kOperaBrowser;

struct ChromiumProfile {
    std::string folder;          // where its databases are
    std::string cacheFolder;     // where its disk cache is, beside the user data
    std::string userDataFolder;  // holds `Local State` and the lock
};

// The profiles of every user data folder of `browser` that exists, in row order.
std::vector<ChromiumProfile> ChromiumProfiles(Platform& platform, const ChromiumBrowser& browser);
// The first user data folder of `browser` that exists, "" when none does.
std::string ChromiumUserDataFolder(Platform& platform, const ChromiumBrowser& browser);

// Every profile of one user data folder: each subfolder with its own `Preferences`
// (`Default`, `Profile 1`, ...), and the folder itself where the browser keeps its
// databases there, as some Opera versions do.
std::vector<ChromiumProfile> ChromiumProfilesOf(const std::string& userDataFolder,
                                                const std::string& cacheRoot);

// Why a running browser owns this user data folder, nullopt when none does. On
// Windows the browser holds `lockfile` open. Elsewhere the lock link `SingletonLock`
// names `<host>-<pid>`; it is left behind by a crash, so it only counts when the
// host is this one and the process is alive.
std::optional<std::string> ChromiumFolderInUse(Platform& platform,
                                               const std::string& userDataFolder);

}  // namespace velloran
