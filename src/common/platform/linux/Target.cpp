#include "common/Target.hpp"

namespace velloran {

namespace fs = std::filesystem;

namespace {
fs::path Normalize(fs::path p) {
    std::string s = p.lexically_normal().string();
    while (s.size() > 1 && s.back() == '/') s.pop_back();
    return s;
}
}  // namespace

Target SelectTarget(const std::optional<fs::path>& overridePrefix) {
    Target t;
    t.ownStore = XdgConfigHome() / "velloran";
    if (overridePrefix && !overridePrefix->empty()) {
        t.prefix = Normalize(fs::absolute(*overridePrefix));
        return t;
    }
    if (std::string env = EnvironmentValue("WINEPREFIX"); !env.empty()) {
        t.prefix = Normalize(fs::absolute(env));
        return t;
    }
    std::error_code ec;
    fs::path dotWine = HomeDirectory() / ".wine";
    if (fs::exists(dotWine / "user.reg", ec)) t.prefix = dotWine;
    return t;
}

bool PrefixTargets() { return true; }

std::string MachineRegistryNote() { return {}; }

std::string Target::Describe() const {
    return HasPrefix() ? "Wine prefix " + prefix.string() : "Velloran store " + ownStore.string();
}

}  // namespace velloran
