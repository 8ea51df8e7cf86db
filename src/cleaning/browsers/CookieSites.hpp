#pragma once
// The cookie manager's view of the browsers: every Gecko-family and Chromium-format
// (Opera, Chrome, Chromium, Edge, Brave, Vivaldi) cookie database (and the cookies.txt of old Gecko
// profiles), its cookies counted per site, and the deletion of chosen sites' cookies with the same
// rules as the cookie tasks. Also where the target environment keeps Internet Explorer's cookie
// files.
#include <cstdint>
#include <string>
#include <vector>

#include "cleaning/browsers/ChromiumProfiles.hpp"
#include "cleaning/browsers/GeckoProfiles.hpp"
#include "common/platform/Platform.hpp"

namespace velloran {

class RegistryStore;

struct CookieStore {
    std::string label;       // the browser and its profile, "~" for the home folder
    std::string file;        // the cookie database, or a cookies.txt
    const char* table;       // "moz_cookies" or "cookies"; null for a cookies.txt
    const char* hostColumn;  // null for a cookies.txt
    std::string inUse;       // why a running browser owns it; "" when it is free
};

// One site of a store: its host without a leading dot and how many cookies it has
// (those of "site" and ".site" together).
struct CookieSite {
    std::string host;
    std::int64_t count = 0;
};

// Every cookie database of the Gecko profiles under `gecko`, then of Opera's and
// the Chromium-based browsers' profiles under `chromium`, in that order; a profile
// without one is left out.
std::vector<CookieStore> FindCookieStores(Platform& platform, const GeckoLocations& gecko,
                                          const ChromiumLocations& chromium);
// The same with the Chromium-format folders of the environment.
std::vector<CookieStore> FindCookieStores(Platform& platform, const GeckoLocations& where);

// The sites of a store, by host. A store in use is read as it is on disk, never
// written or locked; any other through SQLite, its write-ahead log included.
// Empty with `error` set when it cannot be read.
std::vector<CookieSite> ReadCookieSites(Platform& platform, const CookieStore& store,
                                        std::string& error);

// Deletes the cookies of `hosts` (each with and without its leading dot) in one
// transaction, or in one rewrite of a cookies.txt; `removed` gets how many went. Returns why
// nothing changed, "" when it worked. A store in use is never opened.
std::string DeleteCookieSites(Platform& platform, const CookieStore& store,
                              const std::vector<std::string>& hosts, std::int64_t& removed);

// The site part of Internet Explorer's "user@site[1].txt"; "" for other names.
std::string IECookieFileSite(const std::string& fileName);

// The environment's cookies folder: the shell's answer for the cookies folder id
// where the platform has one, else the "Cookies" shell folder of the registry.
// "" when there is none.
std::string CookiesFolder(Platform& platform, RegistryStore& registry);

}  // namespace velloran
