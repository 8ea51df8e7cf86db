#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "app/FrmCleaner.hpp"
#include "cleaning/ClsClean.hpp"
#include "cleaning/ReportError.hpp"
#include "cleaning/TaskCatalogue.hpp"
#include "common/TaskWorker.hpp"
#include "common/controls/ListView.hpp"
#include "common/controls/ModListView.hpp"
#include "common/platform/Paths.hpp"
#include "support/AppFixture.hpp"
#include "support/EnvGuard.hpp"
#include "support/TestProcess.hpp"
#include "traces/TracesFixture.hpp"

namespace velloran::test {

namespace fs = std::filesystem;

class ClsCleanTest : public AppFixture {
protected:
    void SetUp() override { LoadMain(); }
};

TEST_F(ClsCleanTest, IsJobCountsTaskBoxesOnly) {
    const auto isJob = [this] { return ClsClean(app, main().BuildPlan()).isJob(); };
    EXPECT_FALSE(isJob());
    main().stChk(Option::NoNotify).UserClick();
    EXPECT_FALSE(isJob()) << "option boxes are no tasks";
    // Select All boxes are separate controls: a ticked one with its members cleared counts nothing.
    main().ns_Chks.SetValue(1);
    for (int i = 1; i <= 4; ++i) main().ns_Chk(i).SetValue(0);
    EXPECT_FALSE(isJob());
    for (auto* array : {&main().win_chk, &main().ie_Chk, &main().op_Chk, &main().oprg_chk}) {
        (*array)(array->UBound()).SetValue(1);
        EXPECT_TRUE(isJob()) << array->Name();
        (*array)(array->UBound()).SetValue(0);
    }
}

TEST_F(ClsCleanTest, AddLogAppendsWithOneSeparatorAndMovesBarOnlyForPositions) {
    FrmCleaner& cleaner = app.Cleaner();
    ClsClean cs(app, app.Main().BuildPlan());
    std::vector<std::tuple<std::string, int, int>> events;
    cs.Progress = [&](const std::string& t, int total, int current) {
        events.emplace_back(t, total, current);
    };
    cs.AddLog("ignored while the window is not loaded", 1, 1);
    EXPECT_TRUE(events.empty());

    cleaner.Load();
    cleaner.txtprogress.SetText("H1\r\nH2\r\nH3");
    cs.AddLog("Verifying Windows jobs...", 0, 0);
    cs.AddLog("Cleaning Run history ...", 2, 5);
    cs.AddLog("", 2, 13);
    EXPECT_EQ(cleaner.txtprogress.Text(),
              "H1\r\nH2\r\nH3\r\nVerifying Windows jobs...\r\nCleaning Run history ...\r\n");
    EXPECT_EQ(cs.LogSnapshot(),
              "H1\r\nH2\r\nH3\r\nVerifying Windows jobs...\r\nCleaning Run history ...");
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0], std::make_tuple(std::string("Cleaning Run history ..."), 2, 5));
    EXPECT_EQ(std::get<2>(events[1]), 13);
}

TEST_F(ClsCleanTest, RunWithAllGroupsTickedEndsWithTenOfTen) {
    for (auto* box : {&main().win_chks, &main().ie_Chks, &main().oprg_chks}) box->SetValue(1);
    app.Cleaner().Load();
    ClsClean cs(app, app.Main().BuildPlan());
    std::vector<std::tuple<std::string, int, int>> events;
    cs.Progress = [&](const std::string& t, int total, int current) {
        events.emplace_back(t, total, current);
    };
    cs.Clean();
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.back(), std::make_tuple(std::string("Completed All Jobs"), 10, 10));
    EXPECT_EQ(app.TaskIndex, 14) << "the last group walked oprg_chk past its upper bound";
    EXPECT_EQ(cs.GroupTotal(), 13);
}

