#pragma once
// A platform with every answer set by the test.
#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "common/VbError.hpp"
#include "common/platform/Platform.hpp"

namespace velloran::test {

class FakePlatform : public Platform {
public:
    std::optional<OsVersionInfo> version;
    std::string windowsDir = "/prefix/drive_c/windows";
    std::string userName = "alice";
    std::string home = "/home/alice";
    std::map<int, std::string> specialFolders{{CSIDL_WINDOWS, "/prefix/drive_c/windows"}};
    std::set<std::string> dirs;
    std::set<std::string> files;
    std::optional<DiskSpace> disk;
    std::vector<LogicalDrive> drives;
    std::map<std::string, double> freeBytes;  // per drive root; `disk` for the others
    std::vector<std::string> opened;
    std::vector<std::string> calls;  // destructive operations, in order
    RemovalCount trash{3, 300};
    RemovalCount recent{2, 20};
    std::string exePath = "/usr/bin/velloran";
    std::map<std::string, std::string> texts;  // contents of the files written or read
    std::set<std::string> undeletable;         // paths whose removal fails with error 70
    bool powerRefused = false;
    // Where deletions of real files go, for tests that delete on disk.
    Platform* realFiles = nullptr;
    std::map<std::string, std::string> windows;  // open windows: class -> title

