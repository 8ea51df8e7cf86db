#pragma once
// Every Gecko-family profile on the machine: Firefox (native, XDG, snap, flatpak),
// LibreWolf, Waterfox, SeaMonkey, Pale Moon, legacy Netscape/Mozilla Suite
// profiles, and the same browsers of the Windows environment (the target prefix's,
// or on Windows the user's own).
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "common/platform/Platform.hpp"

namespace velloran {

// The folders the profile roots hang from; an empty one is not searched.
struct GeckoLocations {
    std::string home;
    std::string configHome;    // $XDG_CONFIG_HOME
    std::string cacheHome;     // $XDG_CACHE_HOME
    std::string appData;       // the Windows environment's %APPDATA% as a host path
    std::string localAppData;  // and its %LOCALAPPDATA%, where Windows browsers cache
    // The host folder of the Windows environment's drive C: (a Wine prefix's
    // drive_c; on Windows the system drive), which holds `appData`. A profile
    // listed there never leads out of it.
    std::string environmentRoot = {};
    // A Windows path of that environment as a host path, through its drive mapping;
    // unset where there is none.
    std::function<std::optional<std::string>(const std::string&)> hostPath = {};

    static GeckoLocations FromEnvironment(Platform& platform);
};

struct GeckoProfile {
    std::string path;
    // Folders holding only disk cache; they may lie outside the profile.
    std::vector<std::string> cacheFolders;
};

// Profiles of every root, each once, in the order of the roots.
std::vector<GeckoProfile> FindGeckoProfiles(const GeckoLocations& where);

// True when one of the roots exists (asked through the platform).
bool AnyGeckoRoot(Platform& platform, const GeckoLocations& where);

// One [ProfileN] entry of a profiles.ini: its Path as written, and whether it is
// relative to the folder of the profiles.ini.
struct ProfilesIniEntry {
    std::string path;
    bool relative = true;
    bool operator==(const ProfilesIniEntry&) const = default;
};
std::vector<ProfilesIniEntry> ProfilesIniEntries(const std::string& ini);

}  // namespace velloran
