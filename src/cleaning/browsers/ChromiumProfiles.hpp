#pragma once
// Where the browsers that share Chromium's profile format keep their profiles, and
// how to tell that one of them is running. A browser is a row of data (its folders,
// window classes and process names), so adding one adds data, not code.
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "common/platform/Platform.hpp"

namespace velloran {

// The folder a row's path hangs from. The platform's user folders resolve each, so
// one table serves every system: a base that a system lacks resolves to nothing
// and its rows are passed over.
enum class ChromiumBase {
    Home,          // the home folder
    Config,        // $XDG_CONFIG_HOME
    Cache,         // $XDG_CACHE_HOME
    LocalAppData,  // %LOCALAPPDATA%; on Linux the target Windows environment's
    AppData,       // %APPDATA% (the roaming one), likewise
};

// A user data folder and the folder of its profiles' disk caches. Without a cache
// path the caches are inside each profile, as on Windows.
struct ChromiumRoot {
    ChromiumBase base;
    const char* userData;
    ChromiumBase cacheBase = ChromiumBase::Home;
    const char* cache = nullptr;
    // The browser runs in a sandbox with process ids of its own (Flatpak), so the
    // process its lock names cannot be looked up from outside.
    bool sandboxPids = false;
};

struct ChromiumBrowser {
    const char* name;  // as the run log names it: "Google Chrome"
    std::span<const ChromiumRoot> roots;
    // X11 WM_CLASS class names, lower case ("google-chrome"); the instance name
    // carries the user data folder when it is not the default one.
    std::span<const std::string_view> windowClasses;
    // Process names as the system lists them ("chrome", "chrome.exe").
    std::span<const std::string_view> processes;
};

extern const ChromiumBrowser kOperaBrowser;

// The "Chromium-based browsers" group: Google Chrome, Chromium, Microsoft Edge,
// Brave and Vivaldi with their channels, native, Flatpak, snap and Windows folders.
std::span<const ChromiumBrowser> ChromiumFamilyBrowsers();
// The window class every one of them registers on Windows; the process name tells
// them apart (Opera registers it too).
inline constexpr std::string_view kChromiumWindowClass = "Chrome_WidgetWin_1";
// The X11 window classes of all of the group's browsers, each once, for the check
// that asks the user to close them.
std::vector<std::string_view> ChromiumFamilyWindowClasses();
// Their process names, each once, for systems where no window can be asked.
std::vector<std::string_view> ChromiumFamilyProcesses();

// The folders the rows hang from; an empty one is not searched.
struct ChromiumLocations {
    std::string home;
    std::string configHome;
    std::string cacheHome;
    std::string localAppData;
    std::string appData;

    static ChromiumLocations FromEnvironment(Platform& platform);
    std::string Folder(ChromiumBase base) const;
};

struct ChromiumProfile {
    std::string folder;          // where its databases are
    std::string cacheFolder;     // where its disk cache is; the profile itself on Windows
    std::string userDataFolder;  // holds `Local State` and the lock
    bool sandboxPids = false;    // as its row says
};

// The profiles of every user data folder of `browser` that exists, in row order,
// each folder once even where two rows reach it.
std::vector<ChromiumProfile> ChromiumProfiles(Platform& platform, const ChromiumLocations& where,
                                              const ChromiumBrowser& browser);
// The same with the folders of the environment.
std::vector<ChromiumProfile> ChromiumProfiles(Platform& platform, const ChromiumBrowser& browser);
// The first user data folder of `browser` that exists, "" when none does.
std::string ChromiumUserDataFolder(Platform& platform, const ChromiumBrowser& browser);

// Every profile of one user data folder: `Default`, `Profile 1`, ... (each
// subfolder with its own `Preferences`, and each that `Local State` lists), and
// the folder itself where the browser keeps its databases there, as some Opera
// versions do. Without `cacheRoot` the caches are inside the profiles.
std::vector<ChromiumProfile> ChromiumProfilesOf(const std::string& userDataFolder,
                                                const std::string& cacheRoot);

// Why a running browser owns this user data folder, nullopt when none does.
// Linux: the link `SingletonLock` names `<host>-<pid>`; a crash leaves it behind,
// so it counts when the host is this one and the process is alive (in a sandbox
// with its own process ids: whenever the host is this one). Windows: the browser
// holds `lockfile` open while it runs.
std::optional<std::string> ChromiumFolderInUse(Platform& platform,
                                               const std::string& userDataFolder,
                                               bool sandboxPids = false);
inline std::optional<std::string> ChromiumProfileInUse(Platform& platform,
                                                       const ChromiumProfile& profile) {
    return ChromiumFolderInUse(platform, profile.userDataFolder, profile.sandboxPids);
}

}  // namespace velloran
