#pragma once
// A preview runs the real code against layers that record what would be removed
// instead of removing it: the registry changes stay in memory and are never saved,
// and the platform's destructive operations are only counted.
#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "common/platform/Platform.hpp"
#include "common/registry/OverlayStore.hpp"
#include "common/registry/RegistryStore.hpp"

namespace velloran {

struct PreviewSummary {
    std::int64_t registryValues = 0;
    std::int64_t registryKeys = 0;
    std::int64_t files = 0;
    std::int64_t bytes = 0;
    std::vector<std::string> operations;  // desktop operations a real run would do

    std::string Text() const;
};

// Works on an overlay of the store: the changes live in memory and never reach the
// store itself, even one that changes the registry at once (the live Windows one).
class PreviewStore : public RegistryStore {
public:
    PreviewStore(RegistryStore& inner, PreviewSummary& summary)
        : inner_(inner), summary_(summary) {}

    bool KeyExists(std::uint32_t root, std::string_view path) const override {
        return inner_.KeyExists(root, path);
    }
    void CreateKey(std::uint32_t root, std::string_view path) override {
        inner_.CreateKey(root, path);
    }
    bool DeleteKey(std::uint32_t root, std::string_view path, bool recursive) override;
    std::vector<std::string> EnumerateKeys(std::uint32_t root,
                                           std::string_view path) const override {
        return inner_.EnumerateKeys(root, path);
    }
    std::vector<RegValueEntry> EnumerateValues(std::uint32_t root,
                                               std::string_view path) const override {
        return inner_.EnumerateValues(root, path);
    }
    std::optional<RegValue> ReadValue(std::uint32_t root, std::string_view path,
                                      std::string_view name) const override {
        return inner_.ReadValue(root, path, name);
    }
    void WriteValue(std::uint32_t root, std::string_view path, std::string_view name,
                    const RegValue& value) override {
        inner_.WriteValue(root, path, name, value);
    }
    bool DeleteValue(std::uint32_t root, std::string_view path, std::string_view name) override;
    bool IsDirty() const override { return inner_.IsDirty(); }
    void Save() override {}
    std::string Describe() const override { return inner_.Describe() + " (preview)"; }

private:
    // Values and keys below `path`, the key itself included.
    void CountTree(std::uint32_t root, const std::string& path);
    OverlayStore inner_;
    PreviewSummary& summary_;
};

// Forwards queries; destructive operations are counted, not done.
class PreviewPlatform : public Platform {
public:
    PreviewPlatform(Platform& inner, PreviewSummary& summary) : inner_(inner), summary_(summary) {}

    std::optional<OsVersionInfo> GetVersionEx() override { return inner_.GetVersionEx(); }
    std::string WindowsDirectory() override { return inner_.WindowsDirectory(); }
    std::string SystemDirectory() override { return inner_.SystemDirectory(); }
    std::string TempPath() override { return inner_.TempPath(); }
    std::string UserName() override { return inner_.UserName(); }
    std::optional<std::string> SpecialFolderPath(int csidl) override {
        return inner_.SpecialFolderPath(csidl);
    }
    std::optional<std::string> HostPath(const std::string& p) override {
        return inner_.HostPath(p);
    }
    std::optional<DiskSpace> DiskFreeSpace(const std::string& root) override {
        return inner_.DiskFreeSpace(root);
    }
    std::vector<LogicalDrive> LogicalDrives() override { return inner_.LogicalDrives(); }
    // What a real run would have removed is gone for the rest of the preview too.
    bool FileExists(const std::string& p) override { return !Removed(p) && inner_.FileExists(p); }
    bool DirectoryExists(const std::string& p) override {
        return !Removed(p) && inner_.DirectoryExists(p);
    }
    std::string HomeDirectory() override { return inner_.HomeDirectory(); }
    void ShellOpen(const std::string& p) override { inner_.ShellOpen(p); }
    std::optional<std::string> FindTopLevelWindow(const std::string& windowClass,
                                                  bool close) override;
    RemovalCount RecycleBinContents() override { return inner_.RecycleBinContents(); }
    RemovalCount RecentDocsContents() override { return inner_.RecentDocsContents(); }

    std::string ExecutablePath() override { return inner_.ExecutablePath(); }
    std::optional<std::string> ReadTextFile(const std::string& p) override {
        return inner_.ReadTextFile(p);
    }
    std::optional<std::string> ReadPrivateTextFile(const std::string& p) override {
        return inner_.ReadPrivateTextFile(p);
    }

    void EmptyClipboard() override;
    Leftovers EmptyRecycleBin(int flags) override;
    Leftovers ClearRecentDocs() override;
    void WriteTextFile(const std::string& path, const std::string& text) override;
    void EditTextFile(
        const std::string& path,
        const std::function<std::string(const std::optional<std::string>&)>& edit) override;
    void ReplaceFileContent(const std::string& path, const std::string& text) override;
    void CheckReplaceable(const std::string& path) override { inner_.CheckReplaceable(path); }
    void CreateDirectories(const std::string& path) override;
    bool RemoveFile(const std::string& path) override;
    void DeletePath(const std::string& path) override;
    void MoveToRecycleBin(const std::string& path) override;
    void DeleteFileEntry(const std::string& path) override;
    bool OverwriteAndRemove(const OverwriteJob& job, std::vector<std::string>& report) override;
    std::vector<OverwriteResult> OverwriteAndRemoveBatch(const OverwriteBatch& batch) override;
    std::optional<std::uint64_t> FileSize(const std::string& path) override {
        if (Removed(path)) return std::nullopt;
        return inner_.FileSize(path);
    }
    std::unique_ptr<TreeWalk> WalkTree(const std::string& root, TreeVisitor& visitor,
                                       unsigned threads) override {
        return inner_.WalkTree(root, visitor, threads);
    }
    std::string OverwriteCaveat(const std::string& path) override {
        return inner_.OverwriteCaveat(path);
    }
    void ForEachFile(
        const std::string& folder, bool recursive,
        const std::function<bool(const std::string&, const std::string&)>& found) override {
        inner_.ForEachFile(folder, recursive, found);
    }
    bool PowerOff() override;
    bool Reboot() override;
    bool FileLockHeld(const std::string& p) override { return inner_.FileLockHeld(p); }
    bool IsPackageFile(const std::string& p) override { return inner_.IsPackageFile(p); }
    std::optional<std::string> ReadLink(const std::string& p) override {
        return inner_.ReadLink(p);
    }
    bool ProcessAliveOnThisHost(const std::string& host, long pid) override {
        return inner_.ProcessAliveOnThisHost(host, pid);
    }
    // A scratch copy, so the real statements run and count without touching the file.
    std::string DatabaseToEdit(const std::string& path) override;

    ~PreviewPlatform() override;

private:
    bool Removed(const std::string& path) const;
    void MarkRemoved(const std::string& path);
    mutable std::mutex removedLock_;  // removals may be recorded on a worker thread
    std::set<std::string> removed_;
    void Count(RemovalCount c);
    Platform& inner_;
    PreviewSummary& summary_;
    std::string scratch_;  // folder of the database copies, removed at the end
    int copies_ = 0;
};

}  // namespace velloran
