#include "common/registry/OpenStore.hpp"

#include "common/platform/windows/Win32RegistryStore.hpp"

namespace velloran {

std::unique_ptr<RegistryStore> OpenRegistryStore(const Target& /*target*/) {
    return std::make_unique<Win32RegistryStore>();
}

// The settings live in the same registry, under HKEY_CURRENT_USER\Software\Velloran.
std::unique_ptr<RegistryStore> OpenSettingsStore(const Target& /*target*/) { return nullptr; }

}  // namespace velloran
