#include "tools/eradicator/FileFinder.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "common/platform/linux/LinuxPlatform.hpp"
#include "support/TestProcess.hpp"

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

}  // namespace
}  // namespace velloran
