#include "common/registry/OpenStore.hpp"

#include "common/registry/WinePrefixStore.hpp"

namespace velloran {

std::unique_ptr<RegistryStore> OpenRegistryStore(const Target& target) {
    WinePrefixStore::Options options;
    options.isPrefix = target.HasPrefix();
    return std::make_unique<WinePrefixStore>(target.RegistryFolder(), options);
}

}  // namespace velloran
