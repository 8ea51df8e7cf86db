#include "common/Target.hpp"

namespace velloran {

// The registry is the system's own; Velloran's settings live in it as well.
Target SelectTarget(const std::optional<std::filesystem::path>& /*overridePrefix*/) {
    Target t;
    t.ownStore = XdgConfigHome() / "velloran";
    return t;
}

bool PrefixTargets() { return false; }

// A standard user may read HKEY_LOCAL_MACHINE but not change it.
std::string MachineRegistryNote() { return "needs administrator rights"; }

std::string Target::Describe() const { return "Windows registry"; }

}  // namespace velloran
