#include "common/Target.hpp"

namespace velloran {

// The registry is the system's own; Velloran's settings live in it as well.
Target SelectTarget(const std::optional<std::filesystem::path>& /*overridePrefix*/) {
    Target t;
    t.ownStore = XdgConfigHome() / "velloran";
    return t;
}

bool PrefixTargets() { return false; }

std::string Target::Describe() const { return "Windows registry"; }

}  // namespace velloran
