// The file eradicator driven through clicks on the scripted host: the lists, the
// file run and the folder run, on the fake platform and on real files.
#include "app/frmErad.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "common/platform/linux/LinuxPlatform.hpp"
#include "support/AppFixture.hpp"
#include "support/Ext4Image.hpp"
#include "support/TestProcess.hpp"

namespace velloran::test {
namespace {

namespace fs = std::filesystem;

class frmEradTest : public AppFixture {
protected:
    void SetUp() override {
        LoadMain();
        platform.files = {"/data/a.txt", "/data/b.txt", "/data/c.txt"};
        platform.dirs = {"/data", "/data/sub"};
    }
    frmErad& Open() {
        frmErad& erad = app.Erad();
        erad.Load();
        return erad;
    }
    void Method(int secure, int recycle, int index) {
        main().stChk(Option::RecycleBin).SetValue(recycle);
        main().stChk(Option::SecureDelete).SetValue(secure);
        main().cmbsDelType.SetListIndex(index);
    }
    // Every caption the bar showed, in order.
    std::vector<std::string> captions;
    void Record(frmErad& erad) {
        erad.pbar.Changed.Connect([this, &erad] {
            if (captions.empty() || captions.back() != erad.pbar.Caption())
                captions.push_back(erad.pbar.Caption());
        });
    }
};

TEST_F(frmEradTest, ListsTakeFilesAndFoldersFromEveryWayInOnce) {
    frmErad& erad = Open();
    host.chosenFiles = {{"/data/a.txt"}, {}};
    erad.cmdadd.UserClick();
    erad.cmdadd.UserClick();  // cancelled: nothing
    ASSERT_EQ(erad.lview.Count(), 1);
    EXPECT_EQ(erad.lview.Row(0).key, "/data/a.txt");
    EXPECT_EQ(erad.lview.Row(0).text, "a.txt");
    EXPECT_EQ(host.dialogTitles.front(), "Select a file to eradicate|All Files(*.*)|*.*");

    // A dropped folder lands in the folder list and a dropped file in the file list,
    // whichever list it was dropped on; what is neither is ignored.
    erad.DropFiles({"/data/sub", "/data/b.txt", "/nowhere"});
    EXPECT_EQ(erad.lviewF.Count(), 1);
    EXPECT_EQ(erad.lview.Count(), 2);
    EXPECT_TRUE(host.boxes.empty());

    erad.DropFiles({"/data/a.txt"});
    ASSERT_EQ(host.boxes.size(), 1u);
    EXPECT_EQ(host.boxes[0].text, "File or Folder already exist in the list!");
    EXPECT_EQ(host.boxes[0].style, vbExclamation);
    EXPECT_EQ(erad.lview.Count(), 2);

    host.chosenFolders = {"/data/sub", "/"};
    erad.cmdaddf.UserClick();
    EXPECT_EQ(host.boxes.back().text, "Folder already exist in the list.");
    erad.cmdaddf.UserClick();  // a drive root is a folder like any other
    EXPECT_EQ(erad.lviewF.Count(), 2);
    EXPECT_EQ(host.dialogTitles.back(), "Select a folder to eradicate.");

    erad.cmdremove.UserClick();  // nothing selected: nothing happens
    EXPECT_EQ(erad.lview.Count(), 2);
    erad.lview.Select(1);
    erad.cmdremove.UserClick();
    ASSERT_EQ(erad.lview.Count(), 1);
    EXPECT_EQ(erad.lview.Row(0).key, "/data/a.txt");
}

TEST_F(frmEradTest, FileRunCountsTheRowsItStartedWithAndClosesTheWindow) {
    Method(1, 0, 1);  // Gutmann
    frmErad& erad = Open();
    erad.cmdwipe.UserClick();
    ASSERT_EQ(host.boxes.size(), 1u);
    EXPECT_EQ(host.boxes[0].text, "Nothing to delete! Please add a file to the list.");

    erad.DropFiles({"/data/a.txt", "/data/b.txt", "/data/c.txt"});
    platform.files.erase("/data/b.txt");  // vanished before the run
    Record(erad);
    host.boxes.clear();
    erad.cmdwipe.UserClick();
    ASSERT_EQ(host.boxes.size(), 2u);
    EXPECT_EQ(host.boxes[0].text,
              "Please confirm that you will like to delete the selected file(s).");
    EXPECT_EQ(host.boxes[0].style, vbQuestion | vbYesNo);
    EXPECT_EQ(host.boxes[1].text, "Selected task(s) completed successfully!");
    EXPECT_EQ(platform.calls,
              (std::vector<std::string>{"Overwrite:35:/data/a.txt", "Overwrite:35:/data/c.txt"}));
    EXPECT_EQ(erad.pbar.Value(), 2);
    EXPECT_EQ(captions.front(), "Preparing & loading libraries ....");
    EXPECT_NE(std::find(captions.begin(), captions.end(), "Erasing a.txt..."), captions.end());
    EXPECT_NE(std::find(captions.begin(), captions.end(), "3 file(s) eradicated.\r\n"),
              captions.end());
    EXPECT_EQ(captions.back(), "File(s) Eradication Completed.");
    EXPECT_FALSE(erad.IsLoaded());
}

TEST_F(frmEradTest, MethodsFollowTheSettingsAndAnUnknownIndexDeletesWithoutTheTrash) {
    struct Case {
        int secure, recycle, index;
        const char* call;
    } cases[] = {{1, 0, 0, "Overwrite:3:/data/a.txt"},
                 {1, 0, 2, "Overwrite:1:/data/a.txt"},
                 {1, 0, -1, "DeleteFileEntry:/data/a.txt"},
                 {0, 1, 0, "MoveToRecycleBin:/data/a.txt"},
                 {0, 0, 0, "DeleteFileEntry:/data/a.txt"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.call);
        platform.files.insert("/data/a.txt");
        platform.calls.clear();
        Method(c.secure, c.recycle, c.index);
        frmErad& erad = Open();
        erad.DropFiles({"/data/a.txt"});
        erad.cmdwipe.UserClick();
        EXPECT_EQ(platform.calls, std::vector<std::string>{c.call});
    }
}

TEST_F(frmEradTest, StopMidRunLeavesTheRestAndSaysSo) {
    Method(0, 0, 0);
    frmErad& erad = Open();
    erad.DropFiles({"/data/a.txt", "/data/b.txt", "/data/c.txt"});
    Record(erad);
    host.atDoEvents[host.doEvents + 1] = [&] { app.StopRequested = vbTrue; };
    erad.cmdwipe.UserClick();
    EXPECT_EQ(platform.calls, std::vector<std::string>{"DeleteFileEntry:/data/a.txt"});
    EXPECT_EQ(host.boxes.back().text, "Selected task(s) aborted by user successfully!");
    EXPECT_EQ(captions.back(), "File(s) Eradication Aborted by user.");
}

// The eradicator hands each found file over on its own; the wipe below it goes by
// batches, each pass on the disk for all files before the next, and the folder
// goes only after its files.
TEST_F(frmEradTest, FolderRunWipesItsFilesPassByPassBeforeTheFolderGoes) {
    platform.files = {"/data/a.txt", "/data/b.txt", "/data/sub/c.txt", "/other/d.txt"};
    platform.dirs = {"/data", "/data/sub", "/other"};
    Method(1, 0, 0);  // the zapper
    frmErad& erad = Open();
    erad.DropFiles({"/data", "/other"});
    Record(erad);
    erad.cmdwipef.UserClick();

    EXPECT_EQ(platform.calls,
              (std::vector<std::string>{"Overwrite:3:/data/a.txt", "Overwrite:3:/data/b.txt",
                                        "Overwrite:3:/data/sub/c.txt", "DeletePath:/data",
                                        "Overwrite:3:/other/d.txt", "DeletePath:/other"}));
    EXPECT_EQ(platform.passes,
              (std::vector<std::string>{
                  "write 1 /data/a.txt", "write 1 /data/b.txt", "write 1 /data/sub/c.txt", "sync 1",
                  "write 2 /data/a.txt", "write 2 /data/b.txt", "write 2 /data/sub/c.txt", "sync 2",
                  "write 3 /data/a.txt", "write 3 /data/b.txt", "write 3 /data/sub/c.txt", "sync 3",
                  "write 1 /other/d.txt", "sync 1", "write 2 /other/d.txt", "sync 2",
                  "write 3 /other/d.txt", "sync 3"}));
    // One progress text per file found, as before.
    for (const char* f : {"/data/a.txt", "/data/b.txt", "/data/sub/c.txt", "/other/d.txt"})
        EXPECT_EQ(std::count_if(captions.begin(), captions.end(),
                                [&](const std::string& c) {
                                    return c.starts_with(" Eradicating " + std::string(f));
                                }),
                  1)
            << f;
    EXPECT_EQ(host.boxes.back().text, "Selected task(s) completed successfully!");
}

// A window closed during a run stops the batch in progress; its files are removed
// and named, and the run ends as stopped.
TEST_F(frmEradTest, ClosingTheWindowMidBatchEndsItAndNamesWhatWasNotOverwritten) {
    LinuxPlatform real{Target{}};
    platform.realFiles = &real;
    platform.files.clear();
    const fs::path root = MakeTempDir("velloran-erad-stop");
    for (const char* f : {"one.doc", "two.doc", "three.doc"})
        std::ofstream(root / f) << "secret contents";
    Method(1, 0, 1);  // Gutmann
    frmErad& erad = Open();
    erad.DropFiles({root.string()});
    // The batch waits after its first pass until the window, pumped meanwhile,
    // has been closed.
    std::atomic<bool> synced{false};
    platform.atSync = [&](int, std::atomic<bool>* abort) {
        synced = true;
        for (int i = 0; i < 1000 && !abort->load(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    };
    bool closed = false;
    for (int i = 1; i < 2000; ++i)
        host.atDoEvents[host.doEvents + i] = [&] {
            if (!closed && synced) {
                closed = true;
                erad.Unload(0);
            }
        };
    erad.cmdwipef.UserClick();
    ASSERT_TRUE(closed);
    EXPECT_FALSE(fs::exists(root / "one.doc"));
    EXPECT_FALSE(fs::exists(root / "two.doc"));
    EXPECT_FALSE(fs::exists(root / "three.doc"));
    ASSERT_EQ(erad.NotDone.size(), 3u);
    for (const std::string& line : erad.NotDone)
        EXPECT_NE(line.find(": the wipe was stopped; 1 of 35 overwrite pass(es) reached the disk"),
                  std::string::npos)
            << line;
    EXPECT_EQ(host.boxes.back().text, "Selected task(s) aborted by user successfully!");
    fs::remove_all(root);
}

TEST_F(frmEradTest, FolderWipeOnDiskOverwritesTheTreeAndNothingALinkPointsTo) {
    LinuxPlatform real{Target{}};
    platform.realFiles = &real;
    platform.files.clear();
    const fs::path root = MakeTempDir("velloran-erad");
    const fs::path tree = root / "tree";
    for (const char* f : {"one.doc", "sub/two.doc", "sub/deeper/three.doc"}) {
        fs::create_directories((tree / f).parent_path());
        std::ofstream(tree / f) << "secret contents";
    }
    std::ofstream(root / "outside.txt") << "keep";
    std::ofstream(root / "shared.txt") << "shared data";
    fs::create_symlink(root / "outside.txt", tree / "link.txt");
    fs::create_hard_link(root / "shared.txt", tree / "sub/shared-name.txt");
    ::mkfifo((tree / "pipe").c_str(), 0600);

    Method(1, 0, 2);  // zero and delete
    frmErad& erad = Open();
    erad.DropFiles({tree.string()});
    ASSERT_EQ(erad.lviewF.Count(), 1);
    Record(erad);
    erad.cmdwipef.UserClick();

    EXPECT_FALSE(fs::exists(tree));
    EXPECT_EQ(std::ifstream(root / "outside.txt").rdbuf() ? fs::file_size(root / "outside.txt") : 0,
              4u);
    std::string shared;
    std::getline(std::ifstream(root / "shared.txt"), shared);
    EXPECT_EQ(shared, "shared data") << "another name's data is never overwritten";
    // The hard link is told in a message of its own before the completion message.
    ASSERT_GE(host.boxes.size(), 3u);
    const RecordedBox& told = host.boxes[host.boxes.size() - 2];
    EXPECT_EQ(told.style, vbExclamation);
    EXPECT_NE(told.text.find("shared-name.txt: has 1 other hard link(s)"), std::string::npos)
        << told.text;
    EXPECT_EQ(host.boxes.back().text, "Selected task(s) completed successfully!");
    EXPECT_NE(std::find(captions.begin(), captions.end(), "1 folder(s) eradicated.\r\n"),
              captions.end());
    EXPECT_EQ(captions.back(), "Folder(s) Eradication Completed.");
    const bool progressShown = std::any_of(captions.begin(), captions.end(), [](const auto& c) {
        return c.starts_with(" Eradicating ") && c.ends_with("%");
    });
    EXPECT_TRUE(progressShown);
    fs::remove_all(root);
}

TEST_F(frmEradTest, FolderWipeLeavesNoContentsOnAnExt4ImageAndTrashesOnlyWhenAsked) {
    Ext4Image disk;
    if (!disk.Usable()) GTEST_SKIP() << "mkfs.ext4 or loop mounts are not available here";
    LinuxPlatform real{Target{}};
    platform.realFiles = &real;
    const fs::path tree = disk.Root() / "tree";
    int n = 0;
    for (const char* f : {"a.doc", "sub/b.doc", "sub/deeper/c.doc"}) {
        fs::create_directories((tree / f).parent_path());
        std::string data;
        while (data.size() < 50000) data += "VELLORAN-FOLDER-MARKER-" + std::to_string(n);
        std::ofstream(tree / f, std::ios::binary) << data;
        ++n;
    }
    ASSERT_TRUE(disk.Unmount());
    ASSERT_TRUE(disk.Holds("VELLORAN-FOLDER-MARKER-2"));
    ASSERT_TRUE(disk.Mount());

    Method(1, 0, 0);  // the zapper, not to the trash
    frmErad& erad = Open();
    erad.DropFiles({tree.string()});
    erad.cmdwipef.UserClick();
    EXPECT_FALSE(fs::exists(tree));
    EXPECT_TRUE(erad.NotDone.empty());
    ASSERT_TRUE(disk.Unmount());
    for (int i = 0; i < n; ++i)
        EXPECT_FALSE(disk.Holds("VELLORAN-FOLDER-MARKER-" + std::to_string(i))) << i;
    ASSERT_TRUE(disk.Mount());

    // With "Delete files to recycle bin" ticked the folder itself goes to the trash.
    fs::create_directories(tree / "again");
    host.boxes.clear();
    Method(0, 1, 0);
    frmErad& again = Open();
    again.DropFiles({tree.string()});
    again.cmdwipef.UserClick();
    EXPECT_FALSE(fs::exists(tree));
    EXPECT_TRUE(std::any_of(platform.calls.begin(), platform.calls.end(), [&](const auto& c) {
        return c == "MoveToRecycleBin:" + tree.string();
    }));
}

}  // namespace
}  // namespace velloran::test
