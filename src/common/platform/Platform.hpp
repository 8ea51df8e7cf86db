#pragma once
// Every operating-system call the logic makes, grouped as the program uses them.
// Linux implements it in linux/, tests use a fake, a preview wraps it in a recorder.
#include <atomic>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velloran {

// The platform's version record (GetVersionExA's OSVERSIONINFO).
struct OsVersionInfo {
    std::uint32_t majorVersion = 0;
    std::uint32_t minorVersion = 0;
    std::uint32_t buildNumber = 0;
    std::uint32_t platformId = 0;
    std::string csdVersion;
};

// Free space of a drive. Windows reports cluster geometry; other systems report
// bytes directly and leave `geometry` empty.
struct DiskGeometry {
    std::uint32_t sectorsPerCluster = 0;
    std::uint32_t bytesPerSector = 0;
    std::uint32_t freeClusters = 0;
    std::uint32_t totalClusters = 0;
};
struct DiskSpace {
    std::optional<DiskGeometry> geometry;
    double freeBytes = 0;
    double totalBytes = 0;
};

// Drive types as GetDriveTypeA reports them.
enum DriveType : int {
    DRIVE_UNKNOWN = 0,
    DRIVE_NO_ROOT_DIR = 1,
    DRIVE_REMOVABLE = 2,
    DRIVE_FIXED = 3,
    DRIVE_REMOTE = 4,
    DRIVE_CDROM = 5,
    DRIVE_RAMDISK = 6,
};

// One entry of the drive list: its root path as the system writes it, its type,
// and the volume's file-system name and label where known.
struct LogicalDrive {
    std::string root;
    int type = DRIVE_UNKNOWN;
    std::string fileSystem;
    std::string label;
};

// What an operation would remove, for the preview's summary.
struct RemovalCount {
    std::int64_t items = 0;
    std::int64_t bytes = 0;
};

// What an operation could not remove, one "<path>: <why>" line each; a user is
// never told that something is gone when it is not.
using Leftovers = std::vector<std::string>;

// One overwrite pass: random bytes, or a pattern of 1 to 3 bytes repeated.
struct OverwritePass {
    bool random = false;
    unsigned char pattern[3] = {0, 0, 0};
    int patternLength = 1;
};

// A secure deletion: the passes over a regular file, then its removal. The caller
// may watch `total` and `done` (bytes of all passes) and set `abort` from another
// thread; `afterPass` (tests) sees each pass once it has reached the disk.
struct OverwriteJob {
    std::string path;
    std::vector<OverwritePass> passes;
    bool verifyLast = false;  // read the last (random) pass back from the disk
    std::atomic<bool>* abort = nullptr;
    std::atomic<std::uint64_t>* total = nullptr;
    std::atomic<std::uint64_t>* done = nullptr;
    std::function<void(int pass, int fd, std::uint64_t length)> afterPass;
};

// Many secure deletions done together: pass k of every file is written, then made
// durable for all of them at once, before pass k+1 starts; the files are renamed
// and unlinked folder by folder, with one folder sync per step. `abort`, `total`
// and `done` (bytes of all passes of all files) serve the whole batch; the jobs'
// own are not used. `written` and `durable` (tests) see each file's pass once it
// is written and each pass once it has reached the disk for the whole batch.
struct OverwriteBatch {
    std::vector<OverwriteJob> jobs;
    std::atomic<bool>* abort = nullptr;
    std::atomic<std::uint64_t>* total = nullptr;
    std::atomic<std::uint64_t>* done = nullptr;
    std::function<void(int pass, const std::string& path)> written;
    std::function<void(int pass)> durable;
};

// What became of one file of a batch: what OverwriteAndRemove would have
// returned, its report lines, and what it would have thrown.
struct OverwriteResult {
    bool complete = false;
    std::vector<std::string> report;
    std::exception_ptr error;
};

class Platform;
// One file after the other through Platform::OverwriteAndRemove, for systems
// without a batch of their own (common/platform/OverwriteBatch.cpp).
std::vector<OverwriteResult> OverwriteEachAlone(Platform& platform, const OverwriteBatch& batch);

// Shell folder ids used by the program.
enum Csidl : int {
    CSIDL_RECENT = 8,
    CSIDL_APPDATA = 26,
    CSIDL_LOCAL_APPDATA = 28,
    CSIDL_COOKIES = 33,
    CSIDL_WINDOWS = 36,
    CSIDL_SYSTEM = 37,
};

