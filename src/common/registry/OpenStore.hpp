#pragma once
// The registry store for a target: its Wine prefix, or Velloran's own store in
// $XDG_CONFIG_HOME/velloran (the same files, without a wineserver to fear).
#include <memory>

#include "common/Target.hpp"
#include "common/registry/RegistryStore.hpp"

namespace velloran {

// Throws VbError when a file cannot be read or is not a valid registry file.
std::unique_ptr<RegistryStore> OpenRegistryStore(const Target& target);

}  // namespace velloran
