// The junk file finder window through the scripted host: a fake drive list, real
// folders to search and real files to delete.
#include "app/FrmJunk.hpp"

#include <gtest/gtest.h>

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>
#include <atomic>
#include <chrono>
#include <thread>

#include <filesystem>
#include <fstream>

#include "common/ModFunctions.hpp"
#include "common/platform/linux/LinuxPlatform.hpp"
#include "common/platform/linux/Trash.hpp"
#include "support/AppFixture.hpp"
#include "support/EnvGuard.hpp"
#include "support/TempDir.hpp"
#include "tools/junk/ModGeneral.hpp"

namespace velloran::test {
namespace {

namespace fs = std::filesystem;

const std::string kDoneScan =
    "Garbage Scanning completed successfully!\r" + std::string(55, '-') + "\r";
const std::string kAbortScan =
    "Scan successfully aborted by user!      \r" + std::string(54, '-') + "\r";

class FrmJunkTest : public AppFixture {
protected:
    void SetUp() override {
        root = MakeTempDir("velloran-frmjunk");
        drive = root / "drive";
        fs::create_directories(drive);
        // Trash and settings of this test only.
        env.Set("XDG_DATA_HOME", (root / "data").c_str());
        env.Set("XDG_CONFIG_HOME", (root / "config").c_str());
        env.Set("XDG_STATE_HOME", (root / "state").c_str());
        WriteFilters("*.tmp;Temporary files;temp\n*.bak;Backup copies;backup\n");
        platform.drives = {{drive.string(), DRIVE_FIXED, "ext4", ""}};
        // The drive's files are real: the search walks them, deletions reach them.
        platform.realFiles = &real;
        LoadMain();
    }
    void TearDown() override { fs::remove_all(root); }
    test::EnvGuard env;
    LinuxPlatform real{Target{}};

    void WriteFilters(const std::string& text) {
        std::ofstream(root / "filters.txt", std::ios::binary) << text;
    }
    static void Write(const fs::path& p, std::size_t size) {
        fs::create_directories(p.parent_path());
        std::ofstream(p, std::ios::binary) << std::string(size, 'x');
    }
    FrmJunk& Open() {
        FrmJunk& junk = app.Junk();
        junk.FilterSources = {root / "filters.txt"};
        junk.Load();
        return junk;
    }
    // Rows of lvFiles as "folder+name", in list order.
    std::vector<std::string> Listed(const FrmJunk& junk) const {
        std::vector<std::string> out;
        for (int i = 0; i < junk.lvFiles.Count(); ++i)
            out.push_back(junk.lvFiles.Row(i).subItems.at(1) + junk.lvFiles.Row(i).text);
        return out;
    }
    std::string Summary(const std::string& head, int count, const std::string& bytes) const {
        return head + std::to_string(count) + " Junk Files Found.\rYou will save: " + bytes;
    }