// The tasks' changes are saved once, when the run ends; a refused save is a line
// of its own and counts as left undone, not as a fault of the run.
TEST_F(ClsCleanTest, TheRunSavesTheRegistryOnceAtItsEnd) {
    struct CountingStore : MemoryStore {
        int saves = 0;
        bool refuse = false;
        void Save() override {
            ++saves;
            if (refuse) throw VbError(vbErrPermissionDenied, "The prefix is in use.");
            MemoryStore::Save();
        }
    } store;
    app.SetRegistry(&store);
    app.SetSettingsRegistry(&registry);  // options are saved apart from the target
    main().win_chk(5).SetValue(1);
    main().oprg_chks.SetValue(1);
    app.Cleaner().Load();
    ClsClean(app, app.Main().BuildPlan()).Clean();
    EXPECT_EQ(store.saves, 1);
    EXPECT_EQ(LeftCount(app), 0);

    store.refuse = true;
    app.Cleaner().Load();
    const std::size_t boxes = host.boxes.size();
    TextBox& log = app.Cleaner().txtprogress;
    std::string logged;
    log.LineAdded.Connect([&](const std::string& line) { logged += line + "\n"; });
    // Changes that did not reach the disk are a failure of the run: its line, then the
    // error report, and never the success message.
    EXPECT_EQ(ExpectProgramEnd([&] { ClsClean(app, app.Main().BuildPlan()).Clean(); }), 1);
    EXPECT_GE(store.saves, 2);
    EXPECT_EQ(LeftCount(app), 1);
    EXPECT_NE(logged.find("Failed: the registry changes of this run were not saved: The prefix "
                          "is in use."),
              std::string::npos)
        << logged;
    EXPECT_EQ(host.reports.size(), 1u);
    EXPECT_EQ(host.boxes.size(), boxes) << "no success message after the failure";
}

TEST_F(ClsCleanTest, DoNotNotifySuppressesTheMessageAndExitEndsTheProgram) {
    main().win_chk(1).SetValue(1);
    main().stChk(Option::NoNotify).SetValue(1);
    ClsClean(app, app.Main().BuildPlan()).Clean();
    EXPECT_TRUE(host.boxes.empty());
    EXPECT_TRUE(main().IsLoaded());

    main().stChk(Option::NoNotify).SetValue(0);
    main().stChk(Option::ExitWhenDone).SetValue(1);
    EXPECT_EQ(ExpectProgramEnd([&] { ClsClean(app, app.Main().BuildPlan()).Clean(); }), 0);
    ASSERT_EQ(host.boxes.size(), 1u) << "the message comes before the exit";
    EXPECT_FALSE(main().IsLoaded());
}

TEST_F(ClsCleanTest, ProgressWindowRules) {
    FrmCleaner& cleaner = app.Cleaner();
    cleaner.Load();
    EXPECT_EQ(cleaner.pbar.Caption(), "Loading libraries...");
    EXPECT_EQ(cleaner.pbar.Max(), 100);
    EXPECT_FALSE(IsTrue(app.StopRequested));

    cleaner.SetTag("0");
    cleaner.Activate();
    EXPECT_EQ(host.doEvents, 0) << "a window not tagged \"1\" does not run";
    EXPECT_EQ(cleaner.txtprogress.Text(), "");

    const std::string longText(60, 'x');
    cleaner.cs_Progress(longText, 2, 13);
    EXPECT_EQ(cleaner.pbar.Caption(), std::string(50, 'x'));
    EXPECT_EQ(cleaner.pbar.Fraction(), 1.0) << "a value above the maximum shows full";

    // The title-bar close behaves like Cancel and unloads once.
    EXPECT_TRUE(cleaner.Unload(vbFormControlMenu));
    EXPECT_TRUE(IsTrue(app.StopRequested));
    EXPECT_FALSE(cleaner.Unload());
    EXPECT_EQ(std::count(host.unloaded.begin(), host.unloaded.end(), "FrmCleaner"), 1);
}

TEST_F(ClsCleanTest, CancelDuringActivationUnloadsTheWindow) {
    main().win_chk(5).SetValue(1);
    host.atDoEvents[1] = [&] { app.Cleaner().cmdCancel.UserClick(); };
    main().cmdClean.UserClick();
    EXPECT_FALSE(app.CleanerLoaded());
    EXPECT_TRUE(IsTrue(app.StopRequested));
}

