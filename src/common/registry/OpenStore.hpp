#pragma once
// The registry store for a target: its Wine prefix, or Velloran's own store in
// $XDG_CONFIG_HOME/velloran (the same files, without a wineserver to fear).
#include <memory>

#include "common/Target.hpp"
#include "common/registry/RegistryStore.hpp"

namespace velloran {

enum class RegistryLoad { Now, OnFirstUse };

// Throws VbError when a file cannot be read or is not a valid registry file: at
// once, or with OnFirstUse when a key is first looked at.
std::unique_ptr<RegistryStore> OpenRegistryStore(const Target& target,
                                                 RegistryLoad load = RegistryLoad::Now);
// Velloran's own store for its settings when the target is a prefix; nullptr when
// the target already is that store. Throws VbError like OpenRegistryStore.
std::unique_ptr<RegistryStore> OpenSettingsStore(const Target& target);

}  // namespace velloran