    fs::path root, drive;
};

TEST_F(FrmJunkTest, FilterLinesBecomeCheckedRowsAndSelectAllFollowsTheBox) {
    WriteFilters("*.tmp;Temporary files;x\n# a comment\n\n#&&drop;*.none\n");
    FrmJunk& junk = Open();
    ASSERT_EQ(junk.lvFilters.Count(), 1);
    const ListRow& row = junk.lvFilters.Row(0);
    EXPECT_EQ(row.text, "*.tmp");
    EXPECT_EQ(row.subItems, std::vector<std::string>{"Temporary files"});
    EXPECT_EQ(row.tag, "x");
    EXPECT_TRUE(row.checked);
    EXPECT_EQ(junk.lblloc.Caption(), "Done");
    EXPECT_EQ(junk.Caption(), "Junk Files");
    EXPECT_EQ(junk.lvFiles.Column(2).text, "Folder");
    EXPECT_EQ(junk.chkselallfiles.GetFont().name, "MS Sans Serif");
    EXPECT_EQ(junk.lblloc.GetFont().name, "Arial");
    EXPECT_EQ(junk.cmdFind.GetFont().name, "Verdana");

    WriteFilters("*.tmp;a;1\n*.bak;b;2\n*.old;c;3\n");
    junk.Unload();
    Open();
    ASSERT_EQ(junk.lvFilters.Count(), 3);  // reopening rebuilds from scratch
    junk.chkselfilters.UserClick();
    for (int i = 0; i < 3; ++i) EXPECT_FALSE(junk.lvFilters.Row(i).checked);
    junk.chkselfilters.UserClick();
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(junk.lvFilters.Row(i).checked);
    junk.chkselDrives.UserClick();
    EXPECT_FALSE(junk.tvDrives.Node(0).checked);
}

TEST_F(FrmJunkTest, AFilterLineWithoutItsTagIsReportedAndEndsTheProgram) {
    WriteFilters("*.tmp;Temporary files\n");
    EXPECT_EQ(ExpectProgramEnd([&] { Open(); }), 1);
    ASSERT_EQ(host.reports.size(), 1u);
    EXPECT_NE(host.reports[0].find("FrmJunk:getgarbagefilters"), std::string::npos);
}

TEST_F(FrmJunkTest, DriveTreeListsRemovableAndFixedDrivesCheckedAndSumsFixedFreeSpace) {
    platform.drives = {{"/", DRIVE_FIXED, "ext4", ""},
                       {"/net/share", DRIVE_REMOTE, "nfs4", ""},
                       {"/media/Stick", DRIVE_REMOVABLE, "vfat", "STICK"},
                       {"/media/cdrom", DRIVE_CDROM, "iso9660", ""},
                       {"/run/user/1000", DRIVE_RAMDISK, "tmpfs", ""},
                       {"/home", DRIVE_FIXED, "btrfs", ""}};
    platform.freeBytes = {{"/", 1000}, {"/media/Stick", 500}, {"/home", 24}};
    FrmJunk& junk = Open();
    ASSERT_EQ(junk.tvDrives.Count(), 3);
    const char* expected[] = {"/", "/media/Stick", "/home"};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(junk.tvDrives.Node(i).key, expected[i]);
        EXPECT_EQ(junk.tvDrives.Node(i).text, expected[i]);  // Linux paths keep their case
        EXPECT_TRUE(junk.tvDrives.Node(i).checked);
    }
    EXPECT_EQ(DrivesFreeSpace, 1024);

