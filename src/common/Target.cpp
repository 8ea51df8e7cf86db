#include "common/Target.hpp"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace velloran {

namespace fs = std::filesystem;

namespace {
std::string Env(const char* name) {
    const char* v = std::getenv(name);
    return v ? std::string(v) : std::string();
}

// XDG requires absolute paths; a relative value is ignored.
fs::path XdgDir(const char* var, const char* fallback) {
    fs::path p = Env(var);
    if (p.empty() || p.is_relative()) return HomeDirectory() / fallback;
    return p;
}

fs::path Normalize(fs::path p) {
    std::string s = p.lexically_normal().string();
    while (s.size() > 1 && s.back() == '/') s.pop_back();
    return s;
}
}  // namespace

fs::path HomeDirectory() {
    std::string home = Env("HOME");
    if (!home.empty()) return home;
    if (const passwd* pw = getpwuid(getuid()); pw && pw->pw_dir) return pw->pw_dir;
    return "/";
}

fs::path XdgConfigHome() { return XdgDir("XDG_CONFIG_HOME", ".config"); }
fs::path XdgStateHome() { return XdgDir("XDG_STATE_HOME", ".local/state"); }
fs::path XdgDataHome() { return XdgDir("XDG_DATA_HOME", ".local/share"); }
fs::path XdgCacheHome() { return XdgDir("XDG_CACHE_HOME", ".cache"); }

Target SelectTarget(const std::optional<fs::path>& overridePrefix) {
    Target t;
    t.ownStore = XdgConfigHome() / "velloran";
    if (overridePrefix && !overridePrefix->empty()) {
        t.prefix = Normalize(fs::absolute(*overridePrefix));
        return t;
    }
    if (std::string env = Env("WINEPREFIX"); !env.empty()) {
        t.prefix = Normalize(fs::absolute(env));
        return t;
    }
    std::error_code ec;
    fs::path dotWine = HomeDirectory() / ".wine";
    if (fs::exists(dotWine / "user.reg", ec)) t.prefix = dotWine;
    return t;
}

std::string Target::Describe() const {
    return HasPrefix() ? "Wine prefix " + prefix.string() : "Velloran store " + ownStore.string();
}

}  // namespace velloran
