#include "common/registry/OpenStore.hpp"

#include "common/platform/windows/Win32RegistryStore.hpp"

namespace velloran {

// The live registry opens its keys as they are asked for: there is nothing to load.
std::unique_ptr<RegistryStore> OpenRegistryStore(const Target& /*target*/, RegistryLoad /*load*/) {
    return std::make_unique<Win32RegistryStore>();
}

// The settings live in the same registry, under HKEY_CURRENT_USER\Software\Velloran.
std::unique_ptr<RegistryStore> OpenSettingsStore(const Target& /*target*/) { return nullptr; }

}  // namespace velloran
