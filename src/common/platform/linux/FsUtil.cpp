#include "common/platform/linux/FsUtil.hpp"

#include <fcntl.h>
#include <linux/stat.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cctype>
#include <cerrno>
#include <cstring>

namespace velloran::linuxfs {

VbError ErrnoError(int err, const std::string& what) {
    switch (err) {
        case ENOENT:
        case ENOTDIR:
            return VbError(vbErrFileNotFound, "File not found: " + what);
        case EACCES:
        case EPERM:
        case EROFS:
        case ETXTBSY:
        case EBUSY:
            return VbError(vbErrPermissionDenied, "Permission denied: " + what);
        case ENOSPC:
        case EDQUOT:
            return VbError(vbErrDiskFull, "Disk full: " + what);
        case EIO:
            return VbError(vbErrDeviceIO, "Device I/O error: " + what);
        default:
            return VbError(vbErrPathFileAccess,
                           "Path/File access error: " + what + ": " + std::strerror(err));
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

}  // namespace velloran::linuxfs
