#include "common/platform/linux/FileOps.hpp"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include "common/VbError.hpp"
#include "common/platform/FileIO.hpp"
#include "common/platform/linux/FsUtil.hpp"
#include "common/platform/linux/Overwrite.hpp"
#include "common/platform/linux/Trash.hpp"

#include "support/TempDir.hpp"

namespace velloran::linuxfs {
namespace {

namespace fs = std::filesystem;

class FileOpsTest : public ::testing::Test {
protected:
    void SetUp() override { root = velloran::test::MakeTempDir("velloran-fileops"); }
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
    const mode_t mask = umask(0);
    WriteFileText(file.string(), "a long first line\n");
    umask(mask);
    struct stat st {};
    ASSERT_EQ(stat(file.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    // A reader that has the file open keeps the old text whole: the new one is a
    // new file that took the name, never the old one cut short and written again.
    std::ifstream reader(file);
    ASSERT_EQ(chmod(file.c_str(), 0640), 0);
    WriteFileText(file.string(), "b\n");
    EXPECT_EQ(ReadFileText(file.string()), "b\n");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "a long first line\n");
    ASSERT_EQ(stat(file.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u) << "an existing file keeps its mode";
    EXPECT_EQ(std::distance(fs::directory_iterator(root), fs::directory_iterator()), 1)
        << "no temporary file is left";

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

TEST_F(FileOpsTest, EditsByManyProcessesFollowOneAnother) {
    const std::string file = (root / "cookies-keep.txt").string();
    constexpr int kWriters = 20;
    std::vector<pid_t> children;
    for (int i = 0; i < kWriters; ++i) {
        const pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            int status = 0;
            try {
                EditFileText(file, [i](const std::optional<std::string>& now) {
                    return now.value_or("") + "site" + std::to_string(i) + ".test\n";
                });
            } catch (...) {
                status = 1;
            }
            _exit(status);
        }
        children.push_back(pid);
    }
    for (pid_t pid : children) {
        int status = 0;
        waitpid(pid, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    std::set<std::string> lines;
    std::istringstream in(ReadFileText(file).value_or(""));
    for (std::string line; std::getline(in, line);) lines.insert(line);
    EXPECT_EQ(lines.size(), static_cast<std::size_t>(kWriters));

    // A link is never edited through.
    Write(root / "victim", "untouched");
    fs::create_symlink(root / "victim", root / "link.txt");
    EXPECT_THROW(EditFileText((root / "link.txt").string(),
                              [](const std::optional<std::string>&) { return "evil"; }),
                 VbError);
    EXPECT_EQ(ReadFileText((root / "victim").string()), "untouched");
}

TEST_F(FileOpsTest, OnlyTheUsersOwnFilesAreReadAsTheirs) {
    const fs::path own = root / "own.dat";
    Write(own, "mine\n");
    ASSERT_EQ(chmod(own.c_str(), 0600), 0);
    EXPECT_EQ(ReadPrivateFileText(own.string()), "mine\n");
    ASSERT_EQ(chmod(own.c_str(), 0620), 0);
    EXPECT_EQ(ReadPrivateFileText(own.string()), std::nullopt) << "its group may write it";
    ASSERT_EQ(chmod(own.c_str(), 0602), 0);
    EXPECT_EQ(ReadPrivateFileText(own.string()), std::nullopt) << "anyone may write it";
    ASSERT_EQ(chmod(own.c_str(), 0644), 0);
    EXPECT_EQ(ReadPrivateFileText(own.string()), "mine\n");
    fs::create_hard_link(own, root / "second-name");
    EXPECT_EQ(ReadPrivateFileText(own.string()), std::nullopt) << "a second name";
    fs::remove(root / "second-name");
    fs::create_symlink(own, root / "link.dat");
    EXPECT_EQ(ReadPrivateFileText((root / "link.dat").string()), std::nullopt);
    EXPECT_EQ(ReadPrivateFileText((root / "missing").string()), std::nullopt);
    if (geteuid() == 0) {
        ASSERT_EQ(chown(own.c_str(), 54321, 54321), 0);
        EXPECT_EQ(ReadPrivateFileText(own.string()), std::nullopt) << "another user's";
    }
}

// Run as root, as people run cleaners: a folder found by a search and swapped for a
// link before the deletion must not lead the deletion anywhere else, whoever made
// the link.
class SwappedFolderTest : public FileOpsTest {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "the links of root's own folders need root";
        FileOpsTest::SetUp();
        ASSERT_EQ(chmod(root.c_str(), 0755), 0);
        Write(root / "scan" / "sub" / "a.tmp", "junk");
        Write(root / "outside" / "a.tmp", "the user's own file");
        ASSERT_EQ(chmod((root / "scan").c_str(), 0755), 0);
        // The walk the search makes; it finds scan/sub/a.tmp.
        std::vector<std::string> found;
        ForEachFile((root / "scan").string(), true,
                    [&](const std::string& dir, const std::string& name) {
                        found.push_back(dir + "/" + name);
                        return true;
                    });
        ASSERT_EQ(found, std::vector<std::string>{(root / "scan" / "sub" / "a.tmp").string()});
    }
    void Swap() {
        fs::rename(root / "scan" / "sub", root / "scan" / "sub.old");
        fs::create_directory_symlink(root / "outside", root / "scan" / "sub");
    }
    bool OutsideIntact() {
        return ReadFileText((root / "outside" / "a.tmp").string()) == "the user's own file";
    }
};

TEST_F(SwappedFolderTest, NoDeletionFollowsALinkBelowTheSearchedFolder) {
    Swap();
    const std::string found = (root / "scan" / "sub" / "a.tmp").string();
    EXPECT_THROW(RemoveFileEntry(found), VbError);
    EXPECT_TRUE(OutsideIntact());
    EXPECT_THROW(RemovePath(found), VbError);
    EXPECT_TRUE(OutsideIntact());
    std::vector<std::string> report;
    OverwriteJob job;
    job.path = found;
    job.passes = {OverwritePass{}};
    EXPECT_THROW(OverwriteAndRemove(job, report), VbError);
    EXPECT_TRUE(OutsideIntact());
    const fs::path home = root / "home";
    fs::create_directories(home);
    EXPECT_THROW(Trash((home / "Trash").string(), 0, {}).MoveToTrash(found), VbError);
    EXPECT_TRUE(OutsideIntact());
    try {
        RemoveFileEntry(found);
    } catch (const VbError& e) {
        EXPECT_NE(e.Description().find("symbolic link"), std::string::npos) << e.Description();
    }
    // The file where it really is still goes.
    RemoveFileEntry((root / "scan" / "sub.old" / "a.tmp").string());
    EXPECT_FALSE(fs::exists(root / "scan" / "sub.old" / "a.tmp"));
}

TEST_F(SwappedFolderTest, ASearchedFolderReplacedSinceIsNotTheOneSearched) {
    // The searched folder itself is moved away and another put in its place.
    fs::rename(root / "scan", root / "scan.old");
    Write(root / "scan" / "sub" / "a.tmp", "another file of the same name");
    try {
        RemoveFileEntry((root / "scan" / "sub" / "a.tmp").string());
        ADD_FAILURE() << "deleted in a folder that was never searched";
    } catch (const VbError& e) {
        EXPECT_NE(e.Description().find("replaced since the search"), std::string::npos)
            << e.Description();
    }
    EXPECT_TRUE(fs::exists(root / "scan" / "sub" / "a.tmp"));
    // A new search of it makes it the searched folder again.
    ForEachFile((root / "scan").string(), true,
                [](const std::string&, const std::string&) { return true; });
    RemoveFileEntry((root / "scan" / "sub" / "a.tmp").string());
    EXPECT_FALSE(fs::exists(root / "scan" / "sub" / "a.tmp"));
}

}  // namespace
}  // namespace velloran::linuxfs
