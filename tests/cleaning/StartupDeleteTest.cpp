#include <gtest/gtest.h>

#include "cleaning/StartupDelete.hpp"
#include "common/Target.hpp"
#include "common/platform/Autostart.hpp"
#include "common/platform/linux/Autostart.hpp"
#include "support/AppFixture.hpp"
#include "support/EnvGuard.hpp"

namespace velloran::test {

class StartupDeleteTest : public AppFixture {
protected:
    void SetUp() override {
        LoadMain();
        autostartDir = (XdgConfigHome() / "autostart").string();
        platform.dirs.insert(autostartDir);
    }
    std::string List() { return platform.texts[StartupDeleteListPath()]; }
    std::string Entry() { return platform.texts[AutostartEntryPath()]; }
    // The program started again with `commandLine`, on the same registry and files.
    int StartWith(const std::string& commandLine, Application& next) {
        next.SetRegistry(&registry);
        next.CommandLine = commandLine;
        next.Main().Form_Initialize();
        try {
            next.Main().Load();
        } catch (const ProgramEnd& e) {
            return e.code;
        }
        return -1;
    }
    std::string autostartDir;
};

TEST_F(StartupDeleteTest, RequestsAreEachKeptOnceAndWriteTheAutostartEntry) {
    EXPECT_EQ(RequestStartupDelete(app, "/home/alice/.cache/first.dat"), vbTrue);
    EXPECT_EQ(RequestStartupDelete(app, "/home/alice/.cache/in use.dat"), vbTrue);
    EXPECT_EQ(RequestStartupDelete(app, "/home/alice/.cache/first.dat"), vbTrue);
    EXPECT_EQ(List(), "/home/alice/.cache/first.dat\n/home/alice/.cache/in use.dat\n");
    EXPECT_TRUE(platform.dirs.count((XdgStateHome() / "velloran").string()));
    EXPECT_EQ(Entry(),
              "[Desktop Entry]\nType=Application\nName=Velloran start-up deletion\n"
              "Comment=Deletes what the last clean could not delete while it was in use\n"
              "Exec=/usr/bin/velloran -delstart\nTerminal=false\n");
    // The old entry is removed before the new one is written, never written through.
    EXPECT_EQ(platform.calls.back(), "WriteTextFile:" + AutostartEntryPath());
    EXPECT_EQ(platform.calls[platform.calls.size() - 2], "RemoveFile:" + AutostartEntryPath());

    // A program path with blanks and a backslash is quoted, and the backslash
    // escaped for the quoting and again for the file.
    platform.exePath = "/opt/my apps\\x/velloran";
    RequestStartupDelete(app, "/tmp/x");
    EXPECT_NE(Entry().find("\nExec=\"/opt/my apps\\\\\\\\x/velloran\" -delstart\n"),
              std::string::npos)
        << Entry();
    EXPECT_TRUE(host.boxes.empty());
}

TEST_F(StartupDeleteTest, AListSomeoneElseCouldHaveWrittenIsNeverActedOn) {
    // Planted by another user in a folder open to everyone: it names the user's documents.
    platform.files = {"/home/alice/Documents", StartupDeleteListPath()};
    platform.texts[StartupDeleteListPath()] = "/home/alice/Documents\n";
    platform.notPrivate.insert(StartupDeleteListPath());
    Application next(host, platform);
    EXPECT_EQ(StartWith("-delstart", next), 0);
    EXPECT_EQ(platform.calls, (std::vector<std::string>{"RemoveFile:" + AutostartEntryPath(),
                                                        "RemoveFile:" + StartupDeleteListPath()}));
    EXPECT_TRUE(platform.files.count("/home/alice/Documents"));
    EXPECT_TRUE(host.reports.empty());

    // Nor is it carried over into the user's own next request.
    platform.files.insert(StartupDeleteListPath());
    platform.texts[StartupDeleteListPath()] = "/home/alice/Documents\n";
    platform.notPrivate.insert(StartupDeleteListPath());
    RequestStartupDelete(app, "/home/alice/.cache/locked.dat");
    EXPECT_EQ(List(), "/home/alice/.cache/locked.dat\n");
}

TEST_F(StartupDeleteTest, RequestWithoutAutostartFolderOrWithLineBreak) {
    platform.dirs.erase(autostartDir);
    RequestStartupDelete(app, "/tmp/a");
    EXPECT_EQ(List(), "/tmp/a\n");
    EXPECT_TRUE(platform.dirs.count(autostartDir)) << "a missing autostart folder is created";
    EXPECT_TRUE(platform.texts.count(AutostartEntryPath()));

    // A name with a line break cannot be one line: refused, the earlier request kept.
    for (const char* bad : {"/tmp/two\nlines", "/tmp/cr\r"}) {
        host.boxes.clear();
        EXPECT_EQ(RequestStartupDelete(app, bad), vbFalse);
        ASSERT_EQ(host.boxes.size(), 1u);
        EXPECT_NE(host.boxes[0].text.find("line break"), std::string::npos);
        EXPECT_EQ(host.boxes[0].style, vbExclamation);
        EXPECT_EQ(List(), "/tmp/a\n");
    }
    EXPECT_TRUE(host.reports.empty());
}

TEST_F(StartupDeleteTest, ExecArgumentsAreQuotedAsDesktopEntriesRequire) {
    EXPECT_EQ(DesktopExecArgument("/usr/bin/velloran"), "/usr/bin/velloran");
    EXPECT_EQ(DesktopExecArgument("/a b"), "\"/a b\"");
    EXPECT_EQ(DesktopExecArgument("/a\"b"), "\"/a\\\"b\"");
    EXPECT_EQ(DesktopExecArgument("/a$b`c"), "\"/a\\$b\\`c\"");
    EXPECT_EQ(DesktopExecArgument("/x's"), "\"/x's\"");
    EXPECT_EQ(DesktopExecArgument("/100%"), "/100%%");
    EXPECT_EQ(DesktopExecArgument("/a b%"), "\"/a b%%\"");
    EXPECT_EQ(DesktopExecArgument(""), "\"\"");
    EXPECT_EQ(DesktopStringValue("a\\b\tc\nd"), "a\\\\b\\tc\\nd");
}

TEST_F(StartupDeleteTest, ShellDeleteFlags) {
    platform.dirs.insert("/p/folder");
    platform.files = {"/p/a", "/p/b", "/p/c"};

    // 0: deleted for good, one trailing separator dropped in place.
    std::string path = "/p/folder/";
    EXPECT_EQ(ShellDelete(app, kShellOpDelete, path, vbFalse), vbTrue);
    EXPECT_EQ(path, "/p/folder");
    path = "/p/a\\";
    ShellDelete(app, kShellOpDelete, path, vbFalse);
    EXPECT_EQ(path, "/p/a");
    // -1: to the trash.
    path = "/p/b";
    ShellDelete(app, kShellOpDelete, path, vbTrue);
    EXPECT_EQ(platform.calls, (std::vector<std::string>{"DeletePath:/p/folder", "DeletePath:/p/a",
                                                        "MoveToRecycleBin:/p/b"}));
    // Failures are skipped without a word in both modes; the answer stays True.
    platform.undeletable.insert("/p/c");
    path = "/p/c";
    EXPECT_EQ(ShellDelete(app, kShellOpDelete, path, vbFalse), vbTrue);
    path = "/p/missing";
    EXPECT_EQ(ShellDelete(app, kShellOpDelete, path, vbTrue), vbTrue);
    EXPECT_TRUE(host.boxes.empty());
    EXPECT_TRUE(host.reports.empty());

    // The root loses its only separator and leaves nothing to delete.
    platform.calls.clear();
    path = "/";
    ShellDelete(app, kShellOpDelete, path, vbFalse);
    EXPECT_TRUE(platform.calls.empty());
    // Another operation has no destination to work with: nothing happens.
    path = "/p/c";
    EXPECT_EQ(ShellDelete(app, 1, path, vbFalse), vbTrue);
    EXPECT_TRUE(platform.calls.empty());
}

TEST_F(StartupDeleteTest, ShellDeleteWithOtherFlagAsksAndReports) {
    platform.files = {"/p/a", "/p/b"};
    platform.undeletable.insert("/p/b");
    host.answers = {vbNo, vbYes, vbYes};
    std::string path = "/p/a";
    ShellDelete(app, kShellOpDelete, path, 1);
    ASSERT_EQ(host.boxes.size(), 1u);
    EXPECT_EQ(host.boxes[0].text, "Are you sure you want to permanently delete \"/p/a\"?");
    EXPECT_EQ(host.boxes[0].style, vbYesNo + vbQuestion);
    EXPECT_TRUE(platform.calls.empty()) << "No keeps the file";

    ShellDelete(app, kShellOpDelete, path, 1);
    EXPECT_EQ(platform.calls, (std::vector<std::string>{"DeletePath:/p/a"}));
    EXPECT_FALSE(platform.files.count("/p/a"));

    path = "/p/b";
    EXPECT_EQ(ShellDelete(app, kShellOpDelete, path, 2), vbTrue);
    ASSERT_EQ(host.boxes.size(), 4u);  // asked, then told
    EXPECT_EQ(host.boxes[3].text, "Cannot delete \"/p/b\": Permission denied: /p/b");
    EXPECT_EQ(host.boxes[3].style, vbCritical);
    EXPECT_TRUE(host.reports.empty());
}

TEST_F(StartupDeleteTest, DelstartDeletesCleansUpAndEndsWithoutAWindow) {
    platform.files.insert("/home/alice/locked.dat");
    RequestStartupDelete(app, "/home/alice/locked.dat");
    platform.calls.clear();

    Application next(host, platform);
    EXPECT_EQ(StartWith("-delstart", next), 0);
    EXPECT_EQ(platform.calls, (std::vector<std::string>{"DeletePath:/home/alice/locked.dat",
                                                        "RemoveFile:" + AutostartEntryPath(),
                                                        "RemoveFile:" + StartupDeleteListPath()}));
    EXPECT_FALSE(platform.files.count("/home/alice/locked.dat"));
    EXPECT_FALSE(platform.files.count(StartupDeleteListPath()));
    EXPECT_TRUE(host.shown.empty());
    EXPECT_TRUE(host.boxes.empty());

    // Without a list the entry and the list are still removed and the program ends.
    platform.calls.clear();
    Application again(host, platform);
    EXPECT_EQ(StartWith("-delstart", again), 0);
    EXPECT_EQ(platform.calls, (std::vector<std::string>{"RemoveFile:" + AutostartEntryPath(),
                                                        "RemoveFile:" + StartupDeleteListPath()}));
}

TEST_F(StartupDeleteTest, StoredRecycleOptionSendsThePathToTheTrash) {
    main().stChk(Option::RecycleBin).UserClick();
    main().Unload();  // saves the settings
    platform.files.insert("/p/x");
    platform.texts[StartupDeleteListPath()] = "/p/x\r\n";  // a list written on Windows
    platform.files.insert(StartupDeleteListPath());
    platform.calls.clear();
    Application next(host, platform);
    EXPECT_EQ(StartWith("-delstart", next), 0);
    ASSERT_FALSE(platform.calls.empty());
    EXPECT_EQ(platform.calls[0], "MoveToRecycleBin:/p/x");
}

TEST_F(StartupDeleteTest, ListStopsAtAnEmptyLineAndOtherCommandLinesStartNormally) {
    platform.files = {"/p/a", "/p/b", "/p/c", StartupDeleteListPath()};
    platform.texts[StartupDeleteListPath()] = "/p/a\n/p/b\n\n/p/c\n";
    Application first(host, platform);
    EXPECT_EQ(StartWith("-delstart", first), 0);
    EXPECT_EQ(platform.files, (std::set<std::string>{"/p/c"}));

    platform.files = {"/p/a", StartupDeleteListPath()};
    platform.texts[StartupDeleteListPath()] = "/p/a\n";
    platform.calls.clear();
    for (const char* commandLine : {"-delstart /p/a", "-DELSTART", "", " -delstart"}) {
        Application normal(host, platform);
        EXPECT_EQ(StartWith(commandLine, normal), -1) << commandLine;
        EXPECT_TRUE(normal.Main().IsLoaded());
    }
    EXPECT_TRUE(platform.calls.empty());
    EXPECT_EQ(platform.texts[StartupDeleteListPath()], "/p/a\n");
}

}  // namespace velloran::test

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>

