#include "common/platform/linux/Trash.hpp"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "common/VbError.hpp"
#include "common/platform/linux/FileOps.hpp"
#include "support/TempDir.hpp"
#include "support/TestProcess.hpp"

namespace velloran::linuxfs {
namespace {

namespace fs = std::filesystem;
using velloran::test::ReadAll;

using velloran::test::MakeTempDir;

void WriteFile(const fs::path& p, const std::string& data) {
    fs::create_directories(p.parent_path());
    std::ofstream(p, std::ios::binary) << data;
}

TEST(Trash, InfoTextEncodingAndParsing) {
    const std::string raw = std::string("/home/u/a b%c\n\xff+#[x]/\xc3\xa9.tmp");
    const std::string enc = Trash::PercentEncode(raw);
    EXPECT_EQ(enc.find_first_of(" \n%+#[]\xff", 0), enc.find('%'));  // only escapes start with %
    EXPECT_EQ(enc.find(' '), std::string::npos);
    EXPECT_EQ(enc.find('\n'), std::string::npos);
    EXPECT_EQ(enc.substr(0, 9), "/home/u/a");
    EXPECT_EQ(Trash::PercentDecode(enc), raw);
    EXPECT_EQ(Trash::PercentDecode("a%2"), "a%2");  // a broken escape stays as it is

    auto info = Trash::ParseInfo(
        "[Trash Info]\nPath=/x/a%20b\nPath=/other\nDeletionDate=20040831T22:32:08\n");
    ASSERT_TRUE(info);
    EXPECT_EQ(info->path, "/x/a b");  // the first occurrence wins
    EXPECT_EQ(info->deletionDate, "20040831T22:32:08");
    EXPECT_FALSE(Trash::ParseInfo("Path=/x\n"));
    EXPECT_FALSE(Trash::ParseInfo("[Other]\nPath=/x\n"));
}

TEST(Trash, HomeTrashMovesRestoresCountsAndEmpties) {
    fs::path root = MakeTempDir("velloran-trash");
    Trash trash((root / "data/Trash").string(), getuid(), {});
    EXPECT_TRUE(trash.TrashDirs().empty());  // not there until first used

    WriteFile(root / "one/a.tmp", "first");
    WriteFile(root / "two/a.tmp", "second");
    WriteFile(root / "two/folder/inner/x.txt", std::string(5000, 'x'));
    fs::create_symlink("/etc", root / "two/link");
    TrashedItem first = trash.MoveToTrash((root / "one/a.tmp").string());
    TrashedItem second = trash.MoveToTrash((root / "two/a.tmp").string());
    TrashedItem folder = trash.MoveToTrash((root / "two/folder/").string());
    TrashedItem link = trash.MoveToTrash((root / "two/link").string());
    EXPECT_EQ(first.name, "a.tmp");
    EXPECT_EQ(second.name, "a.2.tmp");
    EXPECT_TRUE(first.dir.home);
    EXPECT_FALSE(fs::exists(root / "one/a.tmp"));
    EXPECT_EQ(ReadAll(root / "data/Trash/files/a.2.tmp"), "second");
    EXPECT_TRUE(fs::is_symlink(root / "data/Trash/files/link"));

    const std::string text = ReadAll(root / "data/Trash/info/a.2.tmp.trashinfo");
    EXPECT_TRUE(std::regex_match(
        text, std::regex("\\[Trash Info\\]\nPath=" + (root / "two/a.tmp").string() +
                         "\nDeletionDate=\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\n")))
        << text;
    struct stat st {};
    ASSERT_EQ(stat((root / "data/Trash/info/a.2.tmp.trashinfo").c_str(), &st), 0);
    // directorysizes: one line for the folder, with the info file's mtime.
    const std::string sizes = ReadAll(root / "data/Trash/directorysizes");
    EXPECT_TRUE(std::regex_match(sizes, std::regex("\\d+ \\d+ folder\n"))) << sizes;
    EXPECT_EQ(trash.CountItems(), 4u);
    EXPECT_GE(trash.Size(), 5000u);

    // Restore puts it back where it was, and refuses to overwrite.
    trash.Restore(first.dir, second.name);
    EXPECT_EQ(ReadAll(root / "two/a.tmp"), "second");
    EXPECT_FALSE(fs::exists(root / "data/Trash/info/a.2.tmp.trashinfo"));
    WriteFile(root / "one/a.tmp", "new");
    try {
        trash.Restore(first.dir, first.name);
        ADD_FAILURE();
    } catch (const VbError& e) {
        EXPECT_EQ(e.Number(), vbErrFileExists);
    }
    EXPECT_EQ(trash.CountItems(), 3u);
    try {
        trash.MoveToTrash((root / "nothing").string());
        ADD_FAILURE();
    } catch (const VbError& e) {
        EXPECT_EQ(e.Number(), vbErrFileNotFound);
    }

    // Emptying: a read-only folder inside is no obstacle, the link goes but /etc
    // stays, orphaned info files and directorysizes go too.
    chmod((root / "data/Trash/files/folder/inner").c_str(), 0500);
    WriteFile(root / "data/Trash/info/orphan.trashinfo", "[Trash Info]\nPath=/orphan\n");
    Trash::EmptyResult r = trash.Empty();
    EXPECT_EQ(r.removed, 3u);
    EXPECT_TRUE(r.failed.empty());
    EXPECT_EQ(trash.CountItems(), 0u);
    EXPECT_TRUE(fs::is_empty(root / "data/Trash/files"));
    EXPECT_TRUE(fs::is_empty(root / "data/Trash/info"));
    EXPECT_FALSE(fs::exists(root / "data/Trash/directorysizes"));
    EXPECT_TRUE(fs::exists("/etc/hostname") || fs::exists("/etc/passwd"));
    fs::remove_all(root);
}

// A trash folder under this user's name that another user owns is never opened,
// and its emptying says so: the item is not passed over in silence.
TEST(Trash, AnotherUsersTrashIsNamedAsNotEmptied) {
    const fs::path root = MakeTempDir("velloran-trash-other");
    const uid_t me = getuid() + 1;  // the folders below belong to "someone else"
    const fs::path volume = root / "volume";
    WriteFile(volume / (".Trash-" + std::to_string(me)) / "files/secret.txt", "x");
    fs::create_directories(volume / (".Trash-" + std::to_string(me)) / "info");
    Trash trash((root / "home/Trash").string(), me, {volume.string()});
    ASSERT_EQ(trash.TrashDirs().size(), 1u);
    EXPECT_EQ(trash.CountItems(), 0u);
    const auto result = trash.Empty();
    ASSERT_EQ(result.failed.size(), 1u);
    EXPECT_NE(result.failed[0].find("not this user's trash folder"), std::string::npos);
    EXPECT_TRUE(fs::exists(volume / (".Trash-" + std::to_string(me)) / "files/secret.txt"));
    fs::remove_all(root);
}

TEST(Trash, OtherVolumesUseTheirOwnTrash) {
    fs::path root = MakeTempDir("velloran-volume");
    fs::path vol = root / "vol";
    fs::create_directories(vol);
    if (mount("tmpfs", vol.c_str(), "tmpfs", 0, "size=4m,mode=0777") != 0) {
        fs::remove_all(root);
        GTEST_SKIP() << "mounting a tmpfs is not allowed here";
    }
    const uid_t uid = getuid();
    const std::string u = std::to_string(uid);
    Trash trash((root / "home/Trash").string(), uid, {vol.string()});

    // No .Trash on the volume: .Trash-$uid, with a path relative to the volume.
    WriteFile(vol / "docs/a.tmp", "a");
    TrashedItem a = trash.MoveToTrash((vol / "docs/a.tmp").string());
    EXPECT_EQ(a.dir.path, (vol / (".Trash-" + u)).string());
    EXPECT_EQ(Trash::ReadInfo(a.dir, a.name)->path, "docs/a.tmp");

    // A .Trash that is a link is never used, even to a proper sticky folder.
    fs::create_directories(vol / "elsewhere");
    chmod((vol / "elsewhere").c_str(), 01777);
    fs::create_directory_symlink(vol / "elsewhere", vol / ".Trash");
    WriteFile(vol / "b.tmp", "b");
    EXPECT_EQ(trash.MoveToTrash((vol / "b.tmp").string()).dir.path,
              (vol / (".Trash-" + u)).string());
    EXPECT_TRUE(fs::is_empty(vol / "elsewhere"));

    // A real sticky .Trash wins: $topdir/.Trash/$uid.
    fs::remove(vol / ".Trash");
    fs::create_directory(vol / ".Trash");
    chmod((vol / ".Trash").c_str(), 01777);
    WriteFile(vol / "c.tmp", "c");
    TrashedItem c = trash.MoveToTrash((vol / "c.tmp").string());
    EXPECT_EQ(c.dir.path, (vol / ".Trash" / u).string());

    EXPECT_EQ(trash.TrashDirs().size(), 2u);
    EXPECT_EQ(trash.CountItems(), 3u);
    trash.Restore(c.dir, c.name);
    EXPECT_EQ(ReadAll(vol / "c.tmp"), "c");
    EXPECT_EQ(trash.Empty().removed, 2u);
    EXPECT_EQ(trash.CountItems(), 0u);
    umount(vol.c_str());
    fs::remove_all(root);
}

}  // namespace
}  // namespace velloran::linuxfs

