#include "common/platform/linux/FsUtil.hpp"

#include <fcntl.h>
#include <linux/stat.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <vector>

namespace velloran::linuxfs {

VbError ErrnoError(int err, const std::string& what) {
    switch (err) {
        case ENOENT:
        case ENOTDIR:
            return VbError::FileNotFound(what);
        case EACCES:
        case EPERM:
        case EROFS:
        case ETXTBSY:
        case EBUSY:
            return VbError::PermissionDenied(what);
        case ENOSPC:
        case EDQUOT:
            return VbError::DiskFull(what);
        case EIO:
            return VbError::DeviceIO(what);
        case ELOOP:
            return VbError::PathFileAccess(
                what +
                ": a folder on its path is now a symbolic link, which is never "
                "followed; left as it is");
        default:
            return VbError::PathFileAccess(what + ": " + std::strerror(err));
    }
}

std::pair<std::string, std::string> SplitPath(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return {".", path};
    if (slash == 0) return {"/", path.substr(1)};
    return {path.substr(0, slash), path.substr(slash + 1)};
}

std::string UnescapeMountField(const std::string& s) {
    std::string out;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '\\' && i + 3 < s.size() &&
            std::isdigit(static_cast<unsigned char>(s[i + 1])) &&
            std::isdigit(static_cast<unsigned char>(s[i + 2])) &&
            std::isdigit(static_cast<unsigned char>(s[i + 3]))) {
            out +=
                static_cast<char>((s[i + 1] - '0') * 64 + (s[i + 2] - '0') * 8 + (s[i + 3] - '0'));
            i += 3;
        } else {
            out += s[i];
        }
    }
    return out;
}

namespace {

struct MountFacts {
    bool haveId = false;
    std::uint64_t id = 0;
    bool knowsRoot = false;
    bool isRoot = false;
    dev_t dev = 0;
};

MountFacts Facts(int fd) {
    MountFacts f;
    struct statx sx {};
    if (statx(fd, "", AT_EMPTY_PATH | AT_SYMLINK_NOFOLLOW, STATX_MNT_ID, &sx) == 0) {
        f.haveId = (sx.stx_mask & STATX_MNT_ID) != 0;
        f.id = sx.stx_mnt_id;
        f.knowsRoot = (sx.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) != 0;
        f.isRoot = (sx.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
        f.dev = makedev(sx.stx_dev_major, sx.stx_dev_minor);
        return f;
    }
    struct stat st {};
    if (fstat(fd, &st) == 0) f.dev = st.st_dev;
    return f;
}

}  // namespace

bool IsMountRoot(int parent, int child) {
    const MountFacts p = Facts(parent), c = Facts(child);
    if (c.knowsRoot && c.isRoot) return true;
    if (p.haveId && c.haveId) return p.id != c.id;
    return p.dev != c.dev;
}

namespace {

// A link that only the system could have made: owned by root, in a folder that
// nobody but root may change.
bool SystemLink(int dirfd, const std::string& name) {
    struct stat link {
    }, dir{};
    if (fstatat(dirfd, name.c_str(), &link, AT_SYMLINK_NOFOLLOW) != 0 || fstat(dirfd, &dir) != 0)
        return false;
    return link.st_uid == 0 && dir.st_uid == 0 && (dir.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

}  // namespace

int OpenFolderForDeletion(const std::string& path) {
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY;
    constexpr int kMaxLinks = 40;
    std::vector<std::string> todo;  // components still to open, last first
    auto push = [&todo](const std::string& p) {
        std::vector<std::string> parts;
        for (std::size_t i = 0; i <= p.size();) {
            std::size_t j = p.find('/', i);
            if (j == std::string::npos) j = p.size();
            if (j > i) parts.push_back(p.substr(i, j - i));
            i = j + 1;
        }
        todo.insert(todo.end(), parts.rbegin(), parts.rend());
    };
    int cur = ::open(path.empty() || path[0] != '/' ? "." : "/", kFlags);
    push(path);
    int links = 0;
    while (cur >= 0 && !todo.empty()) {
        const std::string part = todo.back();
        todo.pop_back();
        int next = ::openat(cur, part.c_str(), kFlags);
        if (next < 0 && (errno == ELOOP || errno == ENOTDIR) && SystemLink(cur, part) &&
            ++links <= kMaxLinks) {
            char target[4096];
            const ssize_t n = ::readlinkat(cur, part.c_str(), target, sizeof target - 1);
            if (n > 0) {
                const std::string t(target, static_cast<std::size_t>(n));
                if (t[0] == '/') {
                    ::close(cur);
                    cur = ::open("/", kFlags);
                }
                push(t);
                continue;
            }
        }
        int saved = errno;
        struct stat st {};
        if (next < 0 && ::fstatat(cur, part.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISLNK(st.st_mode))
            saved = ELOOP;  // say "a link", not "not found" or "not a folder"
        ::close(cur);
        cur = next;
        if (cur < 0) errno = saved;
    }
    return cur;
}

}  // namespace velloran::linuxfs
