#include <gtest/gtest.h>

#include "cleaning/ClsClean.hpp"
#include "cleaning/FrmCleaner.hpp"
#include "support/AppFixture.hpp"
#include "traces/programs/ClsPrograms.hpp"
#include "traces/windows/ClsWindows.hpp"

namespace velloran::test {

namespace {
constexpr const char* kExplorer = "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer";
constexpr const char* kComDlg = "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ComDlg32";
}  // namespace

class TracesTest : public AppFixture {
protected:
    void SetUp() override { LoadMain(); }
    void Put(const std::string& key, const std::string& name, const std::string& data = "x") {
        registry.WriteValue(kHKeyCurrentUser, key, name, RegValue::String(data));
    }
    template <class W>
    void Listen(W& w) {
        w.OnProgress = [this](const std::string& area, const std::string& text) {
            lines.push_back(area + "|" + text);
        };
        w.OnError = [this](std::int16_t n, const std::string&, const std::string& loc,
                           const std::string&) { errors.push_back(std::to_string(n) + "|" + loc); };
    }
    std::vector<std::string> lines, errors;
};

TEST_F(TracesTest, ListProcedureKeepsDefaultAndKeyAndCountsAcrossLists) {
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

TEST_F(TracesTest, OpenSaveListLosesValuesAndSubkeysOthersOnlyValues) {
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

TEST_F(TracesTest, CancelAndOverflowPaths) {
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

TEST_F(TracesTest, SystemTraces) {
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

TEST_F(TracesTest, WhatTheDesktopLeftIsToldAndCounted) {
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
    EXPECT_EQ(app.LeftUndone, 2);
}

TEST_F(TracesTest, ProgramListsAndOffice) {
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

TEST_F(TracesTest, WindowsGroupLogAndProgress) {
    Put(std::string(kExplorer) + "\\RunMRU", "a");
    for (int i : {2, 5, 11, 13}) main().win_chk(i).SetValue(1);
    FrmCleaner& cleaner = app.Cleaner();
    cleaner.Load();
    ClsClean cs(app);
    std::vector<std::tuple<std::string, int, int>> events;
    cs.Progress = [&](const std::string& t, int total, int cur) {
        events.emplace_back(t, total, cur);
    };
    cleaner.txtprogress.SetText("HEADER");
    cs.DoWindows();
    EXPECT_EQ(cleaner.txtprogress.Text(),
              "HEADER\r\nVerifying Windows jobs...\r\nCleaning Run history ...\r\n"
              "Cleared Windows {run dialog} history. (1 Found!)\r\n"
              "Setting Windows Page File for startup deletion ...\r\n"
              "Page/SWAP File will be cleared on restart.");
    using E = std::tuple<std::string, int, int>;
    EXPECT_EQ(events,
              (std::vector<E>{E{"Cleaning Run history ...", 4, 5},
                              E{"Setting Windows Page File for startup deletion ...", 4, 13},
                              E{"Completed Windows jobs...", 4, 2}}));
    EXPECT_EQ(host.doEvents, 13) << "one pump per examined box";
    EXPECT_EQ(cs.cwin(), nullptr);
}

TEST_F(TracesTest, CancelBetweenWindowsTasksEndsWithAnErrorReport) {
    for (int i : {1, 5}) main().win_chk(i).SetValue(1);
    // The user presses Cancel while the group pumps events after box 1.
    host.atDoEvents[2] = [&] { app.Cleaner().cmdCancel.UserClick(); };
    int code = ExpectProgramEnd([&] { main().cmdClean.UserClick(); });
    EXPECT_EQ(code, 1);
    ASSERT_EQ(host.reports.size(), 1u);
    EXPECT_NE(host.reports[0].find("Location: ClsClean:DoWindows"), std::string::npos);
    EXPECT_NE(host.reports[0].find("Number: 91"), std::string::npos);
    EXPECT_FALSE(main().IsLoaded());
}

}  // namespace velloran::test
