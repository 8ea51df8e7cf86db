#include "tools/junk/FilterCollection.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "common/VbError.hpp"
#include "support/FakePlatform.hpp"
#include "support/TestProcess.hpp"
#include "tools/junk/JunkSearch.hpp"

namespace velloran {
namespace {

namespace fs = std::filesystem;

TEST(FilterCollection, ReadsShippedThenUserLinesAndHonoursDrop) {
    fs::path dir =
        fs::temp_directory_path() / ("velloran-filters-" + std::to_string(test::ThisProcessId()));
    fs::create_directories(dir);
    std::ofstream(dir / "shipped.txt", std::ios::binary)
        << "# comment\r\n*.tmp;Temporary files;x\r\n\r\n*.OLD;Old;backup\n#&&version;1\n";
    std::ofstream(dir / "user.txt", std::ios::binary) << "#&&drop;*.old\n*.mine;Mine;\n";

    FilterCollection fc({dir / "shipped.txt", dir / "user.txt", dir / "absent.txt"});
    int populated = 0;
    fc.Populated.Connect([&] { ++populated; });
    EXPECT_EQ(fc.Populate(), 2);
    EXPECT_EQ(populated, 1);
    std::vector<std::string> lines;
    for (int i = 1; i <= fc.Lines().Count(); ++i) lines.push_back(fc.Lines().Item(i));
    std::vector<std::string> want = {"# comment",    "*.tmp;Temporary files;x", "",
                                     "#&&version;1", "#&&drop;*.old",           "*.mine;Mine;"};
    EXPECT_EQ(lines, want);

    // A missing first source is an error; a second Populate starts afresh.
    FilterCollection none({dir / "absent.txt"});
    try {
        none.Populate();
        ADD_FAILURE();
    } catch (const VbError& e) {
        EXPECT_EQ(e.Number(), vbErrFileNotFound);
    }
    EXPECT_EQ(fc.Populate(), 2);
    EXPECT_EQ(fc.Lines().Count(), 6);
    fs::remove_all(dir);
}

TEST(FilterCollection, ShippedFiltersAreWellFormedAndCompile) {
    FilterCollection fc({FilterCollection::ShippedFile()});
    ASSERT_GT(fc.Populate(), 20);
    test::FakePlatform platform;
    JunkSearch s(platform);
    int filters = 0;
    for (int i = 1; i <= fc.Lines().Count(); ++i) {
        const std::string& l = fc.Lines().Item(i);
        if (l.empty() || l[0] == '#') continue;
        // Three fields, a pattern and a description.
        std::size_t a = l.find(';'), b = l.find(';', a + 1);
        ASSERT_NE(b, std::string::npos) << l;
        EXPECT_EQ(l.find(';', b + 1), std::string::npos) << l;
        EXPECT_GT(a, 0u) << l;
        EXPECT_GT(b, a + 1) << l;
        std::string pattern = l.substr(0, a), tag = l.substr(b + 1);
        // Broad patterns must carry a place.
        if (pattern == "*" || pattern == "*.*" || pattern == "*.log" || pattern == "*.png") {
            EXPECT_NE(tag.find("in:"), std::string::npos) << l;
        }
        s.Patterns().Add(pattern, std::to_string(++filters));
        s.Tags().Add(tag);
    }
    EXPECT_NO_THROW(s.PrepareFilters());
}

}  // namespace
}  // namespace velloran
