#include "common/platform/linux/FileOps.hpp"

#include "common/platform/linux/FsUtil.hpp"
#include "common/platform/linux/UniqueFd.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "common/VbError.hpp"
#include "common/platform/FileIO.hpp"

namespace velloran::linuxfs {

namespace {

// Removes `name` inside the open folder `dirfd`, staying on device `dev`. Returns 0,
// or the errno of the first entry that could not be removed (the rest is still tried).
int RemoveEntry(int dirfd, const char* name, dev_t dev, std::string& failedPath,
                const std::string& shown) {
    struct stat st {};
    if (fstatat(dirfd, name, &st, AT_SYMLINK_NOFOLLOW) != 0) return errno == ENOENT ? 0 : errno;
    auto fail = [&](int err) {
        if (failedPath.empty()) failedPath = shown;
        return err;
    };
    if (!S_ISDIR(st.st_mode)) {
        if (unlinkat(dirfd, name, 0) == 0 || errno == ENOENT) return 0;
        return fail(errno);
    }
    if (st.st_dev != dev) return fail(EXDEV);
    const int raw = openat(dirfd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (raw < 0) return fail(errno);
    UniqueFd fd(raw);
    // The entry may have been swapped for another folder between the stat and the open.
    struct stat self {};
    if (fstat(fd.get(), &self) != 0 || self.st_ino != st.st_ino || self.st_dev != st.st_dev)
        return fail(EBUSY);
    // A bind mount of this same file system is still someone else's tree.
    if (IsMountRoot(dirfd, fd.get())) return fail(EXDEV);
    std::vector<std::string> names;
    if (DIR* d = fdopendir(dup(fd.get()))) {
        while (dirent* e = readdir(d))
            if (std::strcmp(e->d_name, ".") != 0 && std::strcmp(e->d_name, "..") != 0)
                names.emplace_back(e->d_name);
        closedir(d);
    } else {
        return fail(errno);
    }
    int first = 0;
    for (const auto& n : names) {
        const int err = RemoveEntry(fd.get(), n.c_str(), dev, failedPath, shown + "/" + n);
        if (err != 0 && first == 0) first = err;
    }
    if (first != 0) return first;
    if (unlinkat(dirfd, name, AT_REMOVEDIR) == 0 || errno == ENOENT) return 0;
    return fail(errno);
}

}  // namespace

void RemovePath(const std::string& path) {
    const auto slash = path.find_last_of('/');
    const std::string parent =
        slash == std::string::npos ? "." : (slash == 0 ? "/" : path.substr(0, slash));
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    if (name.empty() || name == "." || name == "..") throw VbError::PathFileAccess(path);
    const int raw = OpenFolderForDeletion(parent);
    if (raw < 0) throw ErrnoError(errno, path);
    UniqueFd dir(raw);
    struct stat st {};
    if (fstatat(dir.get(), name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0)
        throw ErrnoError(errno, path);
    std::string failedPath;
    if (const int err = RemoveEntry(dir.get(), name.c_str(), st.st_dev, failedPath, path); err != 0)
        throw ErrnoError(err, failedPath.empty() ? path : failedPath);
}

void ForEachFile(const std::string& folder, bool recursive,
                 const std::function<bool(const std::string&, const std::string&)>& found) {
    struct Pending {
        UniqueFd fd;
        std::string path;
    };
    std::vector<Pending> todo;
    UniqueFd top(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!top) return;
    // What is found here is deleted later by its path: only through this folder.
    RememberSearchedFolder(folder, top.get());
    todo.push_back({std::move(top), folder});
    while (!todo.empty()) {
        Pending dir = std::move(todo.back());
        todo.pop_back();
        std::vector<std::string> files, subfolders;
        const int listed = dup(dir.fd.get());
        DIR* d = listed >= 0 ? fdopendir(listed) : nullptr;
        if (!d) {
            if (listed >= 0) close(listed);
            continue;
        }
        while (dirent* e = readdir(d)) {
            if (!std::strcmp(e->d_name, ".") || !std::strcmp(e->d_name, "..")) continue;
            struct stat st {};
            if (fstatat(dir.fd.get(), e->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
            if (S_ISREG(st.st_mode))
                files.emplace_back(e->d_name);
            else if (S_ISDIR(st.st_mode) && recursive)
                subfolders.emplace_back(e->d_name);
        }
        closedir(d);
        // Listed before any is reported: the caller may delete them as they come.
        for (const std::string& name : files)
            if (!found(dir.path, name)) return;
        // Last pushed is walked first: keep the listing's order.
        for (auto it = subfolders.rbegin(); it != subfolders.rend(); ++it) {
            UniqueFd sub(
                openat(dir.fd.get(), it->c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
            if (!sub || IsMountRoot(dir.fd.get(), sub.get())) continue;
            todo.push_back({std::move(sub), dir.path + (dir.path.ends_with('/') ? "" : "/") + *it});
        }
    }
}

void RemoveFileEntry(const std::string& path) {
    const auto [parent, name] = SplitPath(path);
    UniqueFd dir(OpenFolderForDeletion(parent));
    if (!dir) throw ErrnoError(errno, path);
    if (unlinkat(dir.get(), name.c_str(), 0) == 0) return;
    if (errno == EISDIR) throw VbError::PathFileAccess(path + " is a folder");
    throw ErrnoError(errno, path);
}

namespace {

void WriteAll(int fd, const std::string& text, const std::string& shown) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            throw ErrnoError(errno, shown);
        }
        done += static_cast<std::size_t>(n);
    }
}

// Writes `text` to a new file in the folder of `path`, syncs it and renames it over
// `path`, so that a reader finds the old text or the new, whole, and a full disk
// leaves the old file as it was. `old` is the file replaced (its mode and owner are
// kept); null for a new file, which only its owner may read.
void ReplaceWith(const std::string& path, const std::string& text, const struct stat* old) {
    const auto [folder, name] = SplitPath(path);
    std::string temp = folder + "/." + name + ".velloran-XXXXXX";
    const int raw = mkostemp(temp.data(), O_CLOEXEC);
    if (raw < 0) throw ErrnoError(errno, path);
    UniqueFd fd(raw);
    try {
        WriteAll(fd.get(), text, path);
        // Root writing a user's file leaves it the user's.
        if (old && (old->st_uid != geteuid() || old->st_gid != getegid()) &&
            fchown(fd.get(), old->st_uid, old->st_gid) != 0 && errno != EPERM)
            throw ErrnoError(errno, path);
        if (fchmod(fd.get(), old ? old->st_mode & 07777 : 0600) != 0 || fsync(fd.get()) != 0 ||
            rename(temp.c_str(), path.c_str()) != 0)
            throw ErrnoError(errno, path);
    } catch (...) {
        unlink(temp.c_str());
        throw;
    }
    // The rename itself reaches the disk with the folder.
    const int dir = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
        fsync(dir);
        close(dir);
    }
}

VbError LinkRefused(const std::string& path) {
    return VbError(vbErrPermissionDenied, "Permission denied: " + path +
                                              " is a symbolic link, which is never written "
                                              "through; left as it is");
}

}  // namespace

void WriteFileText(const std::string& path, const std::string& text) {
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0) {
        if (errno != ENOENT) throw ErrnoError(errno, path);
        ReplaceWith(path, text, nullptr);
        return;
    }
    if (S_ISLNK(st.st_mode)) throw LinkRefused(path);
    if (!S_ISREG(st.st_mode))
        throw VbError(vbErrPathFileAccess,
                      "Path/File access error: " + path + ": not a regular file; left as it is");
    ReplaceWith(path, text, &st);
}

void EditFileText(const std::string& path,
                  const std::function<std::string(const std::optional<std::string>&)>& edit) {
    const FolderLock lock(SplitPath(path).first);
    struct stat st {};
    const bool exists = lstat(path.c_str(), &st) == 0;
    if (exists && S_ISLNK(st.st_mode)) throw LinkRefused(path);
    std::optional<std::string> text;
    if (exists) {
        text = ReadFileText(path);
        if (!text) throw ErrnoError(errno ? errno : EACCES, path);
    }
    const std::string changed = edit(text);
    if (text && changed == *text) return;
    WriteFileText(path, changed);
}

std::optional<std::string> ReadPrivateFileText(const std::string& path) {
    UniqueFd fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat st {};
    if (!fd || fstat(fd.get(), &st) != 0) return std::nullopt;
    // Anyone else who could have written it, or a second name that could, makes it
    // not the user's own.
    if (!S_ISREG(st.st_mode) || st.st_uid != geteuid() || (st.st_mode & (S_IWGRP | S_IWOTH)) ||
        st.st_nlink != 1)
        return std::nullopt;
    return ReadFileText("/proc/self/fd/" + std::to_string(fd.get()));
}

// The old file: a regular file that may be written. A file marked read-only keeps
// its content even for root, who could otherwise replace it.
struct stat ReplaceableFile(const std::string& path) {
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0) throw ErrnoError(errno, path);
    if (!S_ISREG(st.st_mode))
        throw VbError(vbErrPathFileAccess,
                      "Path/File access error: " + path + ": not a regular file; left as it is");
    if ((st.st_mode & 0222) == 0 || access(path.c_str(), W_OK) != 0) throw ErrnoError(EACCES, path);
    return st;
}

void ReplaceFileContent(const std::string& path, const std::string& text) {
    const struct stat old = ReplaceableFile(path);
    ReplaceWith(path, text, &old);
}

std::optional<std::string> ReadFileText(const std::string& path) {
    const int raw = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (raw < 0) return std::nullopt;
    UniqueFd fd(raw);
    std::string text;
    char buffer[4096];
    for (;;) {
        const ssize_t n = read(fd.get(), buffer, sizeof buffer);
        if (n < 0) {
            if (errno == EINTR) continue;
            return std::nullopt;
        }
        if (n == 0) break;
        text.append(buffer, static_cast<std::size_t>(n));
    }
    return text;
}

std::string SelfExecutable() {
    std::vector<char> buffer(256);
    for (;;) {
        const ssize_t n = readlink("/proc/self/exe", buffer.data(), buffer.size());
        if (n < 0) return {};
        if (static_cast<std::size_t>(n) < buffer.size()) return std::string(buffer.data(), n);
        buffer.resize(buffer.size() * 2);
    }
}

}  // namespace velloran::linuxfs
