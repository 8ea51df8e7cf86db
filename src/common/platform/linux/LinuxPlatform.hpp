#pragma once
#include <functional>
#include <memory>
#include <vector>

#include "common/Target.hpp"
#include "common/platform/Platform.hpp"

namespace velloran {

class LinuxPlatform : public Platform {
public:
    explicit LinuxPlatform(Target target);

    std::optional<OsVersionInfo> GetVersionEx() override { return std::nullopt; }
    std::string WindowsDirectory() override;
    std::string SystemDirectory() override;
    std::string TempPath() override;
    std::string UserName() override;
    std::optional<std::string> SpecialFolderPath(int csidl) override;
    std::optional<std::string> HostPath(const std::string& windowsPath) override;
    std::optional<DiskSpace> DiskFreeSpace(const std::string& root) override;
    std::vector<LogicalDrive> LogicalDrives() override;
    bool FileExists(const std::string& path) override;
    bool DirectoryExists(const std::string& path) override;
    std::string HomeDirectory() override;
    void ShellOpen(const std::string& path) override;
    std::optional<std::string> FindTopLevelWindow(const std::string& windowClass,
                                                  bool close) override;
    void EmptyClipboard() override;
    Leftovers EmptyRecycleBin(int flags) override;
    Leftovers ClearRecentDocs() override;
    RemovalCount RecycleBinContents() override;
    RemovalCount RecentDocsContents() override;
    std::string ExecutablePath() override;
    std::optional<std::string> ReadTextFile(const std::string& path) override;
    std::optional<std::string> ReadPrivateTextFile(const std::string& path) override;
    void WriteTextFile(const std::string& path, const std::string& text) override;
    void EditTextFile(
        const std::string& path,
        const std::function<std::string(const std::optional<std::string>&)>& edit) override;
    void ReplaceFileContent(const std::string& path, const std::string& text) override;
    void CheckReplaceable(const std::string& path) override;
    void CreateDirectories(const std::string& path) override;
    bool RemoveFile(const std::string& path) override;
    void DeletePath(const std::string& path) override;
    void MoveToRecycleBin(const std::string& path) override;
    void DeleteFileEntry(const std::string& path) override;
    bool OverwriteAndRemove(const OverwriteJob& job, std::vector<std::string>& report) override;
    std::vector<OverwriteResult> OverwriteAndRemoveBatch(const OverwriteBatch& batch) override;
    std::optional<std::uint64_t> FileSize(const std::string& path) override;
    std::string OverwriteCaveat(const std::string& path) override;
    std::unique_ptr<TreeWalk> WalkTree(const std::string& root, TreeVisitor& visitor,
                                       unsigned threads) override;
    void ForEachFile(
        const std::string& folder, bool recursive,
        const std::function<bool(const std::string&, const std::string&)>& found) override;
    bool PowerOff() override;
    bool Reboot() override;
    bool FileLockHeld(const std::string& path) override;
    std::optional<std::string> ReadLink(const std::string& path) override;
    bool ProcessAliveOnThisHost(const std::string& host, long pid) override;
    bool IsPackageFile(const std::string& path) override;

    // The bus logind is asked on; empty for the system bus. Tests point it at a
    // private bus so that no test ever reaches the real logind.
    std::string systemBusAddress;

    // Where the process table is read; tests point it at a made-up one.
    std::string procRoot = "/proc";

    // Where the package manager lists each package's files (dpkg's "*.list").
    std::string packageLists = "/var/lib/dpkg/info";

    // The GUI toolkit's clipboard, used instead of X11 while the GUI runs (it also
    // reaches Wayland).
    std::function<void()> clipboardClearer;

    const Target& GetTarget() const { return target_; }

    // The drive list from a mountinfo text; `removable` answers for a block
    // device ("8:17", major and minor) whether its disk is removable.
    static std::vector<LogicalDrive> DrivesFromMountInfo(
        const std::string& mountinfo, const std::function<bool(const std::string&)>& removable);

private:
    std::string AppDataDirectory();
    std::string LocalAppDataDirectory();
    // recently-used.xbel files of the desktop, and the prefix's Recent folder.
    std::vector<std::filesystem::path> RecentLists();
    std::string RecentFolder();
    Target target_;
    struct PackageIndex;
    std::shared_ptr<PackageIndex> packages_;
};

}  // namespace velloran
