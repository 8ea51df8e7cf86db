#pragma once
// A parallel directory walker for searches over a whole drive. It works relative
// to each parent's descriptor (openat, getdents64, fstatat), so path length never
// matters; it never follows a symbolic link, never leaves the starting file system
// and refuses to walk pseudo file systems. Unreadable folders and entries that
// vanish mid-walk are reported and skipped.
#include <sys/stat.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_set>
#include <vector>

#include "common/platform/Platform.hpp"

namespace velloran::linuxfs {

// The visitor of the platform's tree walk.
using DirVisitor = TreeVisitor;

// Pseudo file systems (proc, sysfs, cgroup, ...) hold no user files and can hang or
// explode a walk. `magic` is statfs' f_type.
bool IsPseudoFileSystem(long magic);

// Opens a folder for reading even when its path is longer than PATH_MAX. Follows
// links in the path as given (the caller chose it). Returns -1 with errno set.
int OpenDirectoryPath(const std::string& path);

// Mount points listed in /proc/self/mountinfo (unescaped).
std::vector<std::string> MountPoints();

class DirWalker {
public:
    explicit DirWalker(unsigned threads = 0);  // 0: one per hardware thread
    ~DirWalker();
    DirWalker(const DirWalker&) = delete;
    DirWalker& operator=(const DirWalker&) = delete;

    // Starts walking `root` (a folder) and returns at once; the visitor is called
    // from the walker's threads until Finished(). Throws VbError when the root
    // cannot be opened (53, 70, 76) or is on a pseudo file system (75).
    void Start(const std::string& root, DirVisitor& visitor);
    // Asks the threads to stop; they leave within one directory buffer.
    void Cancel();
    bool Cancelled() const { return cancel_.load(std::memory_order_relaxed); }
    bool Finished() const { return finished_.load(std::memory_order_acquire); }
    // Waits for the threads. Safe to call more than once.
    void Join();
    unsigned Threads() const { return threads_; }
    // The root folder as reported to the visitor (with its trailing '/').
    const std::string& RootFolder() const { return rootFolder_; }

private:
    struct Fd;
    struct Item {
        std::shared_ptr<Fd> parent;  // null for the root
        std::string folder;          // full path, ending with '/'
        std::size_t nameLen = 0;     // length of the last component
    };
    void Worker(unsigned index);
    void ProcessFolder(unsigned worker, Item item, std::vector<char>& buffer);
    bool IsMountPoint(const std::string& folder) const;

    unsigned threads_;
    DirVisitor* visitor_ = nullptr;
    std::string rootFolder_;
    dev_t rootDev_ = 0;
    std::unordered_set<std::string> mountPoints_;  // relative to the root, ending '/'

    std::mutex mutex_;
    std::condition_variable cv_;
    std::vector<Item> stack_;
    unsigned active_ = 0;
    unsigned running_ = 0;
    std::atomic<bool> cancel_{false};
    std::atomic<bool> finished_{false};
    std::vector<std::thread> workers_;
};

}  // namespace velloran::linuxfs
