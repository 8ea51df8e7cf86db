#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "cleaning/Preview.hpp"
#include "common/Target.hpp"
#include "common/platform/linux/DesktopTraces.hpp"
#include "common/registry/RegistryTree.hpp"
#include "support/EnvGuard.hpp"
#include "support/FakePlatform.hpp"

namespace velloran::test {

namespace fs = std::filesystem;

namespace {

fs::path TempDir(const std::string& name) {
    fs::path d = fs::temp_directory_path() / ("velloran-" + name + "-" + std::to_string(getpid()));
    fs::remove_all(d);
    fs::create_directories(d);
    return d;
}

std::string Read(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

}  // namespace

TEST(Target, PrefixChoiceOrder) {
    const fs::path home = TempDir("home");
    EnvGuard env;
    env.Set("HOME", home.c_str());
    env.Set("XDG_CONFIG_HOME", nullptr);
    env.Set("WINEPREFIX", nullptr);

    Target t = SelectTarget();
    EXPECT_FALSE(t.HasPrefix()) << "~/.wine without user.reg is no prefix";
    EXPECT_EQ(t.RegistryFolder(), home / ".config" / "velloran");

    fs::create_directories(home / ".wine");
    std::ofstream(home / ".wine" / "user.reg") << "WINE REGISTRY Version 2\n";
    EXPECT_EQ(SelectTarget().prefix, home / ".wine");

    env.Set("WINEPREFIX", (home / "other/").c_str());
    EXPECT_EQ(SelectTarget().prefix, home / "other") << "trailing slash dropped";
    EXPECT_EQ(SelectTarget(fs::path(home / "cli")).prefix, home / "cli") << "--prefix wins";

    env.Set("XDG_CONFIG_HOME", "relative/dir");
    EXPECT_EQ(SelectTarget().ownStore, home / ".config" / "velloran")
        << "relative XDG paths are ignored";
    fs::remove_all(home);
}

TEST(DesktopTraces, RecentlyUsedListIsEmptiedInPlaceKeepingItsMode) {
    const fs::path dir = TempDir("recent");
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
    EXPECT_NE(Read(xbel).find("<xbel version=\"1.0\""), std::string::npos);
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
    const fs::path dir = TempDir("recentdir");
    const fs::path outside = TempDir("outside");
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

TEST(Preview, CountsWhatARunWouldRemoveAndChangesNothing) {
    MemoryStore inner;
    inner.WriteValue(kHKeyCurrentUser, "Software\\A", "", RegValue::String("default"));
    inner.WriteValue(kHKeyCurrentUser, "Software\\A", "x", RegValue::String("1"));
    inner.WriteValue(kHKeyCurrentUser, "Software\\A\\B", "y", RegValue::String("2"));
    inner.WriteValue(kHKeyCurrentUser, "Software\\A\\B\\C", "z", RegValue::String("3"));
    PreviewSummary summary;
    PreviewStore store(inner, summary);
    EXPECT_TRUE(store.DeleteValue(kHKeyCurrentUser, "Software\\A", "x"));
    EXPECT_FALSE(store.DeleteValue(kHKeyCurrentUser, "Software\\A", "x"));
    EXPECT_TRUE(store.DeleteKey(kHKeyCurrentUser, "Software\\A\\B", true));
    store.Save();
    EXPECT_EQ(summary.registryValues, 3);
    EXPECT_EQ(summary.registryKeys, 2);

    FakePlatform real;
    PreviewPlatform platform(real, summary);
    platform.EmptyRecycleBin(7);
    platform.ClearRecentDocs();
    platform.EmptyClipboard();
    EXPECT_TRUE(real.calls.empty()) << "nothing reaches the real platform";
    EXPECT_EQ(summary.files, 5);
    EXPECT_EQ(summary.bytes, 320);
    EXPECT_EQ(summary.Text(),
              "Preview: nothing was changed. A real run would remove 3 registry value(s) and 2 "
              "registry key(s), 5 file(s) (320 bytes), and empty the clipboard.");
}

}  // namespace velloran::test
