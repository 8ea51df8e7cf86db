#include "common/Text.hpp"

#include <gtest/gtest.h>

using namespace velloran;

using Fields = std::vector<std::string>;

TEST(Text, SplitKeepsEmptyFieldsAndWholeSeparators) {
    EXPECT_EQ(SplitFields("*.tmp;Temporary files;temp", ";"),
              (Fields{"*.tmp", "Temporary files", "temp"}));
    EXPECT_EQ(SplitFields("a;;b;", ";"), (Fields{"a", "", "b", ""}));
    EXPECT_EQ(SplitFields("", ";"), (Fields{""}));
    EXPECT_EQ(SplitFields("a||b|c", "||"), (Fields{"a", "b|c"}));
    EXPECT_EQ(SplitFields("a;b", ""), (Fields{"a;b"}));
}

TEST(Text, CaseFoldingTouchesOnlyAscii) {
    EXPECT_EQ(AsciiLower("OpWindow.EXE"), "opwindow.exe");
    EXPECT_EQ(AsciiUpper("mru\xc3\xa9"), "MRU\xc3\xa9");  // UTF-8 bytes pass through
    EXPECT_TRUE(EqualsIgnoringCase("Drive_C", "drive_c"));
    EXPECT_FALSE(EqualsIgnoringCase("drive_c", "drive_c "));
    EXPECT_EQ(Trimmed(" \t site.org\r ", " \t\r"), "site.org");
    EXPECT_EQ(Trimmed(" \t "), "");
}
