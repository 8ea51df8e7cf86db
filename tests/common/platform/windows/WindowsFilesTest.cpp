// The Windows platform on real files: UTF-8 names at the core's side, UTF-16 at
// the system's, and links (reparse points) never followed.
#include <gtest/gtest.h>

#include "common/platform/windows/Win32.hpp"

// After windows.h:
#include <winioctl.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <set>
#include <vector>

#include "common/VbError.hpp"
#include "common/platform/Paths.hpp"
#include "common/platform/windows/WindowsPlatform.hpp"
#include "support/TestProcess.hpp"

namespace velloran::test {
namespace {

namespace fs = std::filesystem;

// Café-日本 in UTF-8 and as Windows names it.
const std::string kName = "Caf\xC3\xA9-\xE6\x97\xA5\xE6\x9C\xAC";
const std::wstring kWideName = L"Caf\u00E9-\u65E5\u672C";

class WindowsFilesTest : public ::testing::Test {
protected:
    void SetUp() override { dir = MakeTempDir("velloran-win"); }
    void TearDown() override {
        std::error_code ec;
        fs::remove_all(dir, ec);
    }
    std::string Path(const std::string& rel) const { return JoinPath(Utf8FromPath(dir), rel); }
    fs::path dir;
    WindowsPlatform platform;
};

// Every file below `root` the walk reports, as "folder|name|size".
class Collect : public TreeVisitor {
public:
    void BeginFolder(unsigned, const std::string&) override {}
    int Select(unsigned, const std::string&, std::string_view) override { return 0; }
    void File(unsigned, const std::string& folder, std::string_view name, int,
              std::uint64_t size) override {
        std::lock_guard lock(mutex);
        files.insert(folder + "|" + std::string(name) + "|" + std::to_string(size));
    }
    void EndFolder(unsigned, const std::string&) override {}
    void Unreadable(unsigned, const std::string& folder, int) override {
        std::lock_guard lock(mutex);
        unreadable.push_back(folder);
    }
    std::mutex mutex;
    std::set<std::string> files;
    std::vector<std::string> unreadable;
};

TEST_F(WindowsFilesTest, NonAsciiNamesGoThroughTheSystemAsTheyAre) {
    // The helper gives the system the characters, not the UTF-8 bytes.
    EXPECT_EQ(PathFromUtf8(kName).native(), kWideName);
    EXPECT_EQ(Utf8FromPath(fs::path(kWideName)), kName);
    EXPECT_EQ(PathFromUtf8(kName).string(), kName);

    const std::string folder = Path(kName + "\\" + kName);
    platform.CreateDirectories(folder);
    EXPECT_TRUE(fs::is_directory(dir / kWideName / kWideName));
    EXPECT_TRUE(platform.DirectoryExists(folder));

    const std::string file = JoinPath(folder, kName + ".txt");
    platform.WriteTextFile(file, "first");
    EXPECT_TRUE(fs::exists(dir / kWideName / kWideName / (kWideName + L".txt")));
    EXPECT_EQ(platform.ReadTextFile(file), "first");
    EXPECT_EQ(platform.FileSize(file), 5u);
    platform.ReplaceFileContent(file, "second, longer");
    EXPECT_EQ(platform.ReadTextFile(file), "second, longer");
    EXPECT_EQ(std::distance(fs::directory_iterator(dir / kWideName / kWideName),
                            fs::directory_iterator{}),
              1)
        << "no temporary file is left beside it";

    std::vector<std::string> found;
    platform.ForEachFile(Path(kName), true, [&](const std::string& f, const std::string& n) {
        found.push_back(JoinPath(f, n));
        return true;
    });
    EXPECT_EQ(found, std::vector<std::string>{file});

    // Long paths: deeper than MAX_PATH characters.
    std::string deep = Path("deep");
    for (int i = 0; i < 30; ++i) deep = JoinPath(deep, "level-" + std::to_string(i) + "-" + kName);
    ASSERT_GT(deep.size(), 300u);
    platform.CreateDirectories(deep);
    platform.WriteTextFile(JoinPath(deep, "end.txt"), "x");
    EXPECT_TRUE(platform.FileExists(JoinPath(deep, "end.txt")));
    platform.DeletePath(Path("deep"));
    EXPECT_FALSE(platform.DirectoryExists(Path("deep")));
}

TEST_F(WindowsFilesTest, SeparatorsAndRoots) {
    EXPECT_EQ(JoinPath("C:\\a", "b"), "C:\\a\\b");
    EXPECT_EQ(JoinPath("C:\\", "b"), "C:\\b");
    EXPECT_EQ(JoinPath("C:/a/", "b"), "C:/a/b");
    EXPECT_EQ(WithoutTrailingSeparators("C:\\a\\b\\\\"), "C:\\a\\b");
    EXPECT_EQ(WithoutTrailingSeparators("C:\\"), "C:\\") << "a drive's root keeps its separator";
    EXPECT_EQ(SplitAtLastSeparator("C:\\a/b\\c.txt"),
              (std::pair<std::string, std::string>{"C:\\a/b", "c.txt"}));
    EXPECT_EQ(platform.HostPath("D:\\x"), "D:\\x") << "Windows paths are the host's own";
    EXPECT_EQ(platform.HostPath("relative"), std::nullopt);
}

TEST_F(WindowsFilesTest, DeletionRemovesReadOnlyFilesAndRefusesWhatItMustNot) {
    const std::string folder = Path("tree");
    platform.CreateDirectories(JoinPath(folder, "sub"));
    const std::string locked = JoinPath(folder, "sub\\read-only.txt");
    platform.WriteTextFile(locked, "x");
    SetFileAttributesW(PathFromUtf8(locked).c_str(), FILE_ATTRIBUTE_READONLY);

    // A read-only file keeps its content from a replacement, but not from deletion.
    try {
        platform.ReplaceFileContent(locked, "y");
        FAIL() << "a read-only file was replaced";
    } catch (const VbError& e) {
        EXPECT_EQ(e.Number(), vbErrPermissionDenied);
    }
    EXPECT_EQ(platform.ReadTextFile(locked), "x");
    try {
        platform.DeleteFileEntry(JoinPath(folder, "sub"));
        FAIL() << "a folder was taken for a file";
    } catch (const VbError& e) {
        EXPECT_EQ(e.Number(), vbErrPathFileAccess);
    }
    try {
        platform.DeletePath(Path("missing"));
        FAIL();
    } catch (const VbError& e) {
        EXPECT_EQ(e.Number(), vbErrFileNotFound);
    }
    EXPECT_FALSE(platform.RemoveFile(Path("missing")));
    platform.DeletePath(folder);
    EXPECT_FALSE(fs::exists(dir / "tree"));
}

TEST_F(WindowsFilesTest, TreeWalkReportsEveryFileOnce) {
    for (const char* rel : {"a\\one.txt", "a\\b\\two.txt", "c\\three.bin"}) {
        platform.CreateDirectories(SplitAtLastSeparator(Path(rel)).first);
        platform.WriteTextFile(Path(rel), rel);
    }
    platform.WriteTextFile(Path(kName + ".tmp"), "1234");
    Collect visitor;
    platform.WalkTree(Utf8FromPath(dir), visitor, 2)->Join();
    const std::string root = Utf8FromPath(dir) + "\\";
    EXPECT_EQ(visitor.files,
              (std::set<std::string>{root + "a\\|one.txt|9", root + "a\\b\\|two.txt|11",
                                     root + "c\\|three.bin|11", root + "|" + kName + ".tmp|4"}));
    EXPECT_TRUE(visitor.unreadable.empty());
    try {
        platform.WalkTree(Path("missing"), visitor, 1);
        FAIL();
    } catch (const VbError& e) {
        EXPECT_EQ(e.Number(), vbErrPathNotFound);
    }
}

// A junction made as Windows makes one (mount-point reparse data); false where the
// file system cannot hold one.
bool MakeJunction(const fs::path& link, const fs::path& target) {
    fs::create_directory(link);
    HANDLE h = CreateFileW(link.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                           FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (h == INVALID_HANDLE_VALUE) return false;
    const std::wstring substitute = L"\\??\\" + target.native();
    const std::wstring print = target.native();
    const std::size_t names = (substitute.size() + print.size() + 2) * sizeof(wchar_t);
    std::vector<unsigned char> buffer(16 + names);
    auto put16 = [&](std::size_t at, std::size_t v) {
        const auto w = static_cast<WORD>(v);
        std::memcpy(buffer.data() + at, &w, 2);
    };
    const DWORD tag = IO_REPARSE_TAG_MOUNT_POINT;
    std::memcpy(buffer.data(), &tag, 4);
    put16(4, 8 + names);  // data length
    put16(8, 0);
    put16(10, substitute.size() * sizeof(wchar_t));
    put16(12, (substitute.size() + 1) * sizeof(wchar_t));
    put16(14, print.size() * sizeof(wchar_t));
    std::memcpy(buffer.data() + 16, substitute.c_str(), substitute.size() * sizeof(wchar_t));
    std::memcpy(buffer.data() + 16 + (substitute.size() + 1) * sizeof(wchar_t), print.c_str(),
                print.size() * sizeof(wchar_t));
    DWORD got = 0;
    const bool ok = DeviceIoControl(h, FSCTL_SET_REPARSE_POINT, buffer.data(),
                                    static_cast<DWORD>(buffer.size()), nullptr, 0, &got, nullptr);
    CloseHandle(h);
    return ok && (GetFileAttributesW(link.c_str()) & FILE_ATTRIBUTE_REPARSE_POINT);
}

// The walk, the file finder, deletion and wiping of a folder that holds a link:
// none of them reaches what the link points to.
void CheckLinkNotFollowed(WindowsPlatform& platform, const fs::path& tree,
                          const fs::path& outside) {
    Collect visitor;
    platform.WalkTree(Utf8FromPath(tree), visitor, 2)->Join();
    for (const std::string& f : visitor.files)
        EXPECT_EQ(f.find("keep.txt"), std::string::npos) << "walked through the link: " << f;
    EXPECT_EQ(visitor.files.size(), 1u);

    platform.ForEachFile(Utf8FromPath(tree), true, [&](const std::string&, const std::string& n) {
        EXPECT_NE(n, "keep.txt") << "the file finder went through the link";
        return true;
    });

    try {
        platform.DeletePath(Utf8FromPath(tree));
        EXPECT_FALSE(fs::exists(tree));
    } catch (const VbError& e) {
        // Wine cannot remove a host link to a folder that holds files: the link is
        // named and left, everything else goes.
        EXPECT_NE(e.Description().find(Utf8FromPath((tree / "link").make_preferred())),
                  std::string::npos)
            << e.Description();
        EXPECT_FALSE(fs::exists(tree / "mine.txt"));
    }
    EXPECT_EQ(ReadAll(outside / "keep.txt"), "keep") << "the link's target is whole";
}

TEST_F(WindowsFilesTest, JunctionsAreNeitherWalkedNorDeletedThrough) {
    fs::create_directories(dir / "outside");
    std::ofstream(dir / "outside" / "keep.txt", std::ios::binary) << "keep";
    fs::create_directories(dir / "tree");
    std::ofstream(dir / "tree" / "mine.txt", std::ios::binary) << "mine";
    if (!MakeJunction(dir / "tree" / "link", dir / "outside"))
        GTEST_SKIP() << "this file system holds no junctions";
    CheckLinkNotFollowed(platform, dir / "tree", dir / "outside");
}

// Wine shows a link of the host's file system as a reparse point. The build makes
// one before this test (cmake/WindowsTests.cmake) and names its folder.
TEST(WindowsHostLinks, LinksOfTheHostAreNeitherWalkedNorDeletedThrough) {
    const std::optional<std::string> fixture = EnvironmentOf("VELLORAN_LINK_FIXTURE");
    if (!fixture) GTEST_SKIP() << "no host link made for this run";
    const fs::path root = PathFromUtf8(*fixture);
    ASSERT_TRUE(fs::exists(root / "outside" / "keep.txt"));
    ASSERT_TRUE(GetFileAttributesW((root / "tree" / "link").c_str()) &
                FILE_ATTRIBUTE_REPARSE_POINT);
    WindowsPlatform platform;
    CheckLinkNotFollowed(platform, root / "tree", root / "outside");
}

}  // namespace
}  // namespace velloran::test
