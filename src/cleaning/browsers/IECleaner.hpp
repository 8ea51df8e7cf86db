#pragma once
// Internet Explorer traces of the target Windows environment: the registry lists
// under "Internet Explorer" and the protected-storage form data, and the wininet
// folders (cache, cookies, history) found through the environment's shell folders.
// Every removal goes through the registry store and the platform, so a preview
// records it instead.
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "common/TaskWorker.hpp"
#include "common/Vb.hpp"

namespace velloran {

class Form;
class Platform;
class RegistryStore;
class KelRegistry;
struct IEValueSource;
struct IERegistryTask;

// A folder of the environment's "Shell Folders" ("Cookies", "Cache", "History") as
// a host path, read from the registry and reached through the drive links.
std::optional<std::string> ShellFolderPath(RegistryStore& registry, Platform& platform,
                                           const std::string& name);

class IECleaner : public TaskWorker {
public:
    IECleaner(RegistryStore& registry, Platform& platform, std::string versionText);

    // Each operation reports through the events and answers whether it ran to its
    // end. `Found` receives how many values or files were removed.
    bool CleanTypedUrls(Int16& Found);
    bool CleanAutoCompletePasswords(Int16& Found);
    bool CleanAutoCompleteForms();
    bool RestoreWindowPosition();
    bool CleanHiddenLogs(Int16& Found);
    bool CleanHistory();
    // Empties the cache folder by folder; `progressWindow` is the window whose bar
    // the FileProgress handler moves.
    bool CleanCache(Form& progressWindow);

    // Events: OnProgress with the category "Internet Explorer", OnError with the
    // source "IECleaner", OnFileProgress while the cache is emptied, OnStartupDelete
    // for each file in use, OnDoEvents between folders.

    struct FileItem {
        std::string path;
        std::int64_t bytes = 0;
    };
    // What a file operation removed and left.
    struct FileTally {
        std::int64_t files = 0;
        std::int64_t bytes = 0;
        std::vector<std::string> deferred;    // files and folders handed to the start-up deletion
        std::vector<std::string> redirected;  // files whose folder became a link meanwhile
    };

    // A shell folder ("Cache", "Cookies", "History") of the environment as a host
    // path: "Shell Folders" first, then "User Shell Folders" expanded.
    std::optional<std::string> ShellFolder(const std::string& name) const;

private:
    bool RunRegistryTask(const char* method, Int16* found);
    // Deletes the values `source` selects, stopping at a cancel; sets `keyFound`
    // when one of its keys exists. Answers how many went.
    std::int64_t ClearValues(KelRegistry& reg, const IEValueSource& source, bool& keyFound);

    // The regular files directly in `folder`, sorted, found through the platform's
    // walk: each is then deleted only through the folder it was found in.
    std::vector<FileItem> FilesIn(const std::string& folder) const;
    // Removes one file; a file that stays is handed to the start-up deletion.
    void RemoveOne(const FileItem& item, FileTally& tally);
    // Removes a folder whole; what stays is handed to the start-up deletion.
    void RemoveFolder(const std::string& folder, FileTally& tally);
    // `items` without the files this object already removed.
    std::vector<FileItem> NotYetRemoved(std::vector<FileItem> items) const;
    void ReportFiles(const std::string& label, const FileTally& tally, const std::string& extra);
    void ReportDeferred(const std::string& label, const FileTally& tally);
    // Runs `body` with the failure path: a "Failed:" line, then Error.
    bool Guard(const char* method, const std::string& label, const std::function<void()>& body);
    void Raise(const std::string& text);
    bool Cancelled() const { return IsTrue(Cancel); }

    RegistryStore& registry_;
    Platform& platform_;
    std::string versionText_;
    // Files removed so far: a preview leaves them on disk, and a later box must
    // not count them again.
    std::set<std::string> removed_;
};

// Regular files and links directly in `folder` (all levels below it when
// `recursive`), sorted by path; links to folders are never entered.
std::vector<IECleaner::FileItem> ListFiles(const std::string& folder, bool recursive);
// "12 files, 3,456 bytes" style counts for the log lines.
std::string FileCountText(std::int64_t files, std::int64_t bytes);

}  // namespace velloran
