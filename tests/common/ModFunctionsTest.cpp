#include <gtest/gtest.h>

#include "common/ModFunctions.hpp"
#include "common/Vb.hpp"
#include "support/FakePlatform.hpp"

namespace velloran::test {

TEST(ModFunctions, SetBytesThresholdsAndRounding) {
    EXPECT_EQ(SetBytes(0.0), "0 Bytes");
    EXPECT_EQ(SetBytes(1023.0), "1023 Bytes");
    EXPECT_EQ(SetBytes(1024.0), "1.00 KB");
    EXPECT_EQ(SetBytes(1048575.0), "1024.00 KB");
    EXPECT_EQ(SetBytes(1048576.0), "1.00 MB");
    EXPECT_EQ(SetBytes(1073741824.0), "1.00 GB");
    EXPECT_EQ(SetBytes(1610612736.0), "1.50 GB");
    EXPECT_EQ(SetBytes("2048"), "2.00 KB");
    EXPECT_EQ(SetBytes("twelve"), "");
    EXPECT_EQ(SetBytes(""), "");
}

TEST(ModFunctions, WinVersionTableOrder) {
    auto code = [](unsigned major, unsigned minor, unsigned build, unsigned id) {
        return WinVersionCode(OsVersionInfo{major, minor, build, id, ""});
    };
    EXPECT_EQ(code(4, 10, 1998, 1), "98");
    EXPECT_EQ(code(4, 10, 0x04000000u | 2222, 1), "98se") << "only the low 16 bits count";
    EXPECT_EQ(code(4, 90, 3000, 1), "ME");
    EXPECT_EQ(code(4, 0, 950, 1), "95");
    EXPECT_EQ(code(4, 0, 1111, 1), "95B");
    EXPECT_EQ(code(4, 0, 1112, 1), "--");
    EXPECT_EQ(code(3, 51, 1057, 2), "NT3");
    EXPECT_EQ(code(4, 0, 1381, 2), "NT4");
    EXPECT_EQ(code(5, 0, 2195, 2), "2000");
    EXPECT_EQ(code(5, 1, 2600, 2), "2000") << "the 5.x row wins over the XP row";
    EXPECT_EQ(code(6, 0, 6000, 2), "--");
    EXPECT_EQ(code(5, 0, 2195, 3), "--");
    EXPECT_EQ(WinVersionCode(std::nullopt), "--");
}

TEST(ModFunctions, DiskFreeSpaceFromGeometryOrBytes) {
    EXPECT_DOUBLE_EQ(FreeBytesFromGeometry({8, 512, 1000, 5000}), 8.0 * 512 * 1000);
    // The cluster product is a signed 32-bit multiplication.
    try {
        FreeBytesFromGeometry({64, 512, 40000000, 40000000});
        FAIL() << "expected overflow";
    } catch (const VbError& e) {
        EXPECT_EQ(e.Number(), vbErrOverflow);
    }
    FakePlatform p;
    EXPECT_EQ(DiskFreeSpace(p, "/"), 0.0);
    p.disk = DiskSpace{std::nullopt, 5e12, 8e12};
    EXPECT_DOUBLE_EQ(DiskFreeSpace(p, "/"), 5e12);
    EXPECT_EQ(GetSpecialFolder(p, 545), "") << "545 means cookies (33), unknown here";
    EXPECT_EQ(GetSpecialFolder(p, CSIDL_WINDOWS), "/prefix/drive_c/windows");
}

TEST(Int16, OverflowRaisesError6) {
    Int16 n = 32766;
    n += 1;
    EXPECT_EQ(n, 32767);
    try {
        n += 1;
        FAIL();
    } catch (const VbError& e) {
        EXPECT_EQ(e.Number(), vbErrOverflow);
        EXPECT_EQ(e.Description(), "Overflow");
    }
}

}  // namespace velloran::test
