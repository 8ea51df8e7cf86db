// The desktop's own recent-files traces, emptied on disk.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "common/platform/linux/DesktopTraces.hpp"
#include "support/EnvGuard.hpp"
#include "support/TestProcess.hpp"

namespace velloran::test {

namespace fs = std::filesystem;

TEST(DesktopTraces, RecentlyUsedListIsEmptiedInPlaceKeepingItsMode) {
    const fs::path dir = MakeTempDir("velloran-recent");
    const fs::path xbel = dir / "recently-used.xbel";
    linuxfs::ClearRecentlyUsed(xbel);
    EXPECT_FALSE(fs::exists(xbel)) << "a missing list stays missing";

    std::ofstream(xbel) << "<?xml version=\"1.0\"?>\n<xbel version=\"1.0\">\n"
                           "<bookmark href=\"file:///a\" added=\"x\"/>\n"
                           "<bookmark href=\"file:///b\" added=\"x\"/>\n</xbel>\n";
    chmod(xbel.c_str(), 0600);
    EXPECT_EQ(linuxfs::CountRecentlyUsed(xbel).items, 2);
    linuxfs::ClearRecentlyUsed(xbel);
    EXPECT_EQ(linuxfs::CountRecentlyUsed(xbel).items, 0);
    EXPECT_NE(ReadAll(xbel).find("<xbel version=\"1.0\""), std::string::npos);
    struct stat st {};
    ASSERT_EQ(stat(xbel.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    // A link is never written through.
    const fs::path target = dir / "elsewhere.xbel";
    std::ofstream(target) << "<bookmark href=\"file:///c\"/>";
    fs::remove(xbel);
    fs::create_symlink(target, xbel);
    EXPECT_FALSE(linuxfs::ClearRecentlyUsed(xbel)) << "left, and said so";
    EXPECT_EQ(linuxfs::CountRecentlyUsed(target).items, 1);
    fs::remove_all(dir);
}

TEST(DesktopTraces, RecentFolderLosesFilesAndLinksButNotFolders) {
    const fs::path dir = MakeTempDir("velloran-recentdir");
    const fs::path outside = MakeTempDir("velloran-outside");
    std::ofstream(dir / "a.lnk") << "12345";
    std::ofstream(outside / "keep.txt") << "keep";
    fs::create_symlink(outside / "keep.txt", dir / "b.lnk");
    fs::create_directories(dir / "sub");
    auto n = linuxfs::CountFolderFiles(dir);
    EXPECT_EQ(n.items, 1);
    EXPECT_EQ(n.bytes, 5);
    linuxfs::RemoveFolderFiles(dir);
    EXPECT_FALSE(fs::exists(dir / "a.lnk"));
    EXPECT_FALSE(fs::is_symlink(dir / "b.lnk"));
    EXPECT_TRUE(fs::exists(outside / "keep.txt")) << "the link's target is not touched";
    EXPECT_TRUE(fs::is_directory(dir / "sub"));
    fs::remove_all(dir);
    fs::remove_all(outside);
}

}  // namespace velloran::test