    std::optional<OsVersionInfo> GetVersionEx() override { return version; }
    std::optional<std::string> HostPath(const std::string& windowsPath) override {
        return realFiles ? realFiles->HostPath(windowsPath) : std::nullopt;
    }
    std::string WindowsDirectory() override { return windowsDir; }
    std::string SystemDirectory() override { return windowsDir + "/system32"; }
    std::string TempPath() override { return "/tmp"; }
    std::string UserName() override { return userName; }
    std::optional<std::string> SpecialFolderPath(int csidl) override {
        auto it = specialFolders.find(csidl & 0xFF);
        if (it == specialFolders.end()) return std::nullopt;
        return it->second;
    }
    std::optional<DiskSpace> DiskFreeSpace(const std::string& root) override {
        if (auto it = freeBytes.find(root); it != freeBytes.end()) {
            DiskSpace d;
            d.freeBytes = it->second;
            return d;
        }
        return disk;
    }
    std::vector<LogicalDrive> LogicalDrives() override { return drives; }
    bool FileExists(const std::string& p) override {
        return files.count(p) != 0 || (realFiles && realFiles->FileExists(p));
    }
    bool DirectoryExists(const std::string& p) override {
        return dirs.count(p) != 0 || (realFiles && realFiles->DirectoryExists(p));
    }
    std::string HomeDirectory() override { return home; }
    void ShellOpen(const std::string& p) override { opened.push_back(p); }
    std::optional<std::string> FindTopLevelWindow(const std::string& windowClass,
                                                  bool close) override {
        auto it = windows.find(windowClass);
        if (it == windows.end()) return std::nullopt;
        if (close) calls.push_back("CloseWindow:" + windowClass);
        return it->second;
    }
    void EmptyClipboard() override { calls.push_back("EmptyClipboard"); }
    Leftovers trashLeftovers, recentLeftovers;  // what the next clear leaves
    Leftovers EmptyRecycleBin(int flags) override {
        calls.push_back("EmptyRecycleBin:" + std::to_string(flags));
        return trashLeftovers;
    }
    void UpdateRecycleBinIcon() override { calls.push_back("UpdateRecycleBinIcon"); }
    Leftovers ClearRecentDocs() override {
        calls.push_back("ClearRecentDocs");
        return recentLeftovers;
    }
    RemovalCount RecycleBinContents() override { return trash; }
    RemovalCount RecentDocsContents() override { return recent; }
    std::string ExecutablePath() override { return exePath; }
    std::optional<std::string> ReadTextFile(const std::string& p) override {
        auto it = texts.find(p);
        if (it == texts.end()) return std::nullopt;
        return it->second;
    }
    std::set<std::string> notPrivate;  // files someone else could have written
    std::optional<std::string> ReadPrivateTextFile(const std::string& p) override {
        if (notPrivate.count(p)) return std::nullopt;
        return ReadTextFile(p);
    }
    void WriteTextFile(const std::string& p, const std::string& text) override {
        calls.push_back("WriteTextFile:" + p);
        texts[p] = text;
        files.insert(p);
    }
    void EditTextFile(
        const std::string& p,
        const std::function<std::string(const std::optional<std::string>&)>& edit) override {
        calls.push_back("EditTextFile:" + p);
        const std::string text = edit(ReadTextFile(p));
        notPrivate.erase(p);
        WriteTextFile(p, text);
    }
    void ReplaceFileContent(const std::string& p, const std::string& text) override {
        calls.push_back("ReplaceFileContent:" + p);
        if (!files.count(p)) throw VbError(vbErrFileNotFound, "File not found: " + p);
        texts[p] = text;
    }
    void CreateDirectories(const std::string& p) override { dirs.insert(p); }
    bool RemoveFile(const std::string& p) override {
        calls.push_back("RemoveFile:" + p);
        if (realFiles) return realFiles->RemoveFile(p);
        texts.erase(p);
        return files.erase(p) != 0;
    }
    void DeletePath(const std::string& p) override {
        calls.push_back("DeletePath:" + p);
        if (realFiles) return realFiles->DeletePath(p);
        Remove(p);
    }
    void MoveToRecycleBin(const std::string& p) override {
        calls.push_back("MoveToRecycleBin:" + p);
        if (realFiles) return realFiles->MoveToRecycleBin(p);
        Remove(p);
    }
    bool OverwriteAndRemove(const OverwriteJob& job, std::vector<std::string>& report) override {
        calls.push_back("Overwrite:" + std::to_string(job.passes.size()) + ":" + job.path);
        if (realFiles) return realFiles->OverwriteAndRemove(job, report);
        Remove(job.path);
        return true;
    }
    // A batch is recorded file by file in `calls` as single wipes are, and pass by
    // pass in `passes`: "write <pass> <path>" as each file's pass is written,
    // "sync <pass>" once that pass is on the disk for the whole batch. With real
    // files the real batch runs and its own steps are what is recorded.
    std::vector<std::string> passes;
    // Called on the batch's thread once a pass is on the disk (a test's stop).
    std::function<void(int pass, std::atomic<bool>* abort)> atSync;
    std::vector<OverwriteResult> OverwriteAndRemoveBatch(const OverwriteBatch& batch) override {
        for (const OverwriteJob& job : batch.jobs)
            calls.push_back("Overwrite:" + std::to_string(job.passes.size()) + ":" + job.path);
        OverwriteBatch recorded = batch;
        recorded.written = [this, &batch](int pass, const std::string& path) {
            passes.push_back("write " + std::to_string(pass) + " " + path);
            if (batch.written) batch.written(pass, path);
        };
        recorded.durable = [this, &batch](int pass) {
            passes.push_back("sync " + std::to_string(pass));
            if (batch.durable) batch.durable(pass);
            if (atSync) atSync(pass, batch.abort);
        };
        if (realFiles) return realFiles->OverwriteAndRemoveBatch(recorded);
        std::size_t most = 0;
        for (const OverwriteJob& job : batch.jobs) most = std::max(most, job.passes.size());
        for (std::size_t pass = 1; pass <= most; ++pass) {
            for (const OverwriteJob& job : batch.jobs)
                if (pass <= job.passes.size()) recorded.written(static_cast<int>(pass), job.path);
            recorded.durable(static_cast<int>(pass));
        }
        std::vector<OverwriteResult> results(batch.jobs.size());
        for (std::size_t i = 0; i < batch.jobs.size(); ++i) {
            results[i].complete = true;
            Remove(batch.jobs[i].path);
        }
        return results;
    }
    void DeleteFileEntry(const std::string& p) override {
        calls.push_back("DeleteFileEntry:" + p);
        if (realFiles) return realFiles->DeleteFileEntry(p);
        Remove(p);
    }
    void ForEachFile(
        const std::string& folder, bool recursive,
        const std::function<bool(const std::string&, const std::string&)>& found) override {
        if (realFiles) return realFiles->ForEachFile(folder, recursive, found);
        const std::vector<std::string> listed(files.begin(), files.end());
        for (const std::string& f : listed) {
            if (!f.starts_with(folder + "/")) continue;
            const auto slash = f.find_last_of('/');
            if (!recursive && slash != folder.size()) continue;
            if (!found(f.substr(0, slash), f.substr(slash + 1))) return;
        }
    }
    // Walks `files` below the root on this thread, one folder after the other.
    std::unique_ptr<TreeWalk> WalkTree(const std::string& root, TreeVisitor& visitor,
                                       unsigned threads) override {
        if (realFiles) return realFiles->WalkTree(root, visitor, threads);
        const std::string base = root.ends_with('/') ? root : root + "/";
        if (!dirs.count(root) && !dirs.count(base)) throw VbError::PathNotFound(root);
        std::map<std::string, std::vector<std::string>> byFolder;
        for (const std::string& f : files)
            if (f.starts_with(base)) {
                const auto slash = f.find_last_of('/');
                byFolder[f.substr(0, slash + 1)].push_back(f.substr(slash + 1));
            }
        byFolder[base];
        visitor.Start(1);
        for (const auto& [folder, names] : byFolder) {
            visitor.BeginFolder(0, folder);
            for (const std::string& name : names) {
                const int selection = visitor.Select(0, folder, name);
                if (selection >= 0)
                    visitor.File(0, folder, name, selection, *FileSize(folder + name));
            }
            visitor.EndFolder(0, folder);
        }
        visitor.Finished();
        struct Done : TreeWalk {
            void Cancel() override {}
            void Join() override {}
        };
        return std::make_unique<Done>();
    }
    std::set<std::string> packageFiles;  // what the package manager installed
    bool IsPackageFile(const std::string& p) override {
        return packageFiles.count(p) || (realFiles && realFiles->IsPackageFile(p));
    }
    std::map<std::string, std::string> caveats;  // path -> why overwriting may not reach it
    std::string OverwriteCaveat(const std::string& p) override {
        if (realFiles) return realFiles->OverwriteCaveat(p);
        auto it = caveats.find(p);
        return it == caveats.end() ? std::string() : it->second;
    }
    std::optional<std::uint64_t> FileSize(const std::string& p) override {
        if (realFiles) return realFiles->FileSize(p);
        if (!files.count(p)) return std::nullopt;
        auto it = texts.find(p);
        return it == texts.end() ? 0 : it->second.size();
    }
    bool PowerOff() override {
        calls.push_back("PowerOff");
        return !powerRefused;
    }
    bool Reboot() override {
        calls.push_back("Reboot");
        return !powerRefused;
    }

private:
    void Remove(const std::string& p) {
        if (undeletable.count(p)) throw VbError::PermissionDenied(p);
        if (!files.erase(p) && !dirs.erase(p)) throw VbError::FileNotFound(p);
        texts.erase(p);
    }
};

}  // namespace velloran::test