TEST_F(ClsCleanTest, ReportErrorRecordsUnloadsAndEnds) {
    app.Cleaner().Load();
    int code = ExpectProgramEnd([&] {
        ReportError(app, VbError::PermissionDenied().From("ClsWindows:CleanRunHistory"),
                    "ClsWindows:CleanRunHistory", {true, "", vbCritical});
    });
    EXPECT_EQ(code, 1);
    ASSERT_EQ(host.boxes.size(), 1u);
    EXPECT_EQ(host.boxes[0].text,
              "Error Number: 70\r\nError Description: Permission denied\r\n"
              "Error Location: ClsWindows:CleanRunHistory ClsWindows:CleanRunHistory");
    EXPECT_EQ(host.boxes[0].style, 16);
    ASSERT_EQ(host.reports.size(), 1u);
    EXPECT_NE(host.reports[0].find("Location: ClsWindows:CleanRunHistory"), std::string::npos);
    EXPECT_NE(host.reports[0].find("Operating system: Windows --"), std::string::npos);
    EXPECT_FALSE(main().IsLoaded());
    EXPECT_FALSE(app.CleanerLoaded());
}

TEST_F(ClsCleanTest, OpenBrowserSkipsItsGroupAfterOneMessage) {
    struct Case {
        const char* windowClass;
        ControlArray<CheckBox>& boxes;
        std::string message;
        const char* verifyLine;
    };
    // Titles are read 29 characters at a time; the message shows at most 30 of them.
    const std::string title = "Example Domain \xe2\x80\x94 Mozilla Firefox and more";
    const std::string cut = "Example Domain \xe2\x80\x94 Mozilla Fire";
    const Case cases[] = {
        {"IEFrame", main().ie_Chk,
         "Microsoft Internet Explorer is open! \"" + cut +
             "...\",\r\nPlease close all windows. Internet Explorer jobs will be cancelled.",
         "Verifying IE jobs..."},
        {"MozillaWindowClass", main().ns_Chk,
         "Netscape browser is open! \"" + cut +
             "...\",\r\nPlease close all windows. Netscape jobs will be cancelled.",
         "Verifying Netscape jobs..."},
        {"OpWindow", main().op_Chk,
         "Opera browser is open! \"" + cut +
             "...\",\r\nPlease close all windows. Opera jobs will be cancelled.",
         "Verifying opera jobs..."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.windowClass);
        host.boxes.clear();
        platform.windows = {{c.windowClass, title}};
        c.boxes(1).SetValue(1);
        main().oprg_chk(1).SetValue(1);
        app.Cleaner().Load();
        ClsClean cs(app, app.Main().BuildPlan());
        cs.Clean();
        ASSERT_EQ(host.boxes.size(), 1u) << "no success message after a skipped group";
        EXPECT_EQ(host.boxes[0].text, c.message);
        EXPECT_EQ(host.boxes[0].style, vbInformation);
        EXPECT_TRUE(IsTrue(cs.BrowserOpen()));
        EXPECT_TRUE(IsTrue(cs.Aborted()));
        const std::string log = app.Cleaner().txtprogress.Text();
        EXPECT_EQ(log.find(c.verifyLine), std::string::npos);
        EXPECT_NE(log.find("Verifying program jobs..."), std::string::npos) << "later groups run";
        c.boxes(1).SetValue(0);
        app.Cleaner().Unload();
    }

    // An open browser whose boxes are not ticked is never looked for.
    host.boxes.clear();
    platform.windows = {{"IEFrame", title}};
    app.Cleaner().Load();
    ClsClean cs(app, app.Main().BuildPlan());
    cs.RunGroup(*FindGroup("ie"));
    EXPECT_TRUE(host.boxes.empty());
    EXPECT_FALSE(IsTrue(cs.BrowserOpen()));
}

TEST_F(ClsCleanTest, OperaGroupLogsEachTickedBoxAndTheCleanersLines) {
    main().op_Chk(1).SetValue(1);
    main().op_Chk(3).SetValue(1);
    app.Cleaner().Load();
    ClsClean cs(app, app.Main().BuildPlan());
    std::vector<std::tuple<std::string, int, int>> events;
    cs.Progress = [&](const std::string& t, int total, int current) {
        events.emplace_back(t, total, current);
    };
    cs.RunGroup(*FindGroup("opera"));
    EXPECT_EQ(app.Cleaner().txtprogress.Text(),
              "\r\nVerifying opera jobs..."
              "\r\nCleaning Opera Type Url's history ...\r\nNo Opera profile found."
              "\r\nCleaning Opera Cookies ...\r\nNo Opera profile found.");
    using E = std::tuple<std::string, int, int>;
    EXPECT_EQ(events, (std::vector<E>{E{"Cleaning Opera Type Url's history ...", 2, 1},
                                      E{"Cleaning Opera Cookies ...", 2, 3},
                                      E{"Completed Opera jobs...", 2, 2}}));
    EXPECT_EQ(cs.Worker(), nullptr) << "the worker lives only while its group runs";
}

