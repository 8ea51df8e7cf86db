// The Windows trace worker on the memory registry and the fake platform.
#include <gtest/gtest.h>

#include "traces/TracesFixture.hpp"
#include "traces/windows/ClsWindows.hpp"

namespace velloran::test {

using ClsWindowsTest = TracesFixture;

TEST_F(ClsWindowsTest, ListProcedureKeepsDefaultAndKeyAndCountsAcrossLists) {
    Put(std::string(kExplorer) + "\\RunMRU", "", "default stays");
    Put(std::string(kExplorer) + "\\RunMRU", "a", "notepad");
    Put(std::string(kExplorer) + "\\RunMRU", "b", "cmd");
    Put(std::string(kExplorer) + "\\RunMRU", "MRUList", "ba");
    registry.WriteValue(kHKeyCurrentUser, kExplorer, "Unrelated", RegValue::Dword(7));
    ClsWindows w(app);
    Listen(w);
    Int16 found = 99;
    EXPECT_TRUE(w.CleanRunHistory(found));
    EXPECT_EQ(found, 3);
    EXPECT_EQ(
        lines,
        (std::vector<std::string>{"Windows|Cleared Windows {run dialog} history. (3 Found!)"}));
    auto left = registry.EnumerateValues(kHKeyCurrentUser, std::string(kExplorer) + "\\RunMRU");
    ASSERT_EQ(left.size(), 1u);
    EXPECT_TRUE(left[0].IsDefault());
    EXPECT_TRUE(registry.ReadValue(kHKeyCurrentUser, kExplorer, "Unrelated").has_value());

    // Three lists where only the second exists; a missing list counts 0 but still reports.
    lines.clear();
    Put("Software\\Microsoft\\Internet Explorer\\Explorer Bars\\"
        "{C4EE31F3-4768-11D2-BE5C-00A0C9A83DA1}\\ContainingTextMRU",
        "a");
    EXPECT_TRUE(w.CleanExFindFilesHistory(found));
    EXPECT_EQ(found, 1);
    EXPECT_TRUE(w.CleanPrinterHistory(found));
    EXPECT_EQ(found, 0);
    EXPECT_EQ(lines.back(), "Windows|Cleared Windows {find printer} history. (0 Found!)");
}

TEST_F(ClsWindowsTest, OpenSaveListLosesValuesAndSubkeysOthersOnlyValues) {
    const std::string openSave = std::string(kComDlg) + "\\OpenSaveMRU";
    Put(openSave, "a");
    Put(openSave, "MRUList");
    for (const char* ext : {"txt", "doc", "*"}) Put(openSave + "\\" + ext, "a");
    Put("Software\\Microsoft\\Search Assistant\\ACMru", "1");
    Put("Software\\Microsoft\\Search Assistant\\ACMru\\5603", "000");
    ClsWindows w(app);
    Listen(w);
    Int16 found;
    EXPECT_TRUE(w.CleanCmdlogOpenSaveList(found));
    EXPECT_EQ(found, 5);
    EXPECT_TRUE(registry.EnumerateKeys(kHKeyCurrentUser, openSave).empty());
    EXPECT_TRUE(registry.KeyExists(kHKeyCurrentUser, openSave));
    EXPECT_TRUE(w.CleanFindFilesHistory(found));
    EXPECT_EQ(found, 1);
    EXPECT_TRUE(
        registry.KeyExists(kHKeyCurrentUser, "Software\\Microsoft\\Search Assistant\\ACMru\\5603"));
}

TEST_F(ClsWindowsTest, CancelAndOverflowPaths) {
    const std::string run = std::string(kExplorer) + "\\RunMRU";
    Put(run, "a");
    Put(run, "b");
    ClsWindows w(app);
    Listen(w);
    w.Cancel = vbTrue;
    Int16 found = 42;
    EXPECT_FALSE(w.CleanRunHistory(found));
    EXPECT_EQ(found, 42) << "a cancelled task leaves Found alone";
    EXPECT_TRUE(lines.empty());
    EXPECT_EQ(registry.EnumerateValues(kHKeyCurrentUser, run).size(), 2u) << "nothing deleted";
    EXPECT_TRUE(w.CleanDesktopStreamHistory(found)) << "a missing list ends normally";
    EXPECT_FALSE(w.EmptyRecycleBin(main(), true));
    EXPECT_TRUE(platform.calls.empty());

    w.Cancel = vbFalse;
    for (int i = 0; i < 32768; ++i) Put(std::string(kExplorer) + "\\StreamMRU", std::to_string(i));
    lines.clear();
    EXPECT_FALSE(w.CleanRegistryStreams(found));
    EXPECT_EQ(found, 0);
    EXPECT_EQ(
        lines,
        (std::vector<std::string>{"Windows|Failed: Clear Windows {registry streams} history."}));
    EXPECT_EQ(errors, (std::vector<std::string>{"6|ClsWindows:CleanRegistryStreams"}));
}

TEST_F(ClsWindowsTest, SystemTraces) {
    ClsWindows w(app);
    Listen(w);
    EXPECT_TRUE(w.CleanClipBoard());
    EXPECT_TRUE(w.EmptyRecycleBin(main(), true));
    EXPECT_TRUE(w.EmptyRecycleBin(main(), false));
    EXPECT_TRUE(w.CleanRecentDocList());
    EXPECT_EQ(platform.calls, (std::vector<std::string>{
                                  "EmptyClipboard", "EmptyRecycleBin:7", "UpdateRecycleBinIcon",
                                  "EmptyRecycleBin:0", "UpdateRecycleBinIcon", "ClearRecentDocs"}));

    // Page file: the short message without the key, the paging files with it; the flag is text.
    const std::string mm = "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Memory Management";
    EXPECT_TRUE(w.ClearPageFile());
    registry.WriteValue(kHKeyLocalMachine, mm, "PagingFiles", RegValue::MultiString({}));
    EXPECT_TRUE(w.ClearPageFile());
    registry.WriteValue(kHKeyLocalMachine, mm, "PagingFiles",
                        RegValue::MultiString({"C:\\pagefile.sys 0 0", "D:\\pagefile.sys"}));
    EXPECT_TRUE(w.ClearPageFile());
    EXPECT_EQ(lines,
              (std::vector<std::string>{"Windows|Cleared Windows {Clipboard}.",
                                        "Windows|Emptied Windows {recycle bin} file.",
                                        "Windows|Emptied Windows {recycle bin} file.",
                                        "Windows|Cleared Windows {recent document} history.",
                                        "Windows|Page/SWAP File will be cleared on restart.",
                                        "Windows|Page/SWAP File will be cleared on restart. () ",
                                        "Windows|Page/SWAP File will be cleared on restart. "
                                        "(C:\\pagefile.sys 0 0 D:\\pagefile.sys) "}));
    auto flag = registry.ReadValue(kHKeyLocalMachine, mm, "clearpagefileatshutdown");
    ASSERT_TRUE(flag);
    EXPECT_EQ(flag->type, kRegSz);
    EXPECT_EQ(flag->AsString(), "1");

    // The Explorer list of recent documents goes with its per-extension lists; the
    // rest of Explorer stays.
    const std::string docs = std::string(kExplorer) + "\\RecentDocs";
    Put(docs, "0");
    Put(docs, "1");
    Put(docs + "\\.txt", "0");
    lines.clear();
    EXPECT_TRUE(w.CleanRecentDocList());
    EXPECT_FALSE(registry.KeyExists(kHKeyCurrentUser, docs));
    EXPECT_TRUE(registry.KeyExists(kHKeyCurrentUser, kExplorer));
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "Windows|Cleared Windows {recent document} history.",
                         "Windows|Removed the Explorer list of recent documents (3 entries)."}));
}

TEST_F(ClsWindowsTest, WhatTheDesktopLeftIsToldAndCounted) {
    ClsWindows w(app);
    Listen(w);
    platform.trashLeftovers = {"/t/files/box/home: another file system is mounted here"};
    platform.recentLeftovers = {"/h/recently-used.xbel: a link, not a file; left as it is"};
    EXPECT_TRUE(w.EmptyRecycleBin(main(), true));
    EXPECT_TRUE(w.CleanRecentDocList());
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "Windows|Emptied Windows {recycle bin} file.",
                         "Windows|Not removed: /t/files/box/home: another file system is "
                         "mounted here",
                         "Windows|Cleared Windows {recent document} history.",
                         "Windows|Not removed: /h/recently-used.xbel: a link, not a file; left "
                         "as it is"}));
    EXPECT_EQ(w.TakeOutcome().failed.size(), 2u);
}

}  // namespace velloran::test
