// Whole-file reads and atomic writes of files as large as a big user.reg, where
// the read is split between two threads and the write goes out in pieces.
#include "common/platform/FileIO.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "support/TestProcess.hpp"

namespace velloran {
namespace {

namespace fs = std::filesystem;

// Every 4-byte word names its own offset, so a piece read into the wrong place,
// twice or not at all shows.
std::string Numbered(size_t size) {
    std::string out(size, '\0');
    for (size_t i = 0; i < size; ++i) out[i] = static_cast<char>((i >> (8 * (i % 4))) & 0xFF);
    return out;
}

TEST(FileIO, LargeFilesAreReadAndWrittenWhole) {
    const fs::path dir = test::MakeTempDir("velloran-fileio");
    struct Cleanup {
        fs::path path;
        ~Cleanup() { fs::remove_all(path); }
    } cleanup{dir};

    for (size_t size : {size_t{0}, size_t{5}, (size_t{20} << 20) + 3}) {
        const std::string text = Numbered(size);
        std::ofstream(dir / "in.bin", std::ios::binary) << text;
        std::string back = "stale";
        ASSERT_TRUE(ReadWholeFile(dir / "in.bin", back));
        EXPECT_TRUE(back == text) << "size " << size;
    }
    std::string none;
    EXPECT_FALSE(ReadWholeFile(dir / "missing.bin", none));

    // Pieces of every size, some larger than a write step, end up in order; the
    // replaced file keeps its mode (as far as the system has modes).
    const std::string big = Numbered((size_t{19} << 20) + 11);
    const std::string_view all = big;
    std::ofstream(dir / "out.bin") << "old";
    fs::permissions(dir / "out.bin", fs::perms::owner_read | fs::perms::owner_write);
    const fs::perms mode = fs::status(dir / "out.bin").permissions();
    WriteFileAtomically(dir / "out.bin", {all.substr(0, 7),
                                          all.substr(7, 9u << 20),
                                          all.substr(7 + (9u << 20), 1),
                                          {},
                                          all.substr(8 + (9u << 20))});
    std::string written;
    ASSERT_TRUE(ReadWholeFile(dir / "out.bin", written));
    EXPECT_TRUE(written == big) << written.size() << " bytes";
    EXPECT_EQ(fs::status(dir / "out.bin").permissions(), mode);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator{}), 2)
        << "no temporary file is left";
}

}  // namespace
}  // namespace velloran