#include "common/platform/linux/LinuxPlatform.hpp"
#include "support/TempDir.hpp"
#include "support/TestProcess.hpp"

namespace velloran::test {

// The whole round on disk: a request, then the next start with "-delstart".
class StartupDeleteOnDisk : public ::testing::Test {
protected:
    void SetUp() override {
        root = test::MakeTempDir("velloran-delstart");
        env.Set("XDG_STATE_HOME", (root / "state").c_str());
        env.Set("XDG_CONFIG_HOME", (root / "config").c_str());
    }
    void TearDown() override { std::filesystem::remove_all(root); }
    std::filesystem::path root;
    test::EnvGuard env;
};

TEST_F(StartupDeleteOnDisk, RequestThenDelstartStart) {
    namespace fs = std::filesystem;
    fs::create_directories(root / "config" / "autostart");
    fs::create_directories(root / "data" / "in use" / "sub");
    std::ofstream(root / "data" / "in use" / "sub" / "f.txt") << "x";
    ScriptedHost host;
    LinuxPlatform platform{Target{}};
    MemoryStore registry;
    {
        Application app(host, platform);
        app.SetRegistry(&registry);
        RequestStartupDelete(app, (root / "data" / "in use").string() + "/");
    }
    std::ifstream list(root / "state" / "velloran" / "delstart.dat");
    std::string line;
    std::getline(list, line);
    EXPECT_EQ(line, (root / "data" / "in use").string() + "/");
    std::ifstream entryFile(root / "config" / "autostart" / "velloran-delstart.desktop");
    std::string entry((std::istreambuf_iterator<char>(entryFile)),
                      std::istreambuf_iterator<char>());
    EXPECT_NE(
        entry.find("Exec=" + DesktopStringValue(DesktopExecArgument(platform.ExecutablePath())) +
                   " -delstart\n"),
        std::string::npos)
        << entry;

    Application next(host, platform);
    next.SetRegistry(&registry);
    next.CommandLine = "-delstart";
    next.Main().Form_Initialize();
    EXPECT_THROW(next.Main().Load(), ProgramEnd);
    EXPECT_FALSE(fs::exists(root / "data" / "in use"));
    EXPECT_TRUE(fs::exists(root / "data"));
    EXPECT_FALSE(fs::exists(root / "state" / "velloran" / "delstart.dat"));
    EXPECT_FALSE(fs::exists(root / "config" / "autostart" / "velloran-delstart.desktop"));
    EXPECT_TRUE(host.reports.empty());
}

TEST_F(StartupDeleteOnDisk, FoldersAndFilesAreTheUsersAloneWhateverTheMask) {
    namespace fs = std::filesystem;
    fs::create_directories(root / "data" / "Documents");
    std::ofstream(root / "data" / "Documents" / "thesis.odt") << "years of work";
    std::ofstream(root / "data" / "a.tmp") << "a";
    std::ofstream(root / "data" / "b.tmp") << "b";
    ScriptedHost host;
    LinuxPlatform platform{Target{}};
    MemoryStore registry;
    auto mode = [](const fs::path& p) {
        struct stat st {};
        return ::lstat(p.c_str(), &st) == 0 ? st.st_mode & 07777 : 01000u;
    };
    const mode_t mask = ::umask(0);
    {
        Application app(host, platform);
        app.SetRegistry(&registry);
        RequestStartupDelete(app, (root / "data" / "a.tmp").string());
        RequestStartupDelete(app, (root / "data" / "b.tmp").string());
    }
    ::umask(mask);
    for (const fs::path& folder : {root / "state", root / "state" / "velloran", root / "config",
                                   root / "config" / "autostart"})
        EXPECT_EQ(mode(folder), 0700u) << folder;
    const fs::path list = root / "state" / "velloran" / "delstart.dat";
    EXPECT_EQ(mode(list), 0600u);
    EXPECT_EQ(mode(root / "config" / "autostart" / "velloran-delstart.desktop"), 0600u);
    EXPECT_EQ(ReadAll(list), (root / "data" / "a.tmp").string() + "\n" +
                                 (root / "data" / "b.tmp").string() + "\n");

    // A list that others may write, or that another user owns, names nothing to delete.
    auto startWithList = [&](const std::function<void()> plant) {
        std::ofstream(list, std::ios::trunc) << (root / "data" / "Documents").string() << "\n";
        plant();
        Application next(host, platform);
        next.SetRegistry(&registry);
        next.CommandLine = "-delstart";
        next.Main().Form_Initialize();
        EXPECT_THROW(next.Main().Load(), ProgramEnd);
        EXPECT_TRUE(fs::exists(root / "data" / "Documents" / "thesis.odt"));
    };
    startWithList([&] { ::chmod(list.c_str(), 0666); });
    if (::geteuid() == 0) startWithList([&] { ASSERT_EQ(::chown(list.c_str(), 54321, 54321), 0); });
    EXPECT_TRUE(host.reports.empty());
}

}  // namespace velloran::test