namespace velloran::linuxfs {
namespace {

// A bind mount of `source` at `at` for the test's lifetime; inactive where mounting
// is not allowed (not root, or a sandbox without mount rights).
class BindMount {
public:
    BindMount(const fs::path& source, const fs::path& at) : at_(at) {
        fs::create_directories(at);
        active_ = ::mount(source.c_str(), at.c_str(), nullptr, MS_BIND, nullptr) == 0;
    }
    ~BindMount() {
        if (active_) ::umount2(at_.c_str(), MNT_DETACH);
    }
    bool Active() const { return active_; }

private:
    fs::path at_;
    bool active_ = false;
};

TEST(Trash, BindMountsInsideTheTrashOrAStartupDeletionAreNeverEntered) {
    const fs::path root = MakeTempDir("velloran-bind");
    // What a trashed chroot or container holds: its home is the real home, bound in.
    WriteFile(root / "real-home/precious.txt", "keep me");
    WriteFile(root / "data/Trash/files/chroot/etc/hostname", "box");
    WriteFile(root / "data/Trash/info/chroot.trashinfo", "[Trash Info]\nPath=/tmp/chroot\n");
    BindMount trashed(root / "real-home", root / "data/Trash/files/chroot/home");
    WriteFile(root / "startup/tree/file", "x");
    BindMount listed(root / "real-home", root / "startup/tree/home");
    if (!trashed.Active() || !listed.Active()) GTEST_SKIP() << "bind mounts need root";

    Trash trash((root / "data/Trash").string(), getuid(), {});
    const Trash::EmptyResult r = trash.Empty();
    EXPECT_EQ(ReadAll(root / "real-home/precious.txt"), "keep me");
    EXPECT_FALSE(fs::exists(root / "data/Trash/files/chroot/etc"));
    ASSERT_EQ(r.failed.size(), 1u);
    EXPECT_EQ(r.failed[0], (root / "data/Trash/files/chroot/home").string() +
                               ": another file system is mounted here; left as it is");
    EXPECT_TRUE(fs::exists(root / "data/Trash/info/chroot.trashinfo")) << "kept with its item";

    // The same tree deleted as a start-up deletion would delete it.
    EXPECT_THROW(RemovePath((root / "startup/tree").string()), VbError);
    EXPECT_EQ(ReadAll(root / "real-home/precious.txt"), "keep me");
    EXPECT_FALSE(fs::exists(root / "startup/tree/file"));
}

}  // namespace
}  // namespace velloran::linuxfs