    // A first drive that makes no node leaves nothing to check: reported.
    junk.Unload();
    platform.drives = {{"/net/share", DRIVE_REMOTE, "nfs4", ""}, {"/", DRIVE_FIXED, "ext4", ""}};
    EXPECT_EQ(ExpectProgramEnd([&] { Open(); }), 1);
    ASSERT_EQ(host.reports.size(), 1u);
    EXPECT_NE(host.reports[0].find("ModGeneral:Findallfiles"), std::string::npos);
}

TEST(ShortenPath, KeepsHeadAndTailAtTheGivenLength) {
    const std::string path = "/home/" + std::string(94, 'a');
    const std::string shortened = ShortenPath(path, 70);
    EXPECT_EQ(shortened.size(), 70u);
    EXPECT_EQ(shortened, path.substr(0, 3) + ".." + path.substr(path.size() - 65));
    const std::string exact(70, 'b');
    EXPECT_EQ(ShortenPath(exact, 70), exact);
}

TEST_F(FrmJunkTest, ScanListsMatchesWithSizesFoldersAndTagsThenSummarises) {
    Write(drive / "a.tmp", 10);
    Write(drive / "sub" / "b.bak", 2048);
    Write(drive / "keep.txt", 5);
    FrmJunk& junk = Open();
    junk.cmdFind.UserClick();

    ASSERT_EQ(junk.lvFiles.Count(), 2);
    std::map<std::string, ListRow> rows;
    for (int i = 0; i < 2; ++i) rows[junk.lvFiles.Row(i).text] = junk.lvFiles.Row(i);
    EXPECT_EQ(rows["a.tmp"].subItems, (std::vector<std::string>{"10 Bytes", drive.string() + "/"}));
    EXPECT_EQ(rows["a.tmp"].tag, "temp");
    EXPECT_EQ(rows["b.bak"].subItems,
              (std::vector<std::string>{"2.00 KB", (drive / "sub").string() + "/"}));
    EXPECT_EQ(rows["b.bak"].tag, "backup");
    EXPECT_TRUE(rows["a.tmp"].checked && rows["b.bak"].checked);
    EXPECT_EQ(junk.lblfound.Caption(), "Files Found: 2");
    EXPECT_EQ(junk.lblTsize.Caption(), "Total Size: 2.01 KB");
    EXPECT_EQ(junk.JunkTotal, 2058);

    ASSERT_EQ(host.boxes.size(), 1u);
    EXPECT_EQ(host.boxes[0].text, Summary(kDoneScan, 2, "2.01 KB"));
    EXPECT_EQ(host.boxes[0].style, vbInformation);
    EXPECT_EQ(host.boxes[0].title, app.Title);
    EXPECT_EQ(junk.cmdFind.Caption(), "Search");
    EXPECT_FALSE(junk.Scanning);
    EXPECT_EQ(junk.cs(), nullptr);
    EXPECT_EQ(junk.sTab.SelectedTab(), FrmJunk::kTabFilesFound);
    EXPECT_TRUE(junk.sTab.TabEnabled(FrmJunk::kTabFilesFound));
    EXPECT_TRUE(junk.cmdExit.Enabled());
    EXPECT_TRUE(junk.chkselDrives.Enabled());
    EXPECT_TRUE(junk.chkselallfiles.Enabled());
    EXPECT_FALSE(junk.chkselfilters.Enabled());  // only reopening brings it back
    EXPECT_EQ(junk.MousePointer(), vbDefault);

    // Only checked filters are searched; a second scan replaces the rows.
    junk.lvFilters.SetChecked(1, false);
    junk.cmdFind.UserClick();
    EXPECT_EQ(Listed(junk), std::vector<std::string>{(drive / "a.tmp").string()});
    EXPECT_EQ(host.boxes.back().text, Summary(kDoneScan, 1, "10 Bytes"));

    // A file the system's packages installed is never listed; the summary says so.
    platform.packageFiles.insert((drive / "a.tmp").string());
    junk.cmdFind.UserClick();
    EXPECT_EQ(junk.lvFiles.Count(), 0);
    EXPECT_EQ(host.boxes.back().text,
              Summary(kDoneScan, 0, "0 Bytes") +
                  "\r1 file(s) installed by the system's packages were left out.");
}

TEST_F(FrmJunkTest, NothingHappensWithoutACheckedDriveOrFilter) {
    Write(drive / "a.tmp", 1);
    FrmJunk& junk = Open();
    junk.chkselDrives.UserClick();
    junk.cmdFind.UserClick();
    junk.chkselDrives.UserClick();
    junk.chkselfilters.UserClick();
    junk.cmdFind.UserClick();
    EXPECT_TRUE(host.boxes.empty());
    EXPECT_EQ(junk.lvFiles.Count(), 0);
    EXPECT_EQ(junk.cmdFind.Caption(), "Search");
    EXPECT_TRUE(junk.chkselfilters.Enabled());

    // A scan that finds nothing still reports, with the zero formatted.
    junk.chkselfilters.UserClick();
    fs::remove(drive / "a.tmp");
    junk.cmdFind.UserClick();
    ASSERT_EQ(host.boxes.size(), 1u);
    EXPECT_EQ(host.boxes[0].text, Summary(kDoneScan, 0, "0 Bytes"));
}

TEST_F(FrmJunkTest, StopDuringScanAbortsAndBlocksRowsUntilTheWindowReopens) {
    for (int i = 0; i < 5; ++i) Write(drive / ("f" + std::to_string(i) + ".tmp"), 1);
    const fs::path second = root / "second";
    Write(second / "x.tmp", 1);
    platform.drives.push_back({second.string(), DRIVE_FIXED, "ext4", ""});
    FrmJunk& junk = Open();

    // The user clicks Stop as the first file shows up.
    bool stopped = false;
    junk.lvFiles.RowsInserted.Connect([&](int, int) {
        if (stopped) return;
        stopped = true;
        EXPECT_TRUE(junk.Scanning);
        EXPECT_FALSE(junk.cmdExit.Enabled());
        EXPECT_FALSE(junk.sTab.TabEnabled(FrmJunk::kTabFilesFound));
        // Delete while scanning only explains itself.
        junk.cmddelete.UserClick();
        EXPECT_EQ(host.boxes.back().text,
                  "Scanning is currently in progess, please wait or stop the scanning!");
        junk.cmdFind.UserClick();
        EXPECT_EQ(junk.cmdFind.Caption(), "Search");
        EXPECT_EQ(junk.cs(), nullptr);
    });
    junk.cmdFind.UserClick();
    ASSERT_TRUE(stopped);
    EXPECT_EQ(junk.lvFiles.Count(), 1);  // the second drive was never searched
    EXPECT_NE(Listed(junk)[0].find(drive.string()), std::string::npos);
    ASSERT_EQ(host.boxes.size(), 2u);
    EXPECT_EQ(host.boxes[1].text, Summary(kAbortScan, 1, "1 Bytes"));
    EXPECT_FALSE(junk.ScanAborted);
    EXPECT_FALSE(junk.chkselfilters.Enabled());
    EXPECT_NE(app.StopRequested, vbFalse);

    // The stop carries over: the next scan lists nothing.
    junk.cmdFind.UserClick();
    EXPECT_EQ(junk.lvFiles.Count(), 0);
    EXPECT_EQ(host.boxes.back().text, Summary(kDoneScan, 0, "0 Bytes"));
    EXPECT_EQ(junk.lblfound.Caption(), "Files Found: 1");  // labels keep the last count

    // Reopening clears it.
    junk.Unload();
    Open();
    EXPECT_EQ(junk.lblfound.Caption(), "Files Found: 0");
    EXPECT_TRUE(junk.chkselfilters.Enabled());
    junk.cmdFind.UserClick();
    EXPECT_EQ(junk.lvFiles.Count(), 6);
}

TEST_F(FrmJunkTest, ClosingDuringScanStopsTheEngine) {
    for (int i = 0; i < 5; ++i) Write(drive / ("f" + std::to_string(i) + ".tmp"), 1);
    FrmJunk& junk = Open();
    junk.lvFiles.RowsInserted.Connect([&](int, int) {
        if (junk.IsLoaded()) junk.Unload(vbFormControlMenu);
    });
    junk.cmdFind.UserClick();
    EXPECT_FALSE(junk.IsLoaded());
    EXPECT_EQ(junk.lvFiles.Count(), 1);
    EXPECT_EQ(host.boxes.back().text, Summary(kAbortScan, 1, "1 Bytes"));
    EXPECT_NE(app.StopRequested, vbFalse);
}

class JunkDeletion : public FrmJunkTest {
protected:
    // A link someone else planted in a tree they may write in. (Run as root, the
    // test's own links would pass for the system's.)
    void OwnedByAnotherUser(const fs::path& link) {
        if (::geteuid() != 0) return;
        ::chown(drive.c_str(), 65534, 65534);
        ::lchown(link.c_str(), 65534, 65534);
    }
    struct Case {
        int secure, recycle, method;
    };
    // Scans three .tmp files and leaves them listed, in list order.
    FrmJunk& Scanned() {
        for (const char* n : {"a", "b", "c"}) Write(drive / (std::string(n) + ".tmp"), 100);
        FrmJunk& junk = Open();
        junk.cmdFind.UserClick();
        EXPECT_EQ(junk.lvFiles.Count(), 3);
        host.boxes.clear();
        return junk;
    }
    void Settings(int secure, int recycle, int method) {
        // The page keeps the two boxes exclusive: recycle first, secure after.
        main().stChk(Option::RecycleBin).SetValue(recycle);
        main().stChk(Option::SecureDelete).SetValue(secure);
        if (secure == 1) main().cmbsDelType.SetListIndex(method);
        ASSERT_EQ(main().stChk(Option::SecureDelete).Value(), secure);
    }
    std::vector<fs::path> Trashed() const {
        std::vector<fs::path> out;
        const fs::path files = root / "data" / "Trash" / "files";
        if (fs::exists(files))
            for (const auto& e : fs::directory_iterator(files)) out.push_back(e.path().filename());
        return out;
    }
};

TEST_F(JunkDeletion, DeletesCheckedRowsTheWayTheSettingsSayThenCloses) {
    struct TrashCase {
        int secure, recycle, method;
        bool toTrash;
    } cases[] = {{0, 0, 0, false},
                 {0, 1, 0, true},
                 {1, 0, 0, false},
                 {1, 0, 1, false},
                 {1, 0, 2, false},
                 // Secure delete without a method falls back to the trash.
                 {1, 0, -1, true}};
    for (const TrashCase& c : cases) {
        SCOPED_TRACE(std::to_string(c.secure) + std::to_string(c.recycle) +
                     std::to_string(c.method));
        fs::remove_all(root / "data");
        Settings(c.secure, c.recycle, c.method);
        FrmJunk& junk = Scanned();
        const std::vector<std::string> listed = Listed(junk);
        junk.lvFiles.SetChecked(1, false);  // the middle row stays
        host.unloaded.clear();
        junk.cmddelete.UserClick();

        ASSERT_EQ(host.boxes.size(), 2u);
        EXPECT_EQ(host.boxes[0].text,
                  "Please confirm that you will like to delete the selected file(s).");
        EXPECT_EQ(host.boxes[0].style, vbQuestion | vbYesNo);
        EXPECT_EQ(host.boxes[1].text, "Selected Task(s) Completed Successfully!");
        EXPECT_EQ(host.boxes[1].style, vbInformation);
        EXPECT_FALSE(fs::exists(listed[0]));
        EXPECT_TRUE(fs::exists(listed[1]));
        EXPECT_FALSE(fs::exists(listed[2]));
        EXPECT_EQ(Trashed().size(), c.toTrash ? 2u : 0u);
        EXPECT_EQ(junk.lvFiles.Count(), 1);
        EXPECT_EQ(junk.pbar.Caption(), "Eradicating process completed.");
        EXPECT_EQ(junk.pbar.Value(), 2);
        EXPECT_EQ(junk.pbar.Max(), 2);
        EXPECT_EQ(junk.cmddelete.Caption(), "Delete");
        EXPECT_EQ(host.unloaded, std::vector<std::string>{"FrmJunk"});
        EXPECT_FALSE(junk.IsLoaded());
        fs::remove(listed[1]);
    }
}

TEST_F(JunkDeletion, TrashedFilesCanBeRestored) {
    Settings(0, 1, 0);
    FrmJunk& junk = Scanned();
    const std::vector<std::string> listed = Listed(junk);
    junk.cmddelete.UserClick();
    ASSERT_EQ(Trashed().size(), 3u);
    linuxfs::Trash trash;
    const linuxfs::TrashDir home = trash.TrashDirs().at(0);
    ASSERT_TRUE(home.home);
    for (const fs::path& name : Trashed()) trash.Restore(home, name.string());
    EXPECT_TRUE(Trashed().empty());
    for (const auto& p : listed) EXPECT_TRUE(fs::exists(p)) << p;
}

TEST_F(JunkDeletion, RefusalsAndEmptySelectionsDeleteNothing) {
    FrmJunk& junk = Scanned();
    host.answers = {vbNo};
    junk.cmddelete.UserClick();
    EXPECT_EQ(host.boxes.size(), 1u);
    EXPECT_EQ(junk.lvFiles.Count(), 3);

    host.boxes.clear();
    junk.chkselallfiles.UserClick();
    junk.cmddelete.UserClick();
    EXPECT_TRUE(host.boxes.empty());

    junk.lvFiles.Clear();
    junk.cmddelete.UserClick();
    ASSERT_EQ(host.boxes.size(), 1u);
    EXPECT_EQ(host.boxes[0].text,
              "Nothing to delete, Please search for files or make a selection.");
    EXPECT_EQ(host.boxes[0].style, vbExclamation);
    EXPECT_TRUE(junk.IsLoaded());
    for (const char* n : {"a", "b", "c"})
        EXPECT_TRUE(fs::exists(drive / (std::string(n) + ".tmp")));
}

TEST_F(JunkDeletion, StopLeavesTheRestAndAFileThatCannotBeDeletedIsOnlyDropped) {
    FrmJunk& junk = Scanned();
    const std::vector<std::string> listed = Listed(junk);
    fs::remove(listed[0]);  // gone before its turn: the deleter raises "file not found"
    // Stop as the second file starts.
    bool stopped = false;
    junk.pbar.Changed.Connect([&] {
        if (stopped || junk.pbar.Value() != 2 || junk.cmddelete.Caption() != "STOP") return;
        stopped = true;
        junk.cmddelete.UserClick();
    });
    junk.cmddelete.UserClick();
    EXPECT_TRUE(host.reports.empty());
    EXPECT_FALSE(fs::exists(listed[1]));  // the file in progress is finished
    EXPECT_TRUE(fs::exists(listed[2]));
    EXPECT_EQ(host.boxes.back().text, "Selected Task(s) Completed Successfully!");
    EXPECT_FALSE(junk.IsLoaded());
}

TEST_F(JunkDeletion, StartingADeletionClearsAStopLeftByTheScan) {
    Write(drive / "a.tmp", 1);
    Write(drive / "b.tmp", 1);
    FrmJunk& junk = Open();
    junk.lvFiles.RowsInserted.Connect([&](int, int) {
        if (junk.cmdFind.Caption() == "Stop") junk.cmdFind.UserClick();
    });
    junk.cmdFind.UserClick();
    ASSERT_EQ(junk.lvFiles.Count(), 1);
    ASSERT_NE(app.StopRequested, vbFalse);
    const std::string listed = Listed(junk)[0];
    junk.cmddelete.UserClick();
    EXPECT_FALSE(fs::exists(listed));
}

}  // namespace
}  // namespace velloran::test

