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
        // Read the files when a key is first looked at, not at construction: a run
        // that never touches the registry never waits for a large user.reg. A file
        // that cannot be read is then refused at that first look, before any change.
        bool loadOnFirstUse = false;
    };

    // Reads both files (see loadOnFirstUse); a missing file is an empty branch.
    // Throws VbError for a file that cannot be read or is not a valid registry file.
    explicit WinePrefixStore(std::filesystem::path folder);
    WinePrefixStore(std::filesystem::path folder, Options options);

    // Writes the files that changed, each atomically (temporary file in the same
    // folder, fsync, rename; mode and owner kept). Refuses, writing nothing, while
    // the prefix's wineserver runs, and for a file that is a symbolic link. Another
    // writer's changes since the files were read are kept: the files are read again
    // and this store's changes made anew on them. Velloran processes save one
    // after the other (FolderLock). On failure the old file stays whole.
    void Save() override;
    std::string Describe() const override;

    // The changes are recorded so that they can be made again on a newer file.
    void CreateKey(std::uint32_t root, std::string_view path) override;
    bool DeleteKey(std::uint32_t root, std::string_view path, bool recursive) override;
    void WriteValue(std::uint32_t root, std::string_view path, std::string_view name,
                    const RegValue& value) override;
    bool DeleteValue(std::uint32_t root, std::string_view path, std::string_view name) override;

    const std::filesystem::path& Folder() const { return folder_; }
    std::filesystem::path UserFile() const { return folder_ / "user.reg"; }
    std::filesystem::path MachineFile() const { return folder_ / "system.reg"; }

    // Throws the refusal when a wineserver holds the prefix.
    void CheckNoWineServer() const;

private:
    // One change as the caller asked for it. A clean makes thousands, most on the
    // key of the change before: the paths are kept once for each run of them.
    struct Change {
        enum Kind { CreateKey, DeleteKey, WriteValue, DeleteValue } kind;
        std::uint32_t root;
        std::uint32_t path;  // in changedPaths_
        std::string name;
        RegValue value;
        bool recursive = false;
    };
    void Record(Change::Kind kind, std::uint32_t root, std::string_view path,
                std::string_view name = {}, const RegValue& value = {}, bool recursive = false);
    void BeforeAccess() const override;
    void Load(RegHive& hive, const std::filesystem::path& file, FileStamp& stamp);
    void LoadBoth();
    // Reads both files again and makes this store's changes on them.
    void Redo();
    // Writes the dirty hives; false when a file changed under the save.
    bool WriteChanged(const std::string& arch);
    std::string DefaultArch() const;

    std::filesystem::path folder_;
    Options options_;
    FileStamp userStamp_, machineStamp_;
    bool loaded_ = false;
    std::vector<Change> changes_;
    std::vector<std::string> changedPaths_;
};

// Removes temporary files that a save of `file` in a process that no longer runs
// left behind (a kill during the write); returns how many were removed.
int RemoveStaleTemporaries(const std::filesystem::path& file,
                           const std::filesystem::path& procRoot);

}  // namespace velloran
