#include "tools/eradicator/SecureDeleter.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <thread>

#include "common/VbError.hpp"
#include "common/platform/linux/LinuxPlatform.hpp"
#include "support/EnvGuard.hpp"
#include "support/Ext4Image.hpp"
#include "support/FakePlatform.hpp"
#include "support/TestProcess.hpp"

namespace velloran {
namespace {

namespace fs = std::filesystem;

// Secure deletion as it runs for real.
LinuxPlatform& Real() {
    static LinuxPlatform platform{Target{}};
    return platform;
}

using test::MakeTempDir;

void WriteFile(const fs::path& p, const std::string& data) {
    std::ofstream(p, std::ios::binary) << data;
}

std::vector<unsigned char> ReadFd(int fd, std::uint64_t length) {
    std::vector<unsigned char> v(length);
    EXPECT_EQ(pread(fd, v.data(), v.size(), 0), static_cast<ssize_t>(length));
    return v;
}

// What a pass wrote: a repeating pattern of 1 or 3 bytes, or random-looking data.
std::string Describe(const std::vector<unsigned char>& v) {
    for (std::size_t len : {1u, 3u}) {
        bool repeats = true;
        for (std::size_t i = len; i < v.size() && repeats; ++i) repeats = v[i] == v[i - len];
        if (repeats) {
            std::ostringstream o;
            o << std::hex;
            for (std::size_t i = 0; i < len; ++i) o << int(v[i]) << ' ';
            return o.str();
        }
    }
    std::set<unsigned char> distinct(v.begin(), v.end());
    return distinct.size() > 200 ? "random" : "other";
}

struct PassLog {
    std::vector<std::string> passes;
    std::vector<std::uint64_t> lengths;
    void Attach(SecureDeleter& d) {
        d.SetPassHook([this](int pass, int fd, std::uint64_t length) {
            EXPECT_EQ(pass, static_cast<int>(passes.size()) + 1);
            passes.push_back(Describe(ReadFd(fd, length)));
            lengths.push_back(length);
        });
    }
};

class SecureDeleterTest : public ::testing::Test {
protected:
    void SetUp() override { dir_ = MakeTempDir("velloran-erase"); }
    void TearDown() override { fs::remove_all(dir_); }
    std::string Make(const std::string& name, std::size_t size) {
        std::string data(size, 'M');
        WriteFile(dir_ / name, data);
        return (dir_ / name).string();
    }
    bool DirEmpty() const { return fs::is_empty(dir_); }
    fs::path dir_;
};

TEST_F(SecureDeleterTest, EachMethodWritesItsPassesToTheLastBlockAndLeavesNothing) {
    struct stat st {};
    ASSERT_EQ(stat(dir_.c_str(), &st), 0);
    const std::uint64_t size = 10000;
    const std::uint64_t rounded = (size + st.st_blksize - 1) / st.st_blksize * st.st_blksize;

    {
        SecureDeleter d(Real());
        PassLog log;
        log.Attach(d);
        std::vector<std::pair<double, double>> progress;
        std::set<std::thread::id> threads;
        d.DeleteProgress.Connect([&](const std::string& p, double total, double done) {
            EXPECT_EQ(p, (dir_ / "zero.tmp").string());
            threads.insert(std::this_thread::get_id());
            progress.emplace_back(total, done);
        });
        EXPECT_TRUE(d.DeleteZero(Make("zero.tmp", size)));
        EXPECT_EQ(log.passes, std::vector<std::string>{"0 "});
        EXPECT_EQ(log.lengths, std::vector<std::uint64_t>{rounded});
        EXPECT_TRUE(DirEmpty());
        EXPECT_TRUE(d.Report().empty());
        ASSERT_FALSE(progress.empty());
        EXPECT_EQ(progress.back(), std::make_pair(double(rounded), double(rounded)));
        EXPECT_EQ(threads, std::set<std::thread::id>{std::this_thread::get_id()});
    }
    {
        SecureDeleter d(Real());
        PassLog log;
        log.Attach(d);
        EXPECT_TRUE(d.DeleteZapper(Make("zap.tmp", size)));
        EXPECT_EQ(log.passes, (std::vector<std::string>{"0 ", "ff ", "random"}));
        EXPECT_TRUE(DirEmpty());
    }
    {
        SecureDeleter d(Real());
        PassLog log;
        log.Attach(d);
        EXPECT_TRUE(d.DeleteGutmann(Make("gut.tmp", size)));
        ASSERT_EQ(log.passes.size(), 35u);
        for (int i : {0, 1, 2, 3, 31, 32, 33, 34}) EXPECT_EQ(log.passes[i], "random") << i;
        std::multiset<std::string> fixed(log.passes.begin() + 4, log.passes.begin() + 31), want;
        for (const auto& p : SecureDeleter::GutmannPatterns()) {
            std::vector<unsigned char> v(30);
            for (std::size_t i = 0; i < v.size(); ++i) v[i] = p.pattern[i % p.patternLength];
            want.insert(Describe(v));
        }
        EXPECT_EQ(fixed, want);
        EXPECT_EQ(want.size(), 27u);
        EXPECT_TRUE(DirEmpty());
    }
    {
        // An empty file has nothing to overwrite but still goes.
        SecureDeleter d(Real());
        EXPECT_TRUE(d.DeleteZapper(Make("empty.tmp", 0)));
        EXPECT_TRUE(DirEmpty());
    }
}

TEST_F(SecureDeleterTest, RefusesWhatIsNotARegularFileAndSparesOtherNames) {
    SecureDeleter d(Real());
    std::string target = Make("target.txt", 100);
    fs::create_symlink(target, dir_ / "link.tmp");
    mkfifo((dir_ / "fifo.tmp").c_str(), 0600);
    fs::create_directory(dir_ / "folder.tmp");
    auto number = [&](auto&& f) {
        try {
            f();
        } catch (const VbError& e) {
            return e.Number();
        }
        return 0;
    };
    EXPECT_EQ(number([&] { d.DeleteZero((dir_ / "link.tmp").string()); }), 75);
    EXPECT_EQ(number([&] { d.DeleteGutmann((dir_ / "fifo.tmp").string()); }), 75);
    EXPECT_FALSE(d.Report().empty());
    EXPECT_EQ(number([&] { d.DeleteZapper((dir_ / "folder.tmp").string()); }), 75);
    EXPECT_EQ(number([&] { d.DeleteZero((dir_ / "missing.tmp").string()); }), vbErrFileNotFound);
    EXPECT_EQ(number([&] { d.DeletePlain((dir_ / "missing.tmp").string(), false); }),
              vbErrFileNotFound);
    EXPECT_EQ(number([&] { d.DeletePlain((dir_ / "folder.tmp").string(), false); }), 75);
    EXPECT_EQ(fs::file_size(target), 100u);
    EXPECT_TRUE(fs::exists(dir_ / "fifo.tmp"));

    // Plain deletion of a link removes the link, not what it points to.
    EXPECT_TRUE(d.DeletePlain((dir_ / "link.tmp").string(), false));
    EXPECT_FALSE(fs::is_symlink(dir_ / "link.tmp"));
    EXPECT_EQ(fs::file_size(target), 100u);

    // A second name for the same data keeps its data; only this name goes.
    fs::create_hard_link(target, dir_ / "other.txt");
    EXPECT_FALSE(d.DeleteZero(target));
    EXPECT_FALSE(fs::exists(target));
    EXPECT_EQ(fs::file_size(dir_ / "other.txt"), 100u);
    ASSERT_EQ(d.Report().size(), 1u);
    EXPECT_NE(d.Report()[0].find("hard link"), std::string::npos);
}

TEST_F(SecureDeleterTest, AbortStopsBetweenPassesAndStillRemovesTheFile) {
    SecureDeleter d(Real());
    int passes = 0;
    d.SetPassHook([&](int, int, std::uint64_t) {
        ++passes;
        d.SetAbortDelete(true);
    });
    EXPECT_FALSE(d.DeleteGutmann(Make("big.tmp", 1 << 20)));
    EXPECT_EQ(passes, 1);
    EXPECT_TRUE(DirEmpty());
    EXPECT_TRUE(d.AbortDelete());

    // The pump runs while a deletion waits: a Stop click there is honoured.
    SecureDeleter d2(Real());
    int pumps = 0;
    d2.SetPump([&] {
        ++pumps;
        d2.SetAbortDelete(true);
    });
    std::string big = Make("bigger.tmp", 64 << 20);
    bool complete = d2.DeleteGutmann(big);
    // Either the pump ran and aborted it, or the disk was faster than one pump.
    EXPECT_EQ(complete, pumps == 0);
    EXPECT_TRUE(DirEmpty());
}

TEST_F(SecureDeleterTest, ASparseFileIsOverwrittenWhereItHoldsData) {
    // 256 MB on paper, two blocks of data: overwriting the holes would only fill
    // the disk.
    const fs::path path = dir_ / "sparse.img";
    const std::uint64_t far = 128u << 20;
    {
        const int fd = open(path.c_str(), O_WRONLY | O_CREAT, 0600);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(ftruncate(fd, 256 << 20), 0);
        const std::string data(4096, 'S');
        ASSERT_EQ(pwrite(fd, data.data(), data.size(), 0), 4096);
        ASSERT_EQ(pwrite(fd, data.data(), data.size(), static_cast<off_t>(far)), 4096);
        fsync(fd);
        close(fd);
    }
    struct stat st {};
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    const auto allocated = static_cast<std::uint64_t>(st.st_blocks) * 512;
    SecureDeleter d(Real());
    std::vector<std::string> passes;
    d.SetPassHook([&](int, int fd, std::uint64_t) {
        struct stat now {};
        fstat(fd, &now);
        EXPECT_EQ(static_cast<std::uint64_t>(now.st_blocks) * 512, allocated)
            << "holes were written";
        std::vector<unsigned char> block(4096);
        EXPECT_EQ(pread(fd, block.data(), block.size(), static_cast<off_t>(far)), 4096);
        passes.push_back(Describe(block));
    });
    double total = 0;
    d.DeleteProgress.Connect([&](const std::string&, double t, double) { total = t; });
    EXPECT_TRUE(d.DeleteZapper(path.string()));
    EXPECT_EQ(passes, (std::vector<std::string>{"0 ", "ff ", "random"}));
    EXPECT_EQ(total, static_cast<double>(allocated * 4)) << "three passes and the read-back";
    EXPECT_TRUE(d.Report().empty());
    EXPECT_TRUE(DirEmpty());
}

TEST_F(SecureDeleterTest, DataAppendedDuringTheWipeIsOverwrittenAndAGrowingFileNamed) {
    const std::string appended(8192, 'A');
    auto append = [&](const std::string& path) {
        const int fd = open(path.c_str(), O_WRONLY | O_APPEND);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(write(fd, appended.data(), appended.size()),
                  static_cast<ssize_t>(appended.size()));
        close(fd);
    };
    {
        // Another program appends once while the first pass runs.
        const std::string path = Make("log.txt", 10000);
        SecureDeleter d(Real());
        PassLog log;
        d.SetPassHook([&](int pass, int fd, std::uint64_t length) {
            log.passes.push_back(Describe(ReadFd(fd, length)));
            log.lengths.push_back(length);
            if (pass == 1) append(path);
        });
        EXPECT_TRUE(d.DeleteZero(path));
        ASSERT_EQ(log.passes, (std::vector<std::string>{"0 ", "0 "}))
            << "the appended data had its own pass";
        EXPECT_GE(log.lengths[1], 10000u + appended.size());
        EXPECT_TRUE(d.Report().empty());
        EXPECT_TRUE(DirEmpty());
    }
    {
        // One that never stops is named, and the wipe is not reported whole.
        const std::string path = Make("busy.txt", 10000);
        SecureDeleter d(Real());
        int passes = 0;
        d.SetPassHook([&](int, int, std::uint64_t) {
            ++passes;
            append(path);
        });
        EXPECT_FALSE(d.DeleteZero(path));
        EXPECT_EQ(passes, 4);
        ASSERT_EQ(d.Report().size(), 1u);
        EXPECT_NE(d.Report()[0].find("kept growing while it was overwritten"), std::string::npos)
            << d.Report()[0];
        EXPECT_TRUE(DirEmpty());
    }
}

TEST_F(SecureDeleterTest, PlainDeletionToTheRecycleBinUsesTheHomeTrash) {
    test::EnvGuard env;
    env.Set("XDG_DATA_HOME", (dir_ / "data").c_str());
    fs::create_directories(dir_ / "data");
    SecureDeleter d(Real());
    std::string path = Make("recycle me.tmp", 10);
    EXPECT_TRUE(d.DeletePlain(path, true));
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(fs::file_size(dir_ / "data/Trash/files/recycle me.tmp"), 10u);
    std::ifstream in(dir_ / "data/Trash/info/recycle me.tmp.trashinfo");
    std::string first, second;
    std::getline(in, first);
    std::getline(in, second);
    EXPECT_EQ(first, "[Trash Info]");
    EXPECT_EQ(second, "Path=" + dir_.string() + "/recycle%20me.tmp");
}

// The order of a batch's steps as the recording platform saw them: for each pass,
// which files were written before its sync, and whether any file's next pass
// started before that sync.
struct BatchOrder {
    std::map<int, std::set<std::string>> writtenBeforeSync;
    std::vector<int> syncs;
    bool nextPassBeforeSync = false;
    explicit BatchOrder(const std::vector<std::string>& steps) {
        std::set<int> synced;
        for (const std::string& step : steps) {
            std::istringstream in(step);
            std::string what;
            int pass = 0;
            in >> what >> pass;
            if (what == "sync") {
                syncs.push_back(pass);
                synced.insert(pass);
                continue;
            }
            std::string path;
            std::getline(in >> std::ws, path);
            if (pass > 1 && !synced.count(pass - 1)) nextPassBeforeSync = true;
            if (!synced.count(pass)) writtenBeforeSync[pass].insert(path);
        }
    }
};

TEST_F(SecureDeleterTest, ABatchPutsEachPassOfEveryFileOnTheDiskBeforeTheNextPass) {
    test::FakePlatform recording;
    recording.realFiles = &Real();
    SecureDeleter d(recording);
    d.SetBatching(true);
    fs::create_directories(dir_ / "sub");
    std::set<std::string> paths;
    for (const char* name : {"one.doc", "two.doc", "sub/three.doc"}) paths.insert(Make(name, 5000));
    paths.insert(Make("big.bin", 9 << 20));  // more than one chunk
    // Many names of one length in one folder: more than one character repeated
    // can hide at once.
    std::set<std::string> same;
    for (int i = 0; i < 50; ++i) {
        char name[16];
        std::snprintf(name, sizeof name, "f%02d.tmp", i);
        same.insert(Make(std::string("sub/") + name, 100));
    }
    std::ofstream(dir_ / "keep.txt") << "other name";
    fs::create_hard_link(dir_ / "keep.txt", dir_ / "linked.txt");
    for (const std::string& p : paths) {
        EXPECT_TRUE(d.DeleteZapper(p));
        EXPECT_TRUE(fs::exists(p)) << "only queued";
    }
    for (const std::string& p : same) EXPECT_TRUE(d.DeleteZapper(p));
    EXPECT_TRUE(d.DeleteZapper((dir_ / "linked.txt").string()));
    EXPECT_TRUE(d.DeleteZapper((dir_ / "missing.doc").string()));
    EXPECT_TRUE(recording.passes.empty());

    std::vector<int> durable;
    d.SetBatchHooks({}, [&](int pass) { durable.push_back(pass); });
    d.FinishBatch();

    BatchOrder order(recording.passes);
    EXPECT_FALSE(order.nextPassBeforeSync);
    EXPECT_EQ(order.syncs, (std::vector<int>{1, 2, 3}));
    std::set<std::string> all = paths;
    all.insert(same.begin(), same.end());
    for (int pass = 1; pass <= 3; ++pass) EXPECT_EQ(order.writtenBeforeSync[pass], all) << pass;
    EXPECT_EQ(durable, (std::vector<int>{1, 2, 3}));
    for (const std::string& p : all) EXPECT_FALSE(fs::exists(p)) << p;
    EXPECT_EQ(fs::file_size(dir_ / "keep.txt"), 10u) << "another name's data is kept";
    EXPECT_FALSE(fs::exists(dir_ / "linked.txt"));
    EXPECT_TRUE(fs::is_empty(dir_ / "sub"));

    // The hard link and the missing file are named; nothing else is.
    const std::vector<SecureDeleter::Left> left = d.TakeBatchReport();
    ASSERT_EQ(left.size(), 2u);
    EXPECT_EQ(left[0].path, (dir_ / "linked.txt").string());
    EXPECT_NE(left[0].line.find("has 1 other hard link(s)"), std::string::npos) << left[0].line;
    EXPECT_FALSE(left[0].error);
    EXPECT_EQ(left[1].path, (dir_ / "missing.doc").string());
    EXPECT_TRUE(left[1].error);
    EXPECT_TRUE(d.TakeBatchReport().empty());
}

TEST_F(SecureDeleterTest, EachFileOfABatchGetsItsOwnPassesAndAFullQueueIsWipedAtOnce) {
    SecureDeleter d(Real());
    d.SetBatching(true);
    std::map<int, std::vector<std::string>> contents;  // pass -> what the files hold
    d.SetPassHook([&](int pass, int fd, std::uint64_t length) {
        contents[pass].push_back(Describe(ReadFd(fd, length)));
    });
    const std::string small = Make("small.doc", 3000);
    EXPECT_TRUE(d.DeleteZero(small));
    EXPECT_TRUE(fs::exists(small));
    // A large file fills the queue: the batch runs within the call.
    const std::string large = Make("large.doc", 65 << 20);
    EXPECT_TRUE(d.DeleteZapper(large));
    EXPECT_FALSE(fs::exists(small));
    EXPECT_FALSE(fs::exists(large));
    EXPECT_TRUE(d.TakeBatchReport().empty());
    EXPECT_EQ(contents[1], (std::vector<std::string>{"0 ", "0 "}));
    EXPECT_EQ(contents[2], std::vector<std::string>{"ff "});
    EXPECT_EQ(contents[3], std::vector<std::string>{"random"});
}

TEST_F(SecureDeleterTest, AStopMidBatchEndsItRemovesItsFilesAndNamesThem) {
    test::FakePlatform recording;
    recording.realFiles = &Real();
    SecureDeleter d(recording);
    d.SetBatching(true);
    std::vector<std::string> paths;
    for (const char* name : {"a.doc", "b.doc", "c.doc"}) paths.push_back(Make(name, 8192));
    for (const std::string& p : paths) d.DeleteGutmann(p);
    d.SetBatchHooks({}, [&](int pass) {
        if (pass == 2) d.SetAbortDelete(true);
    });
    d.FinishBatch();
    EXPECT_TRUE(DirEmpty()) << "a stopped wipe still removes what it damaged";
    BatchOrder order(recording.passes);
    EXPECT_EQ(order.syncs, (std::vector<int>{1, 2}));
    EXPECT_TRUE(order.writtenBeforeSync[3].empty());
    const std::vector<SecureDeleter::Left> left = d.TakeBatchReport();
    ASSERT_EQ(left.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(left[i].path, paths[i]);
        EXPECT_EQ(left[i].line,
                  paths[i] + ": the wipe was stopped; 2 of 35 overwrite pass(es) reached the disk");
    }
}

// Proof on a real disk: after each method, the image holds no trace of the data.
TEST(SecureDeleterOnDisk, LeavesNoMarkerInAnExt4Image) {
    test::Ext4Image disk;
    if (!disk.Usable()) GTEST_SKIP() << "mkfs.ext4 or loop mounts are not available here";
    const std::vector<std::string> methods = {
        "plain", "zero", "zapper", "gutmann", "batch-zero", "batch-zapper", "batch-gutmann"};
    for (const std::string& m : methods) {
        std::string marker = "VELLORAN-MARKER-" + m + "-7f3a";
        std::string data;
        while (data.size() < 100000) data += marker;
        std::string path = (disk.Root() / (m + ".doc")).string();
        int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(write(fd, data.data(), data.size()), static_cast<ssize_t>(data.size()));
        fsync(fd);
        close(fd);
    }
    ASSERT_TRUE(disk.Unmount());
    for (const std::string& m : methods) EXPECT_TRUE(disk.Holds("VELLORAN-MARKER-" + m)) << m;
    ASSERT_TRUE(disk.Mount());
    SecureDeleter d(Real());
    EXPECT_TRUE(d.DeletePlain((disk.Root() / "plain.doc").string(), false));
    EXPECT_TRUE(d.DeleteZero((disk.Root() / "zero.doc").string()));
    EXPECT_TRUE(d.DeleteZapper((disk.Root() / "zapper.doc").string()));
    EXPECT_TRUE(d.DeleteGutmann((disk.Root() / "gutmann.doc").string()));
    EXPECT_TRUE(d.Report().empty());
    SecureDeleter batch(Real());
    batch.SetBatching(true);
    batch.DeleteZero((disk.Root() / "batch-zero.doc").string());
    batch.DeleteZapper((disk.Root() / "batch-zapper.doc").string());
    batch.DeleteGutmann((disk.Root() / "batch-gutmann.doc").string());
    batch.FinishBatch();
    EXPECT_TRUE(batch.TakeBatchReport().empty());
    ASSERT_TRUE(disk.Unmount());
    // Plain deletion leaves the data on the disk: the check can see a marker.
    EXPECT_TRUE(disk.Holds("VELLORAN-MARKER-plain"));
    for (const char* m :
         {"zero", "zapper", "gutmann", "batch-zero", "batch-zapper", "batch-gutmann"})
        EXPECT_FALSE(disk.Holds("VELLORAN-MARKER-" + std::string(m))) << m;
}

}  // namespace
}  // namespace velloran
