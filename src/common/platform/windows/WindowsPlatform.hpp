#pragma once
// The platform on Windows: each operation is the system call the program's
// description names, in its W (UTF-16) form, with UTF-8 text on the core's side.
#include <functional>
#include <string>
#include <vector>

#include "common/platform/Platform.hpp"
#include "common/platform/windows/Streams.hpp"

namespace velloran {

class WindowsPlatform : public Platform {
public:
    std::optional<OsVersionInfo> GetVersionEx() override;
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
    void UpdateRecycleBinIcon() override;
    Leftovers ClearRecentDocs() override;
    RemovalCount RecycleBinContents() override;
    RemovalCount RecentDocsContents() override;
    bool FileLockHeld(const std::string& path) override;
    std::optional<std::string> ReadLink(const std::string& path) override;
    bool ProcessAliveOnThisHost(const std::string& host, long pid) override;
    std::string ExecutablePath() override;
    std::optional<std::string> ReadTextFile(const std::string& path) override;
    std::optional<std::string> ReadPrivateTextFile(const std::string& path) override;
    void EditTextFile(
        const std::string& path,
        const std::function<std::string(const std::optional<std::string>&)>& edit) override;
    void WriteTextFile(const std::string& path, const std::string& text) override;
    void ReplaceFileContent(const std::string& path, const std::string& text) override;
    void CheckReplaceable(const std::string& path) override;
    void CreateDirectories(const std::string& path) override;
    bool RemoveFile(const std::string& path) override;
    void DeletePath(const std::string& path) override;
    void DeleteFileEntry(const std::string& path) override;
    void MoveToRecycleBin(const std::string& path) override;
    bool OverwriteAndRemove(const OverwriteJob& job, std::vector<std::string>& report) override;
    std::vector<OverwriteResult> OverwriteAndRemoveBatch(const OverwriteBatch& batch) override;
    void ForEachFile(
        const std::string& folder, bool recursive,
        const std::function<bool(const std::string&, const std::string&)>& found) override;
    std::unique_ptr<TreeWalk> WalkTree(const std::string& root, TreeVisitor& visitor,
                                       unsigned threads) override;
    std::string OverwriteCaveat(const std::string& path) override;
    std::optional<std::uint64_t> FileSize(const std::string& path) override;
    void EnableShutdownPrivilege() override;
    bool PowerOff() override;
    bool Reboot() override;

    // How the named data streams of a file are found and opened; tests give their
    // own, as Wine's file systems have no streams.
    StreamAccess streams = SystemStreams();

private:
    std::string RecentFolder();
};

}  // namespace velloran
