#include "tools/eradicator/FileFinder.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "common/VbError.hpp"
#include "common/platform/linux/LinuxPlatform.hpp"
#include "support/TestProcess.hpp"
#include "tools/eradicator/SecureDeleter.hpp"

namespace velloran {
namespace {

namespace fs = std::filesystem;

TEST(FileFinder, FindsEveryRegularFileBelowTheFolderAndNothingThroughALink) {
    const fs::path root = test::MakeTempDir("velloran-finder");
    const fs::path tree = root / "tree";
    for (const char* f : {"a.txt", "sub/b.txt", "sub/deeper/c.dat", "user@site[1].txt"}) {
        fs::create_directories((tree / f).parent_path());
        std::ofstream(tree / f) << "x";
    }
    std::ofstream(root / "outside.txt") << "x";
    fs::create_directories(root / "elsewhere");
    std::ofstream(root / "elsewhere" / "hidden.txt") << "x";
    fs::create_symlink(root / "outside.txt", tree / "link.txt");
    fs::create_directory_symlink(root / "elsewhere", tree / "linked-folder");
    ::mkfifo((tree / "pipe.txt").c_str(), 0600);

    LinuxPlatform platform{Target{}};
    FileFinder finder(platform);
    std::set<std::string> found;
    finder.FoundFile.Connect([&](const std::string& folder, const std::string& name) {
        found.insert(folder + "/" + name);
    });
    finder.Search(tree.string(), "*.*");
    EXPECT_EQ(found,
              (std::set<std::string>{(tree / "a.txt").string(), (tree / "sub/b.txt").string(),
                                     (tree / "sub/deeper/c.dat").string(),
                                     (tree / "user@site[1].txt").string()}));

    // One folder only, with a mask: the cookie manager's search.
    found.clear();
    finder.Search(tree.string(), "*.txt", false);
    EXPECT_EQ(found, (std::set<std::string>{(tree / "a.txt").string(),
                                            (tree / "user@site[1].txt").string()}));

    // Cancel stops before the next file.
    found.clear();
    finder.FoundFile.Connect(
        [&](const std::string&, const std::string&) { finder.Cancel = vbTrue; });
    finder.Search(tree.string(), "*.*");
    EXPECT_EQ(found.size(), 1u);
    fs::remove_all(root);
}

TEST(FileFinder, AFolderSwappedForALinkWhileItIsWipedIsNeverFollowed) {
    // Run as root, as people run cleaners: the link is root's, in root's folder.
    if (geteuid() != 0) GTEST_SKIP() << "the links of root's own folders need root";
    const fs::path root = test::MakeTempDir("velloran-wipe");
    ASSERT_EQ(chmod(root.c_str(), 0755), 0);
    for (const fs::path& f : {root / "chosen/sub/a.txt", root / "chosen/sub/b.txt",
                              root / "outside/a.txt", root / "outside/b.txt"}) {
        fs::create_directories(f.parent_path());
        std::ofstream(f) << "the user's own";
    }
    LinuxPlatform platform{Target{}};
    FileFinder finder(platform);
    SecureDeleter deleter(platform);
    int refused = 0;
    finder.FoundFile.Connect([&](const std::string& folder, const std::string& name) {
        if (!fs::is_symlink(root / "chosen/sub")) {
            fs::rename(root / "chosen/sub", root / "chosen/was-sub");
            fs::create_directory_symlink(root / "outside", root / "chosen/sub");
        }
        try {
            deleter.DeleteZero(folder + "/" + name);
        } catch (const VbError&) {
            ++refused;
        }
    });
    finder.Search((root / "chosen").string(), "*.*");
    EXPECT_EQ(refused, 2);
    for (const char* n : {"a.txt", "b.txt"}) {
        EXPECT_EQ(test::ReadAll(root / "outside" / n), "the user's own") << n;
        EXPECT_TRUE(fs::exists(root / "chosen/was-sub" / n)) << n;
    }
    fs::remove_all(root);
}

}  // namespace
}  // namespace velloran
