#include "common/platform/linux/FsUtil.hpp"

#include <fcntl.h>
#include <linux/stat.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
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
        case ESTALE:
            return VbError::PathFileAccess(
                what +
                ": the folder it was found in has been replaced since the search; left as "
                "it is");
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

namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY;

std::vector<std::string> Components(const std::string& p) {
    std::vector<std::string> parts;
    for (std::size_t i = 0; i <= p.size();) {
        std::size_t j = p.find('/', i);
        if (j == std::string::npos) j = p.size();
        if (j > i && p.compare(i, j - i, ".") != 0) parts.push_back(p.substr(i, j - i));
        i = j + 1;
    }
    return parts;
}

// Opens the components of `parts` one by one below the open folder `cur` (which it
// takes over), following no link at all. -1 with errno set.
int OpenStrictly(int cur, const std::vector<std::string>& parts, std::size_t from) {
    for (std::size_t i = from; cur >= 0 && i < parts.size(); ++i) {
        const int next = ::openat(cur, parts[i].c_str(), kFolderFlags);
        int saved = errno;
        struct stat st {};
        if (next < 0 && ::fstatat(cur, parts[i].c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISLNK(st.st_mode))
            saved = ELOOP;  // say "a link", not "not found" or "not a folder"
        ::close(cur);
        cur = next;
        if (cur < 0) errno = saved;
    }
    return cur;
}

struct SearchedFolder {
    std::string given;     // as the search was asked for, without trailing slashes
    std::string resolved;  // its real path then
    dev_t dev = 0;
    ino_t ino = 0;
};

std::mutex& SearchedLock() {
    static std::mutex m;
    return m;
}
std::vector<SearchedFolder>& Searched() {
    static std::vector<SearchedFolder> folders;
    return folders;
}

std::string WithoutTrailingSlashes(std::string p) {
    while (p.size() > 1 && p.back() == '/') p.pop_back();
    return p;
}

// The searched folder `path` lies in (the innermost one), and what of `path` is
// below it.
std::optional<std::pair<SearchedFolder, std::string>> SearchedFolderOf(const std::string& path) {
    std::lock_guard lock(SearchedLock());
    const SearchedFolder* best = nullptr;
    for (const SearchedFolder& f : Searched()) {
        const bool inside =
            path == f.given ||
            (path.starts_with(f.given) &&
             (f.given == "/" || (path.size() > f.given.size() && path[f.given.size()] == '/')));
        if (inside && (!best || f.given.size() > best->given.size())) best = &f;
    }
    if (!best) return std::nullopt;
    return std::make_pair(*best, path.substr(std::min(path.size(), best->given.size())));
}

}  // namespace

void RememberSearchedFolder(const std::string& given, int fd) {
    struct stat st {};
    if (given.empty() || given[0] != '/' || fstat(fd, &st) != 0) return;
    char buffer[4096];
    const std::string self = "/proc/self/fd/" + std::to_string(fd);
    const ssize_t n = ::readlink(self.c_str(), buffer, sizeof buffer);
    std::string resolved;
    if (n > 0 && static_cast<std::size_t>(n) < sizeof buffer && buffer[0] == '/') {
        resolved.assign(buffer, static_cast<std::size_t>(n));
    } else if (char* real = ::realpath(given.c_str(), nullptr)) {
        resolved = real;
        std::free(real);
    } else {
        return;
    }
    SearchedFolder f{WithoutTrailingSlashes(given), resolved, st.st_dev, st.st_ino};
    std::lock_guard lock(SearchedLock());
    auto& all = Searched();
    std::erase_if(all, [&](const SearchedFolder& o) { return o.given == f.given; });
    all.push_back(std::move(f));
}

int OpenFolderForDeletion(const std::string& path) {
    if (auto searched = SearchedFolderOf(path)) {
        // The searched folder as it was resolved then, no link followed now, and
        // still the very folder that was searched; below it, no link either.
        const auto& [folder, rest] = *searched;
        const int root = OpenStrictly(::open("/", kFolderFlags), Components(folder.resolved), 0);
        if (root < 0) {
            if (errno == ELOOP || errno == ENOENT || errno == ENOTDIR) errno = ESTALE;
            return -1;
        }
        struct stat st {};
        if (::fstat(root, &st) != 0 || st.st_dev != folder.dev || st.st_ino != folder.ino) {
            ::close(root);
            errno = ESTALE;
            return -1;
        }
        return OpenStrictly(root, Components(rest), 0);
    }
    constexpr int kMaxLinks = 40;
    std::vector<std::string> todo;  // components still to open, last first
    auto push = [&todo](const std::string& p) {
        const std::vector<std::string> parts = Components(p);
        todo.insert(todo.end(), parts.rbegin(), parts.rend());
    };
    int cur = ::open(path.empty() || path[0] != '/' ? "." : "/", kFolderFlags);
    push(path);
    int links = 0;
    while (cur >= 0 && !todo.empty()) {
        const std::string part = todo.back();
        todo.pop_back();
        int next = ::openat(cur, part.c_str(), kFolderFlags);
        if (next < 0 && (errno == ELOOP || errno == ENOTDIR) && SystemLink(cur, part) &&
            ++links <= kMaxLinks) {
            char target[4096];
            const ssize_t n = ::readlinkat(cur, part.c_str(), target, sizeof target - 1);
            if (n > 0) {
                const std::string t(target, static_cast<std::size_t>(n));
                if (t[0] == '/') {
                    ::close(cur);
                    cur = ::open("/", kFolderFlags);
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
