#include "tools/junk/JunkSearch.hpp"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <thread>

#include "common/VbError.hpp"
#include "common/platform/linux/LinuxPlatform.hpp"
#include "support/FakePlatform.hpp"
#include "support/TestProcess.hpp"
#include "tools/eradicator/SecureDeleter.hpp"

namespace velloran {
namespace {

namespace fs = std::filesystem;

using test::MakeTempDir;

void WriteFile(const fs::path& p, std::size_t size) {
    fs::create_directories(p.parent_path());
    std::ofstream(p, std::ios::binary) << std::string(size, 'x');
}

struct Found {
    std::string folder, name, tag;
    std::int32_t size;
    double total;
};

// Runs a search with the given filters and records everything it raises.
struct Recorder {
    std::vector<Found> junk;
    std::vector<std::string> folders;
    std::set<std::thread::id> threads;
    int pumps = 0;
    bool ok = false;

    void Attach(JunkSearch& s) {
        s.FoundJunkFile.Connect([this](const std::string& f, const std::string& n,
                                       const std::string& t, std::int32_t size, double total) {
            threads.insert(std::this_thread::get_id());
            junk.push_back({f, n, t, size, total});
        });
        s.FoundFile.Connect([this](const std::string& p, std::int32_t) {
            threads.insert(std::this_thread::get_id());
            folders.push_back(p);
        });
    }
};

// The searches below walk real folders.
Platform& Disk() {
    static LinuxPlatform disk{Target{}};
    return disk;
}

std::shared_ptr<JunkSearch> Prepared(
    const std::vector<std::pair<std::string, std::string>>& filters, Platform& platform = Disk()) {
    auto s = std::make_shared<JunkSearch>(platform);
    int i = 1;
    for (const auto& [pattern, tag] : filters) {
        s->Patterns().Add(pattern, std::to_string(i++));
        s->Tags().Add(tag);
    }
    s->SetRecordSeparator("#&&");
    s->SetFieldSeparator(";");
    s->PrepareFilters();
    return s;
}

// The generated benchmark tree with its hostile corner cases, built once.
class HostileTree : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        root_ = MakeTempDir("velloran-tree");
        std::string cmd = "python3 /work/shared/bench/make-tree.py '" + (root_ / "t").string() +
                          "' --files 3000 --hostile";
        FILE* p = popen(cmd.c_str(), "r");
        ASSERT_NE(p, nullptr);
        char line[512] = {};
        std::string out;
        while (fgets(line, sizeof line, p)) out += line;
        ASSERT_EQ(pclose(p), 0) << out;
        ASSERT_EQ(std::sscanf(out.c_str(), "files=%*d dirs=%*d junk=%ld junk_bytes=%ld", &junk_,
                              &junkBytes_),
                  2)
            << out;
    }
    static void TearDownTestSuite() {
        chmod((root_ / "t/hostile/locked").c_str(), 0700);
        std::error_code ec;
        fs::remove_all(root_, ec);
    }
    static inline fs::path root_;
    static inline long junk_ = 0, junkBytes_ = 0;
};

