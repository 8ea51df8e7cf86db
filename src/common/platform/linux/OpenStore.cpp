#include "common/registry/OpenStore.hpp"

#include "common/registry/WinePrefixStore.hpp"

namespace velloran {

std::unique_ptr<RegistryStore> OpenRegistryStore(const Target& target, RegistryLoad load) {
    WinePrefixStore::Options options;
    options.isPrefix = target.HasPrefix();
    options.loadOnFirstUse = load == RegistryLoad::OnFirstUse;
    return std::make_unique<WinePrefixStore>(target.RegistryFolder(), options);
}

std::unique_ptr<RegistryStore> OpenSettingsStore(const Target& target) {
    if (!target.HasPrefix()) return nullptr;
    WinePrefixStore::Options options;
    options.isPrefix = false;
    return std::make_unique<WinePrefixStore>(target.ownStore, options);
}

}  // namespace velloran
