// The drive list made from the mount table.
#include <gtest/gtest.h>

#include "common/platform/linux/LinuxPlatform.hpp"

namespace velloran {
namespace {

TEST(Drives, MountTableBecomesTypedDrivesWithTheRootFirst) {
    const std::string mountinfo =
        "22 27 0:21 / /proc rw - proc proc rw\n"
        "24 27 0:6 / /dev rw - devtmpfs devtmpfs rw\n"
        "25 24 0:23 / /dev/shm rw - tmpfs tmpfs rw\n"
        "28 27 0:25 / /tmp rw - tmpfs tmpfs rw\n"
        "27 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
        "30 27 8:17 / /media/my\\040stick rw - vfat /dev/sdb1 rw\n"
        "31 27 0:40 / /net/home rw - nfs4 server:/home rw\n"
        "32 27 11:0 / /media/cdrom ro - iso9660 /dev/sr0 ro\n"
        "33 27 7:3 / /snap/core/1 ro - squashfs /dev/loop3 ro\n"
        "34 27 8:2 / /home rw - ext4 /dev/sda2 rw\n"
        "35 27 0:50 / /sys/fs/cgroup rw - cgroup2 cgroup2 rw\n"
        "36 34 8:3 / /home rw - xfs /dev/sda3 rw\n"
        "37 27 0:60 / /mnt/over rw - overlay overlay rw\n";
    std::vector<std::string> asked;
    const auto drives = LinuxPlatform::DrivesFromMountInfo(mountinfo, [&](const std::string& dev) {
        asked.push_back(dev);
        return dev == "8:17";
    });
    const std::vector<std::pair<std::string, int>> expected = {{"/", DRIVE_FIXED},
                                                               {"/tmp", DRIVE_RAMDISK},
                                                               {"/media/my stick", DRIVE_REMOVABLE},
                                                               {"/net/home", DRIVE_REMOTE},
                                                               {"/media/cdrom", DRIVE_CDROM},
                                                               {"/snap/core/1", DRIVE_CDROM},
                                                               {"/home", DRIVE_FIXED},
                                                               {"/mnt/over", DRIVE_FIXED}};
    ASSERT_EQ(drives.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(drives[i].root, expected[i].first);
        EXPECT_EQ(drives[i].type, expected[i].second) << drives[i].root;
    }
    // The later mount on /home hides the first and takes its place in the list.
    EXPECT_EQ(drives[6].fileSystem, "xfs");
    EXPECT_EQ(std::count(asked.begin(), asked.end(), "8:17"), 1);
}

}  // namespace
}  // namespace velloran
