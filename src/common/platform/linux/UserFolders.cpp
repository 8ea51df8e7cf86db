#include "common/platform/UserFolders.hpp"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace velloran {

namespace fs = std::filesystem;

std::string EnvironmentValue(const char* name) {
    const char* v = std::getenv(name);
    return v ? std::string(v) : std::string();
}

namespace {

// XDG requires absolute paths; a relative value is ignored.
fs::path XdgDir(const char* var, const char* fallback) {
    fs::path p = EnvironmentValue(var);
    if (p.empty() || p.is_relative()) return HomeDirectory() / fallback;
    return p;
}

}  // namespace

fs::path HomeDirectory() {
    std::string home = EnvironmentValue("HOME");
    if (!home.empty()) return home;
    if (const passwd* pw = getpwuid(getuid()); pw && pw->pw_dir) return pw->pw_dir;
    return "/";
}

fs::path XdgConfigHome() { return XdgDir("XDG_CONFIG_HOME", ".config"); }
fs::path XdgStateHome() { return XdgDir("XDG_STATE_HOME", ".local/state"); }
fs::path XdgDataHome() { return XdgDir("XDG_DATA_HOME", ".local/share"); }
fs::path XdgCacheHome() { return XdgDir("XDG_CACHE_HOME", ".cache"); }

fs::path ShippedDataFolder() { return {}; }

}  // namespace velloran
