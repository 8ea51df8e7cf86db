#pragma once
// Every Gecko-family profile on the machine: Firefox (native, XDG, snap, flatpak),
// LibreWolf, Waterfox, SeaMonkey, Pale Moon, legacy Netscape/Mozilla Suite
// profiles, and the same browsers of the Windows environment (the target prefix's,
// or on Windows the user's own).
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

// The [ProfileN] entries of a profiles.ini as folders: relative ones resolved
// against `root`, absolute ones as written.
std::vector<std::string> ProfilesIniFolders(const std::string& ini, const std::string& root);

}  // namespace velloran