TEST(ModListView, FitsEveryColumnOrTheLast) {
    ListView lv("lvFiles");
    std::vector<std::pair<int, int>> sent;
    lv.ColumnWidthRequested.Connect([&](int c, int w) { sent.emplace_back(c, w); });
    FitLastColumn(lv);  // no columns: nothing happens
    lv.AddColumn("Name", 100);
    lv.AddColumn("Size", 50);
    lv.AddColumn("Path", 50);
    FitColumns(lv);
    FitLastColumn(lv);
    EXPECT_EQ(sent, (std::vector<std::pair<int, int>>{{0, -2}, {1, -2}, {2, -2}, {2, -2}}));
}

using ClsCleanWindowsTest = TracesFixture;

TEST_F(ClsCleanWindowsTest, WindowsGroupLogAndProgress) {
    Put(std::string(kExplorer) + "\\RunMRU", "a");
    for (int i : {2, 5, 11, 13}) main().win_chk(i).SetValue(1);
    FrmCleaner& cleaner = app.Cleaner();
    cleaner.Load();
    ClsClean cs(app, app.Main().BuildPlan());
    std::vector<std::tuple<std::string, int, int>> events;
    cs.Progress = [&](const std::string& t, int total, int cur) {
        events.emplace_back(t, total, cur);
    };
    cleaner.txtprogress.SetText("HEADER");
    cs.RunGroup(*FindGroup("windows"));
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
    EXPECT_EQ(cs.Worker(), nullptr);
}

TEST_F(ClsCleanWindowsTest, CancelBetweenWindowsTasksEndsWithAnErrorReport) {
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

// The Netscape box group of a run: its lines around the worker's own.
class ClsCleanNetscapeTest : public AppFixture {
protected:
    void SetUp() override {
        dir = MakeTempDir("velloran-nsgroup");
        // Profiles are looked for under these; never the real user's.
        env.Set(kConfigHomeVariable, (dir / "config").string().c_str());
        env.Set(kCacheHomeVariable, (dir / "cache").string().c_str());
        platform.home = (dir / "home").string();
        LoadMain();
    }
    void TearDown() override { fs::remove_all(dir); }
    fs::path dir;
    EnvGuard env;
};

TEST_F(ClsCleanNetscapeTest, TickedBoxesCallTheWorkerWithTheirIndex) {
    const fs::path root = dir / "config/mozilla/firefox";
    fs::create_directories(root / "p.default");
    fs::copy_file(fs::path(VELLORAN_TEST_DATADIR) / "browsers/gecko/cookies.sqlite",
                  root / "p.default/cookies.sqlite");
    std::ofstream(root / "profiles.ini") << "[Profile0]\nPath=p.default\nIsRelative=1\n";
    platform.texts[(dir / "config" / "velloran" / "cookies-keep.txt").string()] = "keep.test\n";

    main().ns_Chk(1).SetValue(1);
    main().ns_Chk(3).SetValue(1);
    app.Cleaner().Load();
    app.Cleaner().txtprogress.SetText("header");
    ClsClean cs(app, app.Main().BuildPlan());
    std::vector<std::tuple<std::string, int, int>> events;
    cs.Progress = [&](const std::string& t, int total, int current) {
        events.emplace_back(t, total, current);
    };
    cs.RunGroup(*FindGroup("netscape"));

    const std::string profile = fs::canonical(root / "p.default").string();
    EXPECT_EQ(app.Cleaner().txtprogress.Text(),
              "header\r\nVerifying Netscape jobs...\r\n"
              "Cleaning Netscape Type Url's history ...\r\n"
              "Nothing to remove in profile " +
                  profile +
                  ".\r\n"
                  "Cleaning Netscape Cookies ...\r\n"
                  "Removed 3 cookies from " +
                  JoinPath(profile, "cookies.sqlite") + "; kept 2 cookies of the sites to keep.");
    EXPECT_EQ(events, (std::vector<std::tuple<std::string, int, int>>{
                          {"Cleaning Netscape Type Url's history ...", 2, 1},
                          {"Cleaning Netscape Cookies ...", 2, 3},
                          {"Completed Netscape jobs...", 2, 2}}));
    EXPECT_EQ(cs.Worker(), nullptr) << "the worker lives only during the group";
}

}  // namespace velloran::test