TEST_F(HostileTree, ListsExactlyTheMatchingRegularFiles) {
    auto s = Prepared({{"*.tmp", ""},
                       {"~*.*", ""},
                       {"*.bak", ""},
                       {"Thumbs.db", ""},
                       {"*.old", ""},
                       {"*.chk", ""},
                       {"*.gid", ""},
                       {"*.$$$", ""},
                       {"*~", ""}});
    Recorder r;
    r.Attach(*s);
    s->SetPump([&] { ++r.pumps; });
    s->SetThreads(2);
    std::string folder = (root_ / "t").string(), mask = "*.*";
    std::vector<std::string> found, unreadable;
    std::int32_t count = -1;
    ASSERT_TRUE(s->Search(folder, mask, found, unreadable, count));

    // The mode-0 folder is readable for root only; the generator does not count it.
    bool lockedReadable = access((root_ / "t/hostile/locked").c_str(), R_OK | X_OK) == 0;
    const long expected = junk_ + (lockedReadable ? 1 : 0);
    EXPECT_EQ(static_cast<long>(r.junk.size()), expected);
    EXPECT_EQ(count, expected);
    EXPECT_EQ(found.size(), r.junk.size());
    if (!lockedReadable) {
        EXPECT_EQ(unreadable.size(), 1u);
    }

    std::set<std::string> seen;
    double sum = 0;
    for (const Found& f : r.junk) {
        ASSERT_FALSE(f.folder.empty());
        EXPECT_EQ(f.folder.back(), '/');
        const std::string path = f.folder + f.name;
        EXPECT_TRUE(seen.insert(path).second) << "twice: " << path;
        struct stat st {};
        ASSERT_EQ(lstat(path.c_str(), &st), 0) << path;
        EXPECT_TRUE(S_ISREG(st.st_mode)) << path;
        EXPECT_EQ(f.size, st.st_size) << path;
        // Never below a link: the link's own name must not appear in the path.
        EXPECT_EQ(path.find("/loop/"), std::string::npos);
        EXPECT_EQ(path.find("/to-root/"), std::string::npos);
        EXPECT_EQ(path.find("/to-dir/"), std::string::npos);
        sum += f.size;
        EXPECT_DOUBLE_EQ(f.total, sum);  // a running total, in delivery order
    }
    EXPECT_EQ(sum, static_cast<double>(junkBytes_));
    EXPECT_DOUBLE_EQ(s->Total(), sum);
    const std::string h = (root_ / "t/hostile").string() + "/";
    for (const char* n : {"new\nline.tmp",
                          "bad\xff\xfe"
                          "bytes.tmp",
                          "with space.tmp", "-dash.tmp", "UPPER.TMP"})
        EXPECT_TRUE(seen.count(h + n)) << n;
    EXPECT_FALSE(seen.count(h + "outside.tmp"));  // a link to a file is not a file
    bool deep = false;
    for (const auto& p : seen) deep = deep || (p.size() > 3600 && p.ends_with("/deep.tmp"));
    EXPECT_TRUE(deep);

    // Everything arrived on this thread, while the pump was running.
    EXPECT_EQ(r.threads.size(), 1u);
    if (!r.threads.empty()) {
        EXPECT_EQ(*r.threads.begin(), std::this_thread::get_id());
    }
    EXPECT_FALSE(r.folders.empty());
    for (const auto& f : r.folders) EXPECT_EQ(f.back(), '/');

    // A second drive adds to the same running total; the mask narrows the search.
    Recorder r2;
    r2.Attach(*s);
    std::string hostile = (root_ / "t/hostile/").string(), upper = "*.TMP";
    found.clear();
    ASSERT_TRUE(s->Search(hostile, upper, found, unreadable, count));
    for (const Found& f : r2.junk)
        EXPECT_TRUE(f.name.ends_with(".tmp") || f.name.ends_with(".TMP")) << f.name;
    EXPECT_GT(r2.junk.size(), 5000u);
    EXPECT_DOUBLE_EQ(s->Total(), sum + 4.0 * 6);
}

TEST_F(HostileTree, CancelFromThePumpStopsAtOnce) {
    auto s = Prepared({{"*.*", ""}});
    Recorder r;
    r.Attach(*s);
    std::weak_ptr<JunkSearch> weak = s;
    bool cancelled = false;
    std::size_t atCancel = 0;
    JunkSearch* raw = s.get();
    // The Stop click: sets Cancel and drops the window's hold on the object.
    s->SetPump([&] {
        if (cancelled) return;
        cancelled = true;
        atCancel = r.junk.size();
        raw->SetCancel(true);
        s.reset();
    });
    EXPECT_FALSE(raw->Search((root_ / "t").string()));
    EXPECT_TRUE(cancelled);
    EXPECT_EQ(r.junk.size(), atCancel) << "no event after Cancel";
    EXPECT_TRUE(weak.expired());

    // While Cancel is set, a search does not even start; clearing it lets it run.
    auto s2 = Prepared({{"Thumbs.db", ""}});
    s2->SetCancel(true);
    Recorder r2;
    r2.Attach(*s2);
    EXPECT_FALSE(s2->Search((root_ / "t").string()));
    EXPECT_TRUE(r2.junk.empty());
    s2->SetCancel(false);
    EXPECT_TRUE(s2->Search((root_ / "t").string()));
    EXPECT_FALSE(r2.junk.empty());
}