namespace velloran::linuxfs {
namespace {

TEST(Trash, AVolumeTrashSwappedForALinkAfterItWasFoundIsNeverFollowed) {
    // Whoever can write in a shared sticky .Trash can swap our folder for a link to
    // elsewhere between the moment it is found and the moment it is used.
    const fs::path root = MakeTempDir("velloran-swap");
    const fs::path top = root / "volume";
    const fs::path mine = top / ".Trash" / std::to_string(getuid());
    fs::create_directories(mine / "files");
    fs::create_directories(mine / "info");
    fs::permissions(top / ".Trash", fs::perms::all | fs::perms::sticky_bit);
    WriteFile(root / "elsewhere/files/victim.txt", "keep me");
    WriteFile(root / "elsewhere/info/victim.txt.trashinfo",
              "[Trash Info]\nPath=restored.txt\nDeletionDate=2026-01-01T00:00:00\n");
    Trash trash((root / "home/Trash").string(), getuid(), {top.string()});
    const std::vector<TrashDir> dirs = trash.TrashDirs();
    ASSERT_EQ(dirs.size(), 1u);

    fs::rename(mine, top / ".Trash" / "aside");
    fs::create_directory_symlink(root / "elsewhere", mine);
    EXPECT_THROW(trash.Restore(dirs[0], "victim.txt"), VbError);
    EXPECT_EQ(ReadAll(root / "elsewhere/files/victim.txt"), "keep me");
    EXPECT_FALSE(fs::exists(top / "restored.txt"));
    const Trash::EmptyResult r = trash.Empty();
    EXPECT_EQ(ReadAll(root / "elsewhere/files/victim.txt"), "keep me");
    EXPECT_EQ(r.removed, 0u);
    fs::remove_all(root);
}

}  // namespace
}  // namespace velloran::linuxfs
