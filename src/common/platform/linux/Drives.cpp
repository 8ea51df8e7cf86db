// The drive list on Linux: the mount table read as the drive strings, types and
// volume information of a Windows system.
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <set>
#include <sstream>
#include <vector>

#include "common/platform/linux/FsUtil.hpp"
#include "common/platform/linux/LinuxPlatform.hpp"

namespace velloran {

namespace {

// Kernel interfaces and plumbing: never drives, and neither is anything mounted
// inside them (/dev/shm, /sys/fs/cgroup/...).
const std::set<std::string, std::less<>> kPseudo = {"proc",
                                                    "sysfs",
                                                    "cgroup",
                                                    "cgroup2",
                                                    "devpts",
                                                    "devtmpfs",
                                                    "mqueue",
                                                    "debugfs",
                                                    "tracefs",
                                                    "securityfs",
                                                    "pstore",
                                                    "bpf",
                                                    "configfs",
                                                    "fusectl",
                                                    "hugetlbfs",
                                                    "autofs",
                                                    "binfmt_misc",
                                                    "efivarfs",
                                                    "nsfs",
                                                    "rpc_pipefs",
                                                    "selinuxfs",
                                                    "sockfs",
                                                    "pipefs",
                                                    "overlayfs_internal",
                                                    "fuse.gvfsd-fuse",
                                                    "fuse.portal",
                                                    "fuse.lxcfs",
                                                    "nfsd",
                                                    "cgroupfs"};

const std::set<std::string, std::less<>> kNetwork = {
    "nfs",       "nfs4",       "cifs",        "smb3",  "smbfs",     "ncpfs",  "afs", "ceph",
    "glusterfs", "fuse.sshfs", "fuse.rclone", "davfs", "fuse.s3fs", "lustre", "9p"};

// Read-only media and media images: optical discs and the compressed images that
// package systems mount (squashfs snaps), which nobody cleans.
const std::set<std::string, std::less<>> kOptical = {"iso9660", "udf", "squashfs", "erofs"};

bool Inside(const std::string& path, const std::string& mountPoint) {
    if (mountPoint == "/") return true;
    return path == mountPoint || (path.starts_with(mountPoint) && path[mountPoint.size()] == '/');
}

bool ReadRemovable(const std::string& majorMinor) {
    for (const char* rel : {"/removable", "/../removable"}) {
        std::ifstream in("/sys/dev/block/" + majorMinor + rel);
        char c = 0;
        if (in >> c) return c == '1';
    }
    return false;
}

}  // namespace

std::vector<LogicalDrive> LinuxPlatform::DrivesFromMountInfo(
    const std::string& mountinfo, const std::function<bool(const std::string&)>& removable) {
    std::vector<LogicalDrive> drives;
    std::vector<std::string> pseudoPoints;
    std::istringstream lines(mountinfo);
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream f(line);
        std::string id, parent, device, root, mountPoint, options, field;
        if (!(f >> id >> parent >> device >> root >> mountPoint >> options)) continue;
        while (f >> field && field != "-") {
        }
        std::string fsType, source;
        if (!(f >> fsType)) continue;
        f >> source;
        mountPoint = linuxfs::UnescapeMountField(mountPoint);
        source = linuxfs::UnescapeMountField(source);

        if (kPseudo.count(fsType)) {
            pseudoPoints.push_back(mountPoint);
            continue;
        }
        if (std::any_of(pseudoPoints.begin(), pseudoPoints.end(),
                        [&](const std::string& p) { return p != "/" && Inside(mountPoint, p); }))
            continue;

        LogicalDrive d;
        d.root = mountPoint;
        d.fileSystem = fsType;
        if (fsType == "tmpfs" || fsType == "ramfs")
            d.type = DRIVE_RAMDISK;
        else if (kNetwork.count(fsType) || fsType.starts_with("nfs"))
            d.type = DRIVE_REMOTE;
        else if (kOptical.count(fsType) || source.starts_with("/dev/sr"))
            d.type = DRIVE_CDROM;
        else if (source.starts_with("/dev/") && removable && removable(device))
            d.type = DRIVE_REMOVABLE;
        else
            d.type = DRIVE_FIXED;

        // A later mount at the same point hides the earlier one; the drive keeps its place.
        auto same = std::find_if(drives.begin(), drives.end(),
                                 [&](const LogicalDrive& x) { return x.root == d.root; });
        if (same != drives.end())
            *same = d;
        else
            drives.push_back(std::move(d));
    }
    // The system's root comes first, as the system drive does on Windows.
    std::stable_partition(drives.begin(), drives.end(),
                          [](const LogicalDrive& d) { return d.root == "/"; });
    return drives;
}

std::vector<LogicalDrive> LinuxPlatform::LogicalDrives() {
    std::ifstream in("/proc/self/mountinfo");
    std::stringstream text;
    text << in.rdbuf();
    std::vector<LogicalDrive> drives = DrivesFromMountInfo(text.str(), ReadRemovable);
    // Bind mounts of single files (containers mount /etc/hosts so) are no drives.
    std::erase_if(drives, [](const LogicalDrive& d) {
        struct stat st {};
        return ::stat(d.root.c_str(), &st) == 0 && !S_ISDIR(st.st_mode);
    });
    return drives;
}

}  // namespace velloran