TEST(JunkSearch, TagsRestrictPlacesAndNeverWidenAFilter) {
    fs::path root = MakeTempDir("velloran-places");
    WriteFile(root / "docs/report.log", 10);
    WriteFile(root / "docs/Temp/setup.log", 11);
    WriteFile(root / "var/scratch/deep/er/x.log", 12);
    WriteFile(root / "home/.cache/thumbnails/normal/a.png", 13);
    WriteFile(root / "home/pictures/thumbnails/b.png", 14);
    WriteFile(root / "home/pictures/c.png", 15);
    WriteFile(root / "docs/notes.bak", 16);
    WriteFile(root / "docs/data.sav", 17);
    WriteFile(root / "docs/keep.txt", 18);

    // The temporary folder that holds this test is itself named tmp: use other names.
    auto s = Prepared({{"*.log", "in:scratch,in:temp"},
                       {"*.png", "in:.cache/thumbnails"},
                       {"*.bak", "backup"},              // a label: anywhere
                       {"*.txt", "inside:docs"},         // not understood: nowhere
                       {"#&&*.sav", ""},                 // a directive, not a filter
                       {"nothing.here;*.sav", "two"}});  // several masks in one item
    Recorder r;
    r.Attach(*s);
    ASSERT_TRUE(s->Search(root.string()));
    std::map<std::string, std::string> got;
    for (const Found& f : r.junk) got[f.name] = f.tag;
    std::map<std::string, std::string> want = {{"setup.log", "in:scratch,in:temp"},
                                               {"x.log", "in:scratch,in:temp"},
                                               {"a.png", "in:.cache/thumbnails"},
                                               {"notes.bak", "backup"},
                                               {"data.sav", "two"}};
    EXPECT_EQ(got, want);

    // Bad arguments: more tags than patterns, a folder that is not there, a pseudo
    // file system, a nested call.
    auto bad = std::make_shared<JunkSearch>(Disk());
    bad->Tags().Add("x");
    EXPECT_THROW(bad->PrepareFilters(), VbError);
    try {
        s->Search((root / "missing").string());
        ADD_FAILURE();
    } catch (const VbError& e) {
        EXPECT_EQ(e.Number(), vbErrPathNotFound);
    }
    try {
        s->Search("/proc");
        ADD_FAILURE();
    } catch (const VbError& e) {
        EXPECT_EQ(e.Number(), vbErrPathFileAccess);
    }
    bool nestedRefused = false;
    s->FoundJunkFile.Connect(
        [&](const std::string&, const std::string&, const std::string&, std::int32_t, double) {
            try {
                s->Search(root.string());
            } catch (const VbError& e) {
                nestedRefused = e.Number() == vbErrInvalidCall;
            }
        });
    WriteFile(root / "more/f.bak", 1);
    s->Search(root.string());
    EXPECT_TRUE(nestedRefused);

    // Keys of the pattern collection are unique without regard to case.
    StringCollection c;
    c.Add("a", "K");
    EXPECT_THROW(c.Add("b", "k"), VbError);
    EXPECT_EQ(c.Item("k"), "a");
    EXPECT_THROW(c.Item(2), VbError);
    fs::remove_all(root);
}

// The walk is the platform's: what a fake platform lists is searched, and nothing
// of the disk is.
TEST(JunkSearch, WalksThroughThePlatform) {
    test::FakePlatform fake;
    fake.dirs = {"/drive"};
    fake.files = {"/drive/a.tmp", "/drive/keep.txt", "/drive/sub/b.tmp"};
    fake.texts["/drive/a.tmp"] = "12345";
    auto s = Prepared({{"*.tmp", "temp"}}, fake);
    std::string folder = "/drive", mask = "*.*";
    std::vector<std::string> found, unreadable;
    std::int32_t count = 0;
    EXPECT_TRUE(s->Search(folder, mask, found, unreadable, count));
    EXPECT_EQ(found, (std::vector<std::string>{"/drive/a.tmp", "/drive/sub/b.tmp"}));
    EXPECT_EQ(count, 2);
    EXPECT_TRUE(unreadable.empty());
}

TEST(JunkSearch, StaysOnItsFileSystem) {
    fs::path root = MakeTempDir("velloran-xdev");
    WriteFile(root / "here.tmp", 1);
    fs::create_directories(root / "mnt");
    if (mount("tmpfs", (root / "mnt").c_str(), "tmpfs", 0, "size=1m") != 0) {
        fs::remove_all(root);
        GTEST_SKIP() << "mounting a tmpfs is not allowed here";
    }
    WriteFile(root / "mnt/there.tmp", 1);
    auto s = Prepared({{"*.tmp", ""}});
    Recorder r;
    r.Attach(*s);
    ASSERT_TRUE(s->Search(root.string()));
    umount((root / "mnt").c_str());
    ASSERT_EQ(r.junk.size(), 1u);
    EXPECT_EQ(r.junk[0].name, "here.tmp");
    fs::remove_all(root);
}

