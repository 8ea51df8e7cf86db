#include <gtest/gtest.h>

#include <filesystem>

#include "app/FrmCleaner.hpp"
#include "cleaning/TaskCatalogue.hpp"
#include "support/AppFixture.hpp"

namespace velloran::test {

class FrmMainTest : public AppFixture {
protected:
    void SetUp() override { LoadMain(); }
    int Ticked(const ControlArray<CheckBox>& a) {
        int n = 0;
        for (int i : a.Indexes()) n += a(i).Value() == 1;
        return n;
    }
};

TEST_F(FrmMainTest, CatalogueIndexesGapsAndCaptions) {
    // Task arrays start at 1; stChk has no 2; every box caption has one leading blank.
    EXPECT_FALSE(main().win_chk.Exists(0));
    EXPECT_EQ(main().win_chk.UBound(), 13);
    EXPECT_EQ(main().ie_Chk.UBound(), 7);
    EXPECT_EQ(main().ns_Chk.UBound(), 4);
    EXPECT_EQ(main().op_Chk.UBound(), 4);
    EXPECT_EQ(main().oprg_chk.UBound(), 13);
    EXPECT_EQ(main().stChk.Indexes(), (std::vector<int>{0, 1, 3, 4, 5, 6}));
    EXPECT_EQ(main().win_chk(5).Caption(), " Erase Run History");
    EXPECT_EQ(main().win_chk(13).Caption(), " Clear Page File (Swap File)");
    EXPECT_EQ(main().oprg_chk(11).Caption(), " Clear Microsoft PowerPoint Recent file List");
    EXPECT_EQ(main().oprg_chk(13).Caption(), " Clear Netmeeting call history");
    EXPECT_EQ(main().stChk(Option::NoNotify).Caption(), " Do not notify me when job is completed.");
    EXPECT_EQ(main().win_chks.Caption(), " Select All");
    EXPECT_FALSE(main().sTab.Exists(3));
    EXPECT_EQ(main().sTab(4).Tab(0), "Programs");
    EXPECT_EQ(main().fraNetscape.Caption(), "Netscape Browser 6.x/7.x");
    EXPECT_EQ(main().cmdjunk.Caption(), "Find Junk Files");
}

TEST_F(FrmMainTest, SelectAllSetsMembersButDoesNotFollowThem) {
    main().win_chks.UserClick();
    EXPECT_EQ(Ticked(main().win_chk), 13);
    // Clearing one member leaves the Select All box ticked.
    main().win_chk(4).UserClick();
    EXPECT_EQ(main().win_chks.Value(), 1);
    EXPECT_EQ(Ticked(main().win_chk), 12);
    main().win_chks.UserClick();
    EXPECT_EQ(Ticked(main().win_chk), 0);

    // Ticking every member by hand leaves Select All clear; other groups untouched.
    for (int i : main().ie_Chk.Indexes()) main().ie_Chk(i).UserClick();
    EXPECT_EQ(main().ie_Chks.Value(), 0);
    main().oprg_chks.UserClick();
    EXPECT_EQ(Ticked(main().oprg_chk), 13);
    EXPECT_EQ(Ticked(main().ns_Chk), 0);
    EXPECT_EQ(Ticked(main().op_Chk), 0);
}

TEST_F(FrmMainTest, RecycleBinAndSecureDeleteExcludeEachOther) {
    auto& st = main().stChk;
    auto& combo = main().cmbsDelType;
    EXPECT_FALSE(combo.Enabled());

    st(1).UserClick();  // secure delete
    EXPECT_EQ(st(1).Value(), 1);
    EXPECT_TRUE(combo.Enabled());
    EXPECT_EQ(combo.BackColor(), 0xFFFFFFu);

    st(0).UserClick();  // recycle bin clears secure delete and greys the list
    EXPECT_EQ(st(0).Value(), 1);
    EXPECT_EQ(st(1).Value(), 0);
    EXPECT_FALSE(combo.Enabled());
    EXPECT_EQ(combo.BackColor(), 0x8000000Au);

    st(1).UserClick();  // ticking secure delete while recycle bin is ticked: re-asserted
    EXPECT_EQ(st(0).Value(), 0);
    EXPECT_EQ(st(1).Value(), 1);
    EXPECT_TRUE(combo.Enabled());

    // Clearing the recycle-bin box also clears secure delete.
    st(0).UserClick();
    st(0).UserClick();
    EXPECT_EQ(st(0).Value(), 0);
    EXPECT_EQ(st(1).Value(), 0);
    EXPECT_FALSE(combo.Enabled());
}

TEST_F(FrmMainTest, ExitShutDownRestartExcludeEachOther) {
    auto& st = main().stChk;
    st(3).UserClick();
    st(4).UserClick();
    st(5).UserClick();
    EXPECT_EQ(st(4).Value(), 0);
    EXPECT_EQ(st(5).Value(), 1);
    st(6).UserClick();
    EXPECT_EQ(st(4).Value() + st(5).Value(), 0);
    EXPECT_EQ(st(6).Value(), 1);
    st(6).UserClick();  // clearing leaves the others as they are
    st(4).UserClick();
    EXPECT_EQ(st(4).Value(), 1);
    EXPECT_EQ(st(6).Value(), 0);
    EXPECT_EQ(st(3).Value(), 1) << "Do not notify combines with anything";
}

TEST_F(FrmMainTest, CleanWithNothingTickedShowsMessageOnly) {
    main().stChk(Option::ExitWhenDone).UserClick();  // options alone are no task
    main().win_chks.UserClick();
    main().win_chks.UserClick();  // Select All ticked then cleared: nothing remains
    main().cmdClean.UserClick();
    ASSERT_EQ(host.boxes.size(), 1u);
    EXPECT_EQ(host.boxes[0].text,
              "Nothing to do, Please select a task by selecting the white boxes.");
    EXPECT_EQ(host.boxes[0].style, 64);
    EXPECT_EQ(host.boxes[0].title, "Velloran");
    EXPECT_TRUE(host.shown.empty());
    EXPECT_FALSE(app.CleanerLoaded());
}

TEST_F(FrmMainTest, CleanRunsTheProgressWindow) {
    platform.userName = "bob";
    main().oprg_chk(9).UserClick();
    std::vector<std::tuple<std::string, int, int>> events;
    host.whileShown = [&](Form&) {};
    main().cmdClean.UserClick();
    ASSERT_EQ(host.shown, (std::vector<std::string>{"FrmCleaner"}));
    FrmCleaner& cleaner = app.Cleaner();
    EXPECT_EQ(cleaner.Tag(), "1");
    EXPECT_EQ(cleaner.txtprogress.Text(),
              "Current User: bob\r\nWindows Type: Microsoft Windows --\r\n"
              "Windows Directory: /prefix/drive_c/windows\r\n"
              "Verifying program jobs...\r\n"
              "Cleaning Microsoft Access history ...\r\n"
              "Erased Microsoft Access history (0)");
    EXPECT_EQ(cleaner.pbar.Caption(), "Completed All Jobs");
    EXPECT_EQ(cleaner.pbar.Max(), 10);
    EXPECT_EQ(cleaner.pbar.Value(), 10);
    ASSERT_EQ(host.boxes.size(), 1u);
    EXPECT_EQ(host.boxes[0].text, "Selected Task(s) completed successfully.");
    EXPECT_EQ(host.boxes[0].style, 64);
    EXPECT_EQ(main().MousePointer(), 0);
    EXPECT_EQ(cleaner.cs(), nullptr) << "the run driver is released after the run";
}

TEST_F(FrmMainTest, SetControlsPreparesThePageOnce) {
    EXPECT_EQ(main().sBar.Panel(6), "Windows --");
    EXPECT_EQ(main().sBar.Panel(1), app.TargetDescription);
    EXPECT_EQ(&main().FrontPage(), &main().frameWin);
    ASSERT_EQ(main().cmbsDelType.ListCount(), 3);
    EXPECT_EQ(main().cmbsDelType.List(1), "Guttmann Scheme [Supreme, Fast]");
    EXPECT_EQ(main().cmbsDelType.ListIndex(), 0);

    // Resizing calls it with the skip flag: the chosen page and method stay.
    main().Picture4.UserClick();
    main().cmbsDelType.SetListIndex(2);
    main().SetSize(100, 100);
    main().Resize();
    EXPECT_EQ(&main().FrontPage(), &main().FrameST);
    EXPECT_EQ(main().cmbsDelType.ListIndex(), 2);
    EXPECT_EQ(main().Width(), 8000);
    EXPECT_EQ(main().Height(), 7000);
    // A minimised window keeps its size.
    main().SetWindowState(vbMinimized);
    main().SetSize(10, 10);
    main().Resize();
    EXPECT_EQ(main().Width(), 10);
}

TEST_F(FrmMainTest, PageButtonsBringTheirPageToFront) {
    const std::pair<PictureBox*, Frame*> pages[] = {{&main().Picture2, &main().frameOTH},
                                                    {&main().Picture3, &main().FrameIE},
                                                    {&main().Picture8, &main().FramePG},
                                                    {&main().Picture4, &main().FrameST},
                                                    {&main().Picture1, &main().frameWin}};
    for (auto [button, frame] : pages) {
        button->UserClick();
        EXPECT_EQ(&main().FrontPage(), frame) << frame->Name();
    }
    main().Picture7.UserClick();
    EXPECT_EQ(host.shown, (std::vector<std::string>{"frmAbout"}));
    EXPECT_EQ(&main().FrontPage(), &main().frameWin);
}

// Browser boxes are enabled only where a profile exists.
class BrowserPresenceTest : public AppFixture {};

TEST_F(BrowserPresenceTest, AbsentBrowsersDisableTheirBoxesAndKeepValues) {
    LoadMain();
    for (int i = 1; i <= 4; ++i) {
        EXPECT_FALSE(main().ns_Chk(i).Enabled());
        EXPECT_FALSE(main().op_Chk(i).Enabled());
    }
    EXPECT_FALSE(main().ns_Chks.Enabled());
    EXPECT_FALSE(main().op_Chks.Enabled());
    EXPECT_TRUE(main().ie_Chks.Enabled());
}

TEST_F(BrowserPresenceTest, ProfilesOnTheDesktopOrInThePrefixEnableThem) {
    // Composed as the program composes them, with the system's separator.
    platform.dirs = {(std::filesystem::path("/home/alice") / ".mozilla/firefox").string()};
    platform.specialFolders[CSIDL_APPDATA] = "/prefix/AppData";
    platform.dirs.insert((std::filesystem::path("/prefix/AppData") / "Opera").string());
    LoadMain();
    EXPECT_TRUE(main().ns_Chk(4).Enabled());
    EXPECT_TRUE(main().op_Chks.Enabled());
}

TEST_F(BrowserPresenceTest, MinimizedWindowIsNotPrepared) {
    main().SetWindowState(vbMinimized);
    main().Load();
    EXPECT_EQ(main().sBar.Panel(6), "");
    EXPECT_EQ(main().cmbsDelType.ListCount(), 0);
    EXPECT_TRUE(main().ns_Chks.Enabled());
}

TEST_F(FrmMainTest, ExitUnloadsEverythingAndEnds) {
    app.Cleaner().Load();
    EXPECT_EQ(ExpectProgramEnd([&] { main().cmdExit.UserClick(); }), 0);
    EXPECT_FALSE(main().IsLoaded());
    EXPECT_FALSE(app.CleanerLoaded());
    EXPECT_TRUE(IsTrue(app.StopRequested));
}

}  // namespace velloran::test