// The callbacks of a whole-tree walk for searches. They run on the walk's threads;
// `worker` (0 .. threads-1) lets a visitor keep per-thread state without locks.
class TreeVisitor {
public:
    virtual ~TreeVisitor() = default;
    // Before any callback: how many threads the walk uses.
    virtual void Start(unsigned threads) { (void)threads; }
    // A folder has been opened; `folder` ends with '/'.
    virtual void BeginFolder(unsigned worker, const std::string& folder) = 0;
    // Whether a name that may be a regular file is wanted. Only wanted names are
    // looked at further. The result (>= 0) is handed back to File; < 0: not wanted.
    virtual int Select(unsigned worker, const std::string& folder, std::string_view name) = 0;
    // A wanted name that is a regular file (never a link to one).
    virtual void File(unsigned worker, const std::string& folder, std::string_view name,
                      int selection, std::uint64_t size) = 0;
    virtual void EndFolder(unsigned worker, const std::string& folder) = 0;
    // A folder that could not be opened or read (an errno value).
    virtual void Unreadable(unsigned worker, const std::string& folder, int error) = 0;
    // The walk is over (all folders done, or cancelled); called once.
    virtual void Finished() {}
};

// A walk in progress.
class TreeWalk {
public:
    virtual ~TreeWalk() = default;
    // Asks the threads to stop; they leave soon, then Finished is called.
    virtual void Cancel() = 0;
    // Waits for the threads. Safe to call more than once.
    virtual void Join() = 0;
};

class Platform {
public:
    virtual ~Platform() = default;

    // --- Version and paths
    // Empty where there is no Windows version to report.
    virtual std::optional<OsVersionInfo> GetVersionEx() = 0;
    // The Windows and system folders as host paths; empty without a Windows environment.
    virtual std::string WindowsDirectory() = 0;
    virtual std::string SystemDirectory() = 0;
    virtual std::string TempPath() = 0;
    virtual std::string UserName() = 0;
    // A shell folder's path from its id (the low byte counts, as on Windows);
    // nullopt when the folder cannot be resolved.
    virtual std::optional<std::string> SpecialFolderPath(int csidl) = 0;
    // A path of the Windows environment ("C:\users\bob") as a host path, through
    // its drive mapping; nullopt when the drive is not mapped or there is none.
    virtual std::optional<std::string> HostPath(const std::string& windowsPath) {
        (void)windowsPath;
        return std::nullopt;
    }

    // --- Drives
    virtual std::optional<DiskSpace> DiskFreeSpace(const std::string& root) = 0;
    // Every drive the system lists, in its order (GetLogicalDriveStrings with the
    // type and volume information of each).
    virtual std::vector<LogicalDrive> LogicalDrives() = 0;

    // --- Files (read-only queries)
    virtual bool FileExists(const std::string& path) = 0;
    virtual bool DirectoryExists(const std::string& path) = 0;
    virtual std::string HomeDirectory() = 0;

    // --- Shell traces. Destructive: a preview records them instead of doing them.
    // Empties the clipboard; does nothing where there is no clipboard to reach.
    virtual void EmptyClipboard() = 0;
    // Empties every recycle bin of the user (SHEmptyRecycleBin flags; the desktop's
    // trash never asks for confirmation). Returns what was left, one line each.
    virtual Leftovers EmptyRecycleBin(int flags) = 0;
    virtual void UpdateRecycleBinIcon() {}
    // Empties the list of recent documents (SHAddToRecentDocs with no item).
    // Returns what was left, one line each.
    virtual Leftovers ClearRecentDocs() = 0;
    // What the two above would remove.
    virtual RemovalCount RecycleBinContents() = 0;
    virtual RemovalCount RecentDocsContents() = 0;

    // --- Other programs' windows
    // The title of an open top-level window of a Windows window class ("IEFrame",
    // "MozillaWindowClass", "OpWindow"), nullopt when none is open. Where windows carry
    // no such class the browser's own windows or, failing those, its running process
    // stand for it. `close` asks that window to close without waiting.
    virtual std::optional<std::string> FindTopLevelWindow(const std::string& windowClass,
                                                          bool close) = 0;

    // --- Other programs' locks and processes (browser profiles in use)
    // True when another process holds a lock on the file: an fcntl lock (Gecko's
    // .parentlock) or, on Windows, an open handle that denies others writing
    // (Chromium's lockfile in the user data folder).
    virtual bool FileLockHeld(const std::string& /*path*/) { return false; }
    // The target of a symbolic link, dangling or not; nullopt when it is no link.
    virtual std::optional<std::string> ReadLink(const std::string& /*path*/) {
        return std::nullopt;
    }
    // True when `host` names this machine (its name or one of its addresses) and a
    // process `pid` lives on it: the test of lock links such as "host-pid".
    virtual bool ProcessAliveOnThisHost(const std::string& /*host*/, long /*pid*/) { return false; }

    // --- What the system itself installed
    // True when the system's package manager installed `path` (or keeps it beside
    // what it installed): such a file is never junk, whatever its name. False where
    // no package manager lists its files.
    virtual bool IsPackageFile(const std::string& /*path*/) { return false; }

    // --- Databases of other programs
    // The file a database edit is made on: the database itself, or, where changes
    // must not reach the disk (a preview), a scratch copy with its -wal and -journal.
    virtual std::string DatabaseToEdit(const std::string& path) { return path; }

