// LinuxPlatform: the program's own files, deletion and power.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "common/VbError.hpp"
#include "common/platform/FileIO.hpp"
#include "common/platform/linux/DirWalker.hpp"
#include "common/platform/linux/FileOps.hpp"
#include "common/platform/linux/LinuxPlatform.hpp"
#include "common/platform/linux/Logind.hpp"
#include "common/platform/linux/Overwrite.hpp"
#include "common/platform/linux/Trash.hpp"

namespace velloran {

std::string LinuxPlatform::ExecutablePath() { return linuxfs::SelfExecutable(); }

std::optional<std::string> LinuxPlatform::ReadTextFile(const std::string& path) {
    return linuxfs::ReadFileText(path);
}

std::optional<std::string> LinuxPlatform::ReadPrivateTextFile(const std::string& path) {
    return linuxfs::ReadPrivateFileText(path);
}

void LinuxPlatform::WriteTextFile(const std::string& path, const std::string& text) {
    linuxfs::WriteFileText(path, text);
}

void LinuxPlatform::EditTextFile(
    const std::string& path,
    const std::function<std::string(const std::optional<std::string>&)>& edit) {
    linuxfs::EditFileText(path, edit);
}

void LinuxPlatform::ReplaceFileContent(const std::string& path, const std::string& text) {
    linuxfs::ReplaceFileContent(path, text);
}

void LinuxPlatform::CheckReplaceable(const std::string& path) { linuxfs::ReplaceableFile(path); }

void LinuxPlatform::CreateDirectories(const std::string& path) {
    try {
        CreateOwnFolders(path);
    } catch (const VbError& e) {
        throw VbError::PathNotFound(e.Description());
    }
}

bool LinuxPlatform::RemoveFile(const std::string& path) {
    // Through a folder opened without links, like every deletion of a path found earlier.
    try {
        linuxfs::RemoveFileEntry(path);
        return true;
    } catch (const VbError&) {
        return false;
    }
}

void LinuxPlatform::DeletePath(const std::string& path) { linuxfs::RemovePath(path); }

bool LinuxPlatform::OverwriteAndRemove(const OverwriteJob& job, std::vector<std::string>& report) {
    return linuxfs::OverwriteAndRemove(job, report);
}

std::vector<OverwriteResult> LinuxPlatform::OverwriteAndRemoveBatch(const OverwriteBatch& batch) {
    return linuxfs::OverwriteAndRemoveBatch(batch);
}

std::string LinuxPlatform::OverwriteCaveat(const std::string& path) {
    return linuxfs::OverwriteCaveat(path);
}

namespace {

class DirWalk : public TreeWalk {
public:
    explicit DirWalk(unsigned threads) : walker(threads) {}
    void Cancel() override { walker.Cancel(); }
    void Join() override { walker.Join(); }
    linuxfs::DirWalker walker;
};

}  // namespace

std::unique_ptr<TreeWalk> LinuxPlatform::WalkTree(const std::string& root, TreeVisitor& visitor,
                                                  unsigned threads) {
    auto walk = std::make_unique<DirWalk>(threads);
    walk->walker.Start(root, visitor);
    return walk;
}

std::optional<std::uint64_t> LinuxPlatform::FileSize(const std::string& path) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return std::nullopt;
    return static_cast<std::uint64_t>(st.st_size);
}

void LinuxPlatform::ForEachFile(
    const std::string& folder, bool recursive,
    const std::function<bool(const std::string&, const std::string&)>& found) {
    linuxfs::ForEachFile(folder, recursive, found);
}

void LinuxPlatform::DeleteFileEntry(const std::string& path) { linuxfs::RemoveFileEntry(path); }

void LinuxPlatform::MoveToRecycleBin(const std::string& path) {
    linuxfs::Trash().MoveToTrash(path);
}

bool LinuxPlatform::PowerOff() {
    return linuxfs::RequestPowerAction(linuxfs::PowerAction::PowerOff, systemBusAddress);
}

bool LinuxPlatform::Reboot() {
    return linuxfs::RequestPowerAction(linuxfs::PowerAction::Reboot, systemBusAddress);
}

}  // namespace velloran
