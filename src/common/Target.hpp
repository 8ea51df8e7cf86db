#pragma once
// Which Windows environment Velloran works on. On Linux: a Wine prefix, or,
// without one, Velloran's own registry store so that its settings persist anyway.
// On Windows: the system's own registry, always.
#include <filesystem>
#include <optional>
#include <string>

#include "common/platform/UserFolders.hpp"

namespace velloran {

struct Target {
    std::filesystem::path prefix;    // a Wine prefix; empty when there is none
    std::filesystem::path ownStore;  // $XDG_CONFIG_HOME/velloran

    bool HasPrefix() const { return !prefix.empty(); }
    // The folder that holds user.reg and system.reg.
    std::filesystem::path RegistryFolder() const { return HasPrefix() ? prefix : ownStore; }
    // One line for the status bar and the console.
    std::string Describe() const;
};

// $WINEPREFIX when set; otherwise ~/.wine when it holds a user.reg; otherwise the
// own store. `overridePrefix` (the console's --prefix) wins over all of them.
// On Windows there is no prefix to choose.
Target SelectTarget(const std::optional<std::filesystem::path>& overridePrefix = std::nullopt);

// Whether a Wine prefix can be chosen as the target (the console's --prefix).
bool PrefixTargets();

// What a user should know before a task writes to HKEY_LOCAL_MACHINE; empty where
// nothing stands in the way (a prefix's files are the user's own).
std::string MachineRegistryNote();

}  // namespace velloran