    // --- Shell
    // Opens a document with the desktop's default program; the result is not examined.
    virtual void ShellOpen(const std::string& path) = 0;

    // --- The program itself
    // Absolute path of the running executable.
    virtual std::string ExecutablePath() = 0;

    // --- Files the program keeps, and deletion. Destructive ones are recorded by a preview.
    // The whole text of a file; nullopt when it cannot be read.
    virtual std::optional<std::string> ReadTextFile(const std::string& path) = 0;
    // The text of a file the program acts on only when it is the user's own: not a
    // link, owned by the user running the program, and nobody else may change it.
    // nullopt when it is missing, cannot be read or is not the user's own.
    virtual std::optional<std::string> ReadPrivateTextFile(const std::string& path) = 0;
    // Replaces a file's text, creating the file when missing: the text goes to a
    // temporary file that then takes the file's name, so a reader finds the old text
    // or the new and a failed write leaves the old. A new file is readable by its
    // owner alone; a link is refused, never written through. Throws VbError.
    virtual void WriteTextFile(const std::string& path, const std::string& text) = 0;
    // Changes a file the program keeps while holding a lock every Velloran process
    // takes for it, so that two processes' changes follow each other and neither
    // is lost: `edit` receives the text as it is now (nullopt when the file is
    // missing) and returns the new text, written as WriteTextFile writes. Throws
    // VbError.
    virtual void EditTextFile(
        const std::string& path,
        const std::function<std::string(const std::optional<std::string>&)>& edit) = 0;
    // Replaces an existing file's content at once: the new text is written to a file
    // beside it that then takes its name, so the file holds the old text or the new,
    // never a mix, and nothing of the old file stays reachable by its name. Refuses a
    // link, a missing file and a file without write permission. Throws VbError.
    virtual void ReplaceFileContent(const std::string& path, const std::string& text) = 0;
    // Throws the VbError ReplaceFileContent would throw for `path` before writing, so
    // that a preview fails where a real run fails.
    virtual void CheckReplaceable(const std::string& /*path*/) {}
    // Creates a folder and any missing parents, each open to the user alone
    // (whatever the file mode mask); existing folders stay as they are. Throws VbError.
    virtual void CreateDirectories(const std::string& path) = 0;
    // Removes one file or link (DeleteFileA); false when it could not.
    virtual bool RemoveFile(const std::string& path) = 0;
    // Removes a file, a link (never what it points to) or a folder with everything in
    // it. Throws VbError (53 when missing) and leaves what it could not remove.
    virtual void DeletePath(const std::string& path) = 0;
    // Removes one file or link (never a folder, never what a link points to),
    // opening its folder without following links. Throws VbError (75 for a folder).
    virtual void DeleteFileEntry(const std::string& path) = 0;
    // Moves a file or folder to the user's recycle bin. Throws VbError.
    virtual void MoveToRecycleBin(const std::string& path) = 0;
    // Overwrites a regular file with the job's passes and removes it (links and
    // special files are refused, a file with other hard links only loses this name).
    // True when everything was done; what was not is appended to `report`, one line
    // each. May run on a worker thread. Throws VbError.
    virtual bool OverwriteAndRemove(const OverwriteJob& job, std::vector<std::string>& report) = 0;
    // The same for many files at once, pass by pass (see OverwriteBatch): one
    // result per job, in order. A stop ends every file of the batch after the pass
    // in progress, removes it and names it. May run on a worker thread.
    virtual std::vector<OverwriteResult> OverwriteAndRemoveBatch(const OverwriteBatch& batch) {
        return OverwriteEachAlone(*this, batch);
    }
    // Every regular file in `folder` (and below it when `recursive`), as folder and
    // name; never through a link, never into another mount. `found` returns false
    // to stop the walk. Unreadable folders are passed over.
    virtual void ForEachFile(
        const std::string& folder, bool recursive,
        const std::function<bool(const std::string& folder, const std::string& name)>& found) = 0;
    // Starts a walk of the tree below the folder `root` on `threads` threads (0: one
    // per processor) and returns at once. It never follows a link, never leaves the
    // root's file system and never enters a pseudo file system. Throws VbError when
    // the root cannot be opened or is on a pseudo file system.
    virtual std::unique_ptr<TreeWalk> WalkTree(const std::string& root, TreeVisitor& visitor,
                                               unsigned threads) = 0;
    // Why overwriting `path` in place may not reach its old contents (a copy-on-write,
    // log-structured or network file system); empty when nothing stands in the way.
    virtual std::string OverwriteCaveat(const std::string& path) = 0;
    // Size of a regular file (links not followed); nullopt when there is none.
    virtual std::optional<std::uint64_t> FileSize(const std::string& path) = 0;

    // --- Power. Refusals and errors are answered with false; the program goes on.
    // Windows needs the shutdown privilege enabled first; elsewhere nothing to do.
    virtual void EnableShutdownPrivilege() {}
    virtual bool PowerOff() = 0;
    virtual bool Reboot() = 0;
};

}  // namespace velloran