namespace velloran::test {
namespace {

TEST_F(JunkDeletion, AFolderSwappedForALinkAfterTheScanNeverRedirectsTheDeletion) {
    // Someone who can write in the scanned tree swaps a scanned folder for a link
    // to files of the same names elsewhere, between Find and Delete: in every delete
    // mode, nothing outside is touched and every file left is told.
    const fs::path outside = root / "outside";
    for (const Case& c :
         std::initializer_list<Case>{{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {1, 0, 1}, {1, 0, 2}}) {
        SCOPED_TRACE(std::to_string(c.secure) + std::to_string(c.recycle) +
                     std::to_string(c.method));
        fs::remove_all(drive);
        fs::remove_all(outside);
        Write(drive / "sub" / "a.tmp", 10);
        Write(drive / "sub" / "b.tmp", 10);
        Write(outside / "a.tmp", 10);
        Write(outside / "b.tmp", 10);
        Settings(c.secure, c.recycle, c.method);
        FrmJunk& junk = Open();
        junk.cmdFind.UserClick();
        ASSERT_EQ(junk.lvFiles.Count(), 2);
        host.boxes.clear();
        app.Outcome = {};

        fs::rename(drive / "sub", drive / "was-sub");
        fs::create_directory_symlink(outside, drive / "sub");
        OwnedByAnotherUser(drive / "sub");
        junk.cmddelete.UserClick();
        for (const char* n : {"a.tmp", "b.tmp"}) {
            EXPECT_EQ(fs::file_size(outside / n), 10u) << n;
            EXPECT_TRUE(fs::exists(drive / "was-sub" / n)) << n;
        }
        EXPECT_EQ(junk.NotDone.size(), 2u);
        EXPECT_EQ(LeftCount(app), 2);
        ASSERT_EQ(host.boxes.size(), 3u);
        EXPECT_EQ(host.boxes[1].style, vbExclamation);
        EXPECT_TRUE(host.boxes[1].text.starts_with(
            "Some files were not deleted or not fully overwritten:\r\n"))
            << host.boxes[1].text;
        EXPECT_NE(host.boxes[1].text.find((drive / "sub" / "a.tmp").string() +
                                          ": a folder on its path is now a symbolic link"),
                  std::string::npos)
            << host.boxes[1].text;
        EXPECT_EQ(host.boxes[2].text, "Selected Task(s) Completed Successfully!");
    }
}

TEST_F(JunkDeletion, ASwapRacingTheDeletionNeverReachesOutside) {
    // The same swap done over and over while deletions run, for a bounded time.
    const fs::path outside = root / "outside";
    Settings(1, 0, 2);
    std::atomic<bool> stop{false};
    std::thread swapper;
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(1200);
    int rounds = 0;
    while (std::chrono::steady_clock::now() < until) {
        fs::remove_all(drive);
        for (int i = 0; i < 20; ++i) Write(drive / "sub" / ("f" + std::to_string(i) + ".tmp"), 64);
        fs::create_directories(outside);
        for (int i = 0; i < 20; ++i) Write(outside / ("f" + std::to_string(i) + ".tmp"), 64);
        FrmJunk& junk = Open();
        junk.cmdFind.UserClick();
        host.boxes.clear();
        OwnedByAnotherUser(drive / "sub");
        stop = false;
        swapper = std::thread([&] {
            std::error_code ec;
            while (!stop) {
                fs::rename(drive / "sub", drive / "aside", ec);
                fs::create_directory_symlink(outside, drive / "sub", ec);
                OwnedByAnotherUser(drive / "sub");
                std::this_thread::yield();
                fs::remove(drive / "sub", ec);
                fs::rename(drive / "aside", drive / "sub", ec);
            }
        });
        junk.cmddelete.UserClick();
        stop = true;
        swapper.join();
        for (int i = 0; i < 20; ++i)
            ASSERT_EQ(fs::file_size(outside / ("f" + std::to_string(i) + ".tmp")), 64u)
                << "round " << rounds;
        ++rounds;
    }
    EXPECT_GT(rounds, 0);
}

}  // namespace
}  // namespace velloran::test
