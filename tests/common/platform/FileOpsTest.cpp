#include "common/platform/linux/FileOps.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "common/VbError.hpp"

namespace velloran::linuxfs {
namespace {

namespace fs = std::filesystem;

class FileOpsTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string t = (fs::temp_directory_path() / "velloran-fileops-XXXXXX").string();
        ASSERT_NE(mkdtemp(t.data()), nullptr);
        root = t;
    }
    void TearDown() override {
        std::error_code ec;
        fs::permissions(root, fs::perms::owner_all, fs::perm_options::add, ec);
        fs::remove_all(root, ec);
    }
    void Write(const fs::path& p, const std::string& text = "x") {
        fs::create_directories(p.parent_path());
        std::ofstream(p) << text;
    }
    int ErrorOf(const std::string& path) {
        try {
            RemovePath(path);
        } catch (const VbError& e) {
            return e.Number();
        }
        return 0;
    }
    fs::path root;
};

TEST_F(FileOpsTest, RemovePathTakesTheTreeButNeverFollowsLinks) {
    Write(root / "keep" / "precious.txt");
    Write(root / "tree" / "a" / "b" / "deep.txt");
    Write(root / "tree" / ".hidden");
    fs::create_directory_symlink(root / "keep", root / "tree" / "link-to-dir");
    fs::create_symlink(root / "keep" / "precious.txt", root / "tree" / "a" / "link-to-file");
    EXPECT_EQ(ErrorOf((root / "tree").string()), 0);
    EXPECT_FALSE(fs::exists(fs::symlink_status(root / "tree")));
    EXPECT_TRUE(fs::exists(root / "keep" / "precious.txt"));

    // A link given as the path goes, its target stays; so does a single file.
    fs::create_directory_symlink(root / "keep", root / "dirlink");
    EXPECT_EQ(ErrorOf((root / "dirlink").string()), 0);
    EXPECT_FALSE(fs::exists(fs::symlink_status(root / "dirlink")));
    EXPECT_TRUE(fs::exists(root / "keep" / "precious.txt"));
    EXPECT_EQ(ErrorOf((root / "keep" / "precious.txt").string()), 0);
    EXPECT_FALSE(fs::exists(root / "keep" / "precious.txt"));

    EXPECT_EQ(ErrorOf((root / "missing").string()), vbErrFileNotFound);
    EXPECT_EQ(ErrorOf((root / "keep" / "..").string()), 75);
    EXPECT_TRUE(fs::exists(root / "keep"));
}

TEST_F(FileOpsTest, RemovePathGoesOnPastWhatItCannotRemove) {
    if (geteuid() == 0) GTEST_SKIP() << "root may remove anything";
    Write(root / "t" / "locked" / "inner.txt");
    Write(root / "t" / "free.txt");
    fs::permissions(root / "t" / "locked", fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_EQ(ErrorOf((root / "t").string()), vbErrPermissionDenied);
    EXPECT_FALSE(fs::exists(root / "t" / "free.txt"));
    EXPECT_TRUE(fs::exists(root / "t" / "locked" / "inner.txt"));
    fs::permissions(root / "t" / "locked", fs::perms::owner_all);
}

TEST_F(FileOpsTest, TextFilesAreReplacedAndNeverWrittenThroughALink) {
    const fs::path file = root / "delstart.dat";
    WriteFileText(file.string(), "a long first line\n");
    WriteFileText(file.string(), "b\n");
    EXPECT_EQ(ReadFileText(file.string()), "b\n");
    struct stat st {};
    ASSERT_EQ(stat(file.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    Write(root / "victim", "untouched");
    fs::create_symlink(root / "victim", root / "link.dat");
    EXPECT_THROW(WriteFileText((root / "link.dat").string(), "evil"), VbError);
    EXPECT_EQ(ReadFileText((root / "victim").string()), "untouched");
    EXPECT_EQ(ReadFileText((root / "nothing").string()), std::nullopt);
    EXPECT_FALSE(SelfExecutable().empty());
    EXPECT_TRUE(fs::equivalent(SelfExecutable(), "/proc/self/exe"));
}

TEST_F(FileOpsTest, ReplacedContentKeepsTheModeAndRefusesWhatMayNotChange) {
    const fs::path file = root / "history.dat";
    Write(file, "old text that must not stay reachable");
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    struct stat before {};
    ASSERT_EQ(stat(file.c_str(), &before), 0);
    ReplaceFileContent(file.string(), "new");
    EXPECT_EQ(ReadFileText(file.string()), "new");
    struct stat after {};
    ASSERT_EQ(stat(file.c_str(), &after), 0);
    EXPECT_EQ(after.st_mode & 07777, 0640u);
    EXPECT_NE(after.st_ino, before.st_ino) << "a new file took the name";
    EXPECT_EQ(std::distance(fs::directory_iterator(root), fs::directory_iterator()), 1)
        << "no temporary file stays behind";

    // A read-only file, a link, a folder and a missing file keep what they are.
    fs::permissions(file, fs::perms::owner_read);
    EXPECT_THROW(ReplaceFileContent(file.string(), "x"), VbError);
    EXPECT_EQ(ReadFileText(file.string()), "new");
    Write(root / "victim", "untouched");
    fs::create_symlink(root / "victim", root / "link.dat");
    fs::create_directory(root / "folder");
    for (const char* name : {"link.dat", "folder", "missing"})
        EXPECT_THROW(ReplaceFileContent((root / name).string(), "x"), VbError) << name;
    EXPECT_EQ(ReadFileText((root / "victim").string()), "untouched");
    EXPECT_TRUE(fs::is_symlink(root / "link.dat"));
    EXPECT_FALSE(fs::exists(root / "missing"));
    EXPECT_EQ(std::distance(fs::directory_iterator(root), fs::directory_iterator()), 4);
}

}  // namespace
}  // namespace velloran::linuxfs
