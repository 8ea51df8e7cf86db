#pragma once
// The registry of a Wine prefix: user.reg (HKEY_CURRENT_USER) and system.reg
// (HKEY_LOCAL_MACHINE), read once and written back atomically when they changed.
// Velloran's own store uses the same files in its configuration folder.
#include <filesystem>
#include <string>
#include <vector>

#include "common/platform/FileIO.hpp"
#include "common/registry/RegistryTree.hpp"
#include "common/registry/WineRegFile.hpp"

namespace velloran {

class WinePrefixStore : public TreeStore {
public:
    struct Options {
        // A real prefix: it must exist and is never written while its wineserver
        // runs. Velloran's own store is created on first save instead.
        bool isPrefix = true;
        // Where server folders are looked for; empty = /tmp and $TMPDIR.
        std::vector<std::filesystem::path> serverSearchRoots;
        // The process table, to tell a save in progress from one that was killed.
        std::filesystem::path procRoot = "/proc";
    };

    // Reads both files; a missing file is an empty branch. Throws VbError for a file
    // that cannot be read or is not a valid registry file.
    explicit WinePrefixStore(std::filesystem::path folder);
    WinePrefixStore(std::filesystem::path folder, Options options);

    // Writes the files that changed, each atomically (temporary file in the same
    // folder, fsync, rename; mode and owner kept). Refuses, writing nothing, while
    // the prefix's wineserver runs. On failure the old file stays whole.
    void Save() override;
    std::string Describe() const override;

    const std::filesystem::path& Folder() const { return folder_; }
    std::filesystem::path UserFile() const { return folder_ / "user.reg"; }
    std::filesystem::path MachineFile() const { return folder_ / "system.reg"; }

    // Throws the refusal when a wineserver holds the prefix.
    void CheckNoWineServer() const;

private:
    void Load(RegHive& hive, const std::filesystem::path& file);
    std::string DefaultArch() const;

    std::filesystem::path folder_;
    Options options_;
};

// Removes temporary files that a save of `file` in a process that no longer runs
// left behind (a kill during the write); returns how many were removed.
int RemoveStaleTemporaries(const std::filesystem::path& file,
                           const std::filesystem::path& procRoot);

}  // namespace velloran