TEST(JunkSearch, AFolderSwappedForRootsOwnLinkAfterTheScanIsNeverFollowed) {
    // Run as root, as people run cleaners: the link is root's, in root's folder.
    if (geteuid() != 0) GTEST_SKIP() << "the links of root's own folders need root";
    const fs::path tree = MakeTempDir("velloran-swap");
    ASSERT_EQ(chmod(tree.c_str(), 0755), 0);
    const fs::path drive = tree / "drive", outside = tree / "outside";
    WriteFile(drive / "sub" / "a.tmp", 10);
    WriteFile(outside / "a.tmp", 10);
    auto search = Prepared({{"*.tmp", ""}});
    std::string folder = drive.string(), mask = "*.*";
    std::vector<std::string> found, unreadable;
    std::int32_t count = 0;
    ASSERT_TRUE(search->Search(folder, mask, found, unreadable, count));
    ASSERT_EQ(found, std::vector<std::string>{(drive / "sub" / "a.tmp").string()});

    fs::rename(drive / "sub", drive / "was-sub");
    fs::create_directory_symlink(outside, drive / "sub");
    SecureDeleter deleter(Disk());
    EXPECT_THROW(deleter.DeleteZero(found[0]), VbError);
    EXPECT_THROW(deleter.DeletePlain(found[0], false), VbError);
    EXPECT_EQ(fs::file_size(outside / "a.tmp"), 10u);
    EXPECT_TRUE(fs::exists(drive / "was-sub" / "a.tmp"));
    fs::remove_all(tree);
}

TEST(JunkSearch, FilesThePackageManagerInstalledAreNeverJunk) {
    const fs::path tree = MakeTempDir("velloran-packages");
    WriteFile(tree / "usr" / "lib" / "libsoftokn3.chk", 10);
    WriteFile(tree / "usr" / "lib" / "stale.chk", 10);
    WriteFile(tree / "etc" / "xml" / "catalog.old", 10);
    WriteFile(tree / "home" / "notes.old", 10);
    test::FakePlatform platform;
    platform.realFiles = &Disk();
    platform.packageFiles = {(tree / "usr" / "lib" / "libsoftokn3.chk").string(),
                             (tree / "etc" / "xml" / "catalog.old").string()};
    auto search = Prepared({{"*.chk;*.old", ""}}, platform);
    Recorder r;
    r.Attach(*search);
    std::string folder = tree.string(), mask = "*.*";
    std::vector<std::string> found, unreadable;
    std::int32_t count = 0;
    ASSERT_TRUE(search->Search(folder, mask, found, unreadable, count));
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, (std::vector<std::string>{(tree / "home" / "notes.old").string(),
                                               (tree / "usr" / "lib" / "stale.chk").string()}));
    EXPECT_EQ(count, 2);
    EXPECT_EQ(r.junk.size(), 2u);
    EXPECT_EQ(search->PackageFilesSkipped(), 2);
    EXPECT_EQ(search->Total(), 20.0) << "skipped files count for nothing saved";

    // The system's own lists: dpkg's, the folders of /etc a package installed, and
    // the names of a merged /usr.
    fs::create_directories(tree / "info");
    std::ofstream(tree / "info" / "libnss3:amd64.list")
        << "/.\n/usr\n/usr/lib/x86_64-linux-gnu/libsoftokn3.chk\n/lib/legacy.chk\n";
    std::ofstream(tree / "info" / "xml-core.list") << "/etc\n/etc/xml\n/etc/xml/catalog\n";
    LinuxPlatform system{Target{}};
    system.packageLists = (tree / "info").string();
    EXPECT_TRUE(system.IsPackageFile("/usr/lib/x86_64-linux-gnu/libsoftokn3.chk"));
    EXPECT_TRUE(system.IsPackageFile("/usr/lib//x86_64-linux-gnu/libsoftokn3.chk"));
    EXPECT_FALSE(system.IsPackageFile("/usr/lib/x86_64-linux-gnu/other.chk"));
    EXPECT_TRUE(system.IsPackageFile("/etc/xml/catalog.old")) << "beside a package's files in /etc";
    EXPECT_FALSE(system.IsPackageFile("/etc/xml/sub/backup.old"));
    EXPECT_FALSE(system.IsPackageFile("/home/me/catalog.old"));
    std::error_code ec;
    if (fs::read_symlink("/lib", ec) == "usr/lib") {
        EXPECT_TRUE(system.IsPackageFile("/usr/lib/legacy.chk")) << "listed by its /lib name";
    }
    // A package installed later is seen at once.
    std::ofstream(tree / "info" / "new.list") << "/usr/share/new/data.old\n";
    fs::last_write_time(tree / "info",
                        fs::last_write_time(tree / "info") + std::chrono::seconds(1));
    EXPECT_TRUE(system.IsPackageFile("/usr/share/new/data.old"));
    fs::remove_all(tree);
}

}  // namespace
}  // namespace velloran
