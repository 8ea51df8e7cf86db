// The program-lists worker on the memory registry.
#include <gtest/gtest.h>

#include "traces/TracesFixture.hpp"
#include "traces/programs/ClsPrograms.hpp"

namespace velloran::test {

using ClsProgramsTest = TracesFixture;

TEST_F(ClsProgramsTest, ProgramListsAndOffice) {
    ClsPrograms p(app);
    Listen(p);
    Put("Software\\Nico Mak Computing\\WinZip\\filemenu", "filemenu1");
    p.CleanWinzipTracks();
    p.CleanFrontpage(0);
    p.CleanFrontpage(6);
    p.CleanMMConsole();
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "Programs|Cleared Winzip {extract to} history. (0 Found!)",
                         "Programs|Cleared Winzip {file} history. (1 Found!)",
                         "Programs|Cleared Winzip {selected folder} history. (0 Found!)",
                         "Programs|Cleaned Management console history (0)"}));

    lines.clear();
    for (const char* v : {"9.0", "10.0"})
        for (const char* n : {"File1", "File2", "File3"})
            Put(std::string("Software\\Microsoft\\Office\\") + v + "\\Excel\\Recent Files", n);
    const std::string access = "Software\\Microsoft\\Office\\8.0\\Access\\Settings";
    Put(access, "MRU1");
    Put(access, "mru2");
    Put(access, "Toolbars");
    const std::string word = "Software\\Microsoft\\Office\\10.0\\Word\\Data";
    Put(word, "Settings");
    Put(word, "Toolbars");
    p.CleanMicrosoftOffice(2);
    p.CleanMicrosoftOffice(1);
    p.CleanMicrosoftOffice(4);
    p.CleanMicrosoftOffice(5);
    EXPECT_EQ(lines, (std::vector<std::string>{"Programs|Erased Microsoft Excel history (6)",
                                               "Programs|Erased Microsoft Access history (2)",
                                               "Programs|Erased Microsoft Word history"}));
    EXPECT_EQ(registry.EnumerateValues(kHKeyCurrentUser, access).size(), 1u) << "Toolbars stays";
    EXPECT_EQ(registry.EnumerateValues(kHKeyCurrentUser, word).size(), 1u);
    EXPECT_TRUE(errors.empty());
}

}  // namespace velloran::test
