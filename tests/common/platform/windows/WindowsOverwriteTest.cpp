// Secure deletion on Windows: every pass reaches the file before the next, named
// streams are wiped with their file, a file with other hard links only loses this
// name, and links are refused.
#include <gtest/gtest.h>

#include "common/platform/windows/Win32.hpp"

#include <filesystem>
#include <fstream>
#include <vector>

#include "common/VbError.hpp"
#include "common/platform/Paths.hpp"
#include "common/platform/windows/WindowsPlatform.hpp"
#include "support/TestProcess.hpp"

namespace velloran::test {
namespace {

namespace fs = std::filesystem;

OverwritePass Pattern(unsigned char byte) {
    OverwritePass p;
    p.pattern[0] = byte;
    p.patternLength = 1;
    return p;
}

// The file's bytes as another reader sees them.
std::string Contents(const fs::path& file) {
    HANDLE h = CreateFileW(file.c_str(), GENERIC_READ,
                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                           OPEN_EXISTING, 0, nullptr);
    if (h == INVALID_HANDLE_VALUE) return "<unreadable>";
    std::string out;
    char buffer[65536];
    DWORD got = 0;
    while (ReadFile(h, buffer, sizeof buffer, &got, nullptr) && got > 0) out.append(buffer, got);
    CloseHandle(h);
    return out;
}

class WindowsOverwriteTest : public ::testing::Test {
protected:
    void SetUp() override { dir = MakeTempDir("velloran-wipe"); }
    void TearDown() override {
        std::error_code ec;
        fs::remove_all(dir, ec);
    }
    fs::path Write(const char* name, const std::string& text) {
        std::ofstream(dir / name, std::ios::binary) << text;
        return dir / name;
    }
    fs::path dir;
    WindowsPlatform platform;
};

TEST_F(WindowsOverwriteTest, EachPassReachesTheFileBeforeTheNextAndTheFileGoes) {
    const fs::path file = Write("secret.txt", std::string(10000, 's'));
    SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY);
    OverwriteJob job;
    job.path = Utf8FromPath(file);
    job.passes = {Pattern(0x00), Pattern(0xFF), Pattern(0x55)};
    std::vector<std::string> seen;
    job.afterPass = [&](int pass, int, std::uint64_t length) {
        // The file has been renamed by now only after the last pass: read it by
        // the name it still has.
        const std::string now = Contents(file);
        const char want =
            static_cast<char>(job.passes[static_cast<std::size_t>(pass - 1)].pattern[0]);
        EXPECT_GE(length, 10000u) << "the slack up to the cluster's end is overwritten too";
        EXPECT_EQ(now.find_first_not_of(want), std::string::npos) << "pass " << pass;
        seen.push_back(std::to_string(pass) + ":" + std::to_string(now.size()));
    };
    std::atomic<std::uint64_t> total{0}, done{0};
    job.total = &total;
    job.done = &done;
    std::vector<std::string> report;
    EXPECT_TRUE(platform.OverwriteAndRemove(job, report)) << report.front();
    EXPECT_EQ(seen.size(), 3u) << "every pass is seen once it is flushed";
    EXPECT_EQ(total.load(), done.load());
    EXPECT_FALSE(fs::exists(file));
    EXPECT_TRUE(fs::is_empty(dir)) << "no renamed copy is left";
    EXPECT_TRUE(report.empty()) << report.front();
}

TEST_F(WindowsOverwriteTest, NamedStreamsAreWipedWithTheirFile) {
    const fs::path file = Write("report.doc", "main data");
    // Wine's file systems keep no streams: this file stands for one.
    const fs::path streamData = Write("report.doc.zone", "ZoneId=3 from a download");
    std::vector<std::wstring> listed, opened;
    platform.streams.list = [&](const std::wstring& f) {
        listed.push_back(fs::path(f).filename());
        return std::vector<NamedStream>{{L":Zone.Identifier:$DATA", 24}};
    };
    platform.streams.open = [&](const std::wstring&, const NamedStream& s) {
        opened.push_back(s.name);
        return win::Handle(CreateFileW(streamData.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                       OPEN_EXISTING, 0, nullptr));
    };
    OverwriteJob job;
    job.path = Utf8FromPath(file);
    job.passes = {Pattern(0xAA)};
    std::vector<std::string> streamAfterPass;
    job.afterPass = [&](int, int, std::uint64_t) {
        streamAfterPass.push_back(Contents(streamData));
    };
    std::vector<std::string> report;
    EXPECT_TRUE(platform.OverwriteAndRemove(job, report));
    EXPECT_EQ(listed, std::vector<std::wstring>{L"report.doc"});
    EXPECT_EQ(opened, std::vector<std::wstring>{L":Zone.Identifier:$DATA"});
    ASSERT_EQ(streamAfterPass.size(), 1u);
    EXPECT_EQ(streamAfterPass[0], "") << "the stream was overwritten and emptied before the file";
    EXPECT_FALSE(fs::exists(file));

    // A stream that cannot be opened is named, and the wipe says it is incomplete.
    const fs::path other = Write("other.doc", "data");
    platform.streams.open = [](const std::wstring&, const NamedStream&) { return win::Handle(); };
    job.path = Utf8FromPath(other);
    job.afterPass = nullptr;
    report.clear();
    EXPECT_FALSE(platform.OverwriteAndRemove(job, report));
    ASSERT_EQ(report.size(), 1u);
    EXPECT_NE(report[0].find("other.doc:Zone.Identifier: the stream could not be opened"),
              std::string::npos)
        << report[0];
}

TEST_F(WindowsOverwriteTest, HardLinkedFilesOnlyLoseThisNameAndLinksAreRefused) {
    const fs::path file = Write("shared.txt", "shared data");
    ASSERT_TRUE(CreateHardLinkW((dir / "other-name.txt").c_str(), file.c_str(), nullptr));
    OverwriteJob job;
    job.path = Utf8FromPath(file);
    job.passes = {Pattern(0x00)};
    std::vector<std::string> report;
    EXPECT_FALSE(platform.OverwriteAndRemove(job, report));
    EXPECT_FALSE(fs::exists(file));
    EXPECT_EQ(Contents(dir / "other-name.txt"), "shared data") << "the other name keeps its data";
    ASSERT_EQ(report.size(), 1u);
    EXPECT_EQ(report[0], job.path + ": has 1 other hard link(s); its data was not overwritten");

    // A folder is no regular file: refused and named.
    fs::create_directory(dir / "folder");
    job.path = Utf8FromPath(dir / "folder");
    report.clear();
    EXPECT_THROW(platform.OverwriteAndRemove(job, report), VbError);
    EXPECT_EQ(report, std::vector<std::string>{job.path + ": not a regular file; refused"});
    EXPECT_TRUE(fs::exists(dir / "folder"));
}

// A batch writes pass k of every file, flushes them all, and only then starts
// pass k+1; a stop ends the batch with each unfinished file named.
TEST_F(WindowsOverwriteTest, ABatchFlushesEachPassOfEveryFileBeforeTheNext) {
    OverwriteBatch batch;
    std::vector<fs::path> files;
    for (const char* name : {"a.txt", "b.txt", "c.txt"}) {
        files.push_back(Write(name, std::string(5000, 'x')));
        OverwriteJob job;
        job.path = Utf8FromPath(files.back());
        job.passes = {Pattern(0x11), Pattern(0x22)};
        batch.jobs.push_back(job);
    }
    std::string order;
    batch.written = [&](int pass, const std::string& path) {
        order += "w" + std::to_string(pass) + PathFromUtf8(path).filename().string() + " ";
    };
    batch.durable = [&](int pass) {
        order += "d" + std::to_string(pass) + " ";
        for (const fs::path& f : files)
            EXPECT_EQ(Contents(f).find_first_not_of(pass == 1 ? '\x11' : '\x22'), std::string::npos)
                << f << " after pass " << pass;
    };
    std::atomic<std::uint64_t> total{0}, done{0};
    batch.total = &total;
    batch.done = &done;
    const auto results = platform.OverwriteAndRemoveBatch(batch);
    EXPECT_EQ(order, "w1a.txt w1b.txt w1c.txt d1 w2a.txt w2b.txt w2c.txt d2 ");
    ASSERT_EQ(results.size(), 3u);
    for (const OverwriteResult& r : results) {
        EXPECT_TRUE(r.complete);
        EXPECT_TRUE(r.report.empty()) << r.report.front();
    }
    EXPECT_EQ(total.load(), done.load());
    EXPECT_TRUE(fs::is_empty(dir)) << "every file and no renamed copy is gone";

    // Stopped while the first pass is being written: nothing reached the disk.
    files.clear();
    for (OverwriteJob& job : batch.jobs)
        files.push_back(Write(PathFromUtf8(job.path).filename().string().c_str(), "data"));
    std::atomic<bool> stop{false};
    batch.abort = &stop;
    batch.written = [&](int, const std::string&) { stop = true; };
    batch.durable = [&](int) { ADD_FAILURE() << "no pass is made durable after a stop"; };
    const auto stopped = platform.OverwriteAndRemoveBatch(batch);
    for (std::size_t i = 0; i < stopped.size(); ++i) {
        EXPECT_FALSE(stopped[i].complete);
        ASSERT_EQ(stopped[i].report.size(), 1u);
        EXPECT_EQ(stopped[i].report[0],
                  batch.jobs[i].path +
                      ": the wipe was stopped; 0 of 2 overwrite pass(es) reached the disk");
    }
    EXPECT_TRUE(fs::is_empty(dir)) << "a stopped batch still removes its files";
}

}  // namespace
}  // namespace velloran::test
