// The IE cleaner on a copy of a prefix that Wine made (tests/data/ie/make-ie-prefix.sh):
// its user.reg with the IE keys, and the wininet cache, cookies and history folders.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "app/Application.hpp"
#include "app/FrmCleaner.hpp"
#include "app/FrmMain.hpp"
#include "cleaning/ClsClean.hpp"
#include "cleaning/Preview.hpp"
#include "cleaning/StartupDelete.hpp"
#include "cleaning/TaskCatalogue.hpp"
#include "cleaning/browsers/IECleaner.hpp"
#include "common/TaskWorker.hpp"
#include "common/VbError.hpp"
#include "common/platform/Autostart.hpp"
#include "common/platform/linux/Autostart.hpp"
#include "common/platform/linux/LinuxPlatform.hpp"
#include "common/registry/KelRegistry.hpp"
#include "common/registry/RegistryTree.hpp"
#include "common/registry/WinePrefixStore.hpp"
#include "support/ScriptedHost.hpp"
#include "support/TestProcess.hpp"

namespace velloran::test {

namespace fs = std::filesystem;

namespace {

const fs::path kFixture = fs::path(VELLORAN_TEST_DATADIR) / "ie" / "prefix";
constexpr const char* kIE = "Software\\Microsoft\\Internet Explorer";
constexpr const char* kAutoComplete =
    "Software\\Microsoft\\Protected Storage System Provider\\"
    "S-1-5-21-1004336348-1177238915-682003330-1000\\Data\\"
    "e161255a-37c3-11d2-bcaa-00c04fd929db\\e161255a-37c3-11d2-bcaa-00c04fd929db";

// A real platform on the prefix whose deletion of chosen files fails, as it does
// for a file in a folder the user may not change.
class PrefixPlatform : public LinuxPlatform {
public:
    using LinuxPlatform::LinuxPlatform;
    std::set<std::string> undeletable;
    bool RemoveFile(const std::string& path) override {
        return undeletable.count(path) == 0 && LinuxPlatform::RemoveFile(path);
    }
    void DeletePath(const std::string& path) override {
        if (undeletable.count(path) != 0) throw VbError::PermissionDenied();
        LinuxPlatform::DeletePath(path);
    }
};

std::set<std::string> FilesBelow(const fs::path& dir) {
    std::set<std::string> out;
    for (const auto& e : fs::recursive_directory_iterator(dir))
        if (e.is_regular_file()) out.insert(fs::relative(e.path(), dir).string());
    return out;
}

std::vector<std::string> ValueNames(RegistryStore& store, const std::string& key) {
    std::vector<std::string> names;
    for (const auto& v : KelRegistry(store).EnumerateValues(kHKeyCurrentUser, key))
        names.push_back(v.first);
    return names;
}

}  // namespace

class IECleanerTest : public ::testing::Test {
protected:
    void SetUp() override {
        root = MakeTempDir("velloran-ie");
        prefix = root / "prefix";
        profile =
            prefix / "drive_c" / "users" / "tester" / "AppData" / "Local" / "Microsoft" / "Windows";
        fs::create_directories(profile);
        fs::create_directories(prefix / "dosdevices");
        fs::create_symlink("../drive_c", prefix / "dosdevices" / "c:");
        fs::copy_file(kFixture / "user.reg", prefix / "user.reg");
        fs::copy(kFixture / "profile", profile, fs::copy_options::recursive);
        fs::create_directories(root / "servers");
        for (const char* var : {"XDG_STATE_HOME", "XDG_CONFIG_HOME"}) {
            const char* old = std::getenv(var);
            savedEnv.emplace_back(var, old ? std::optional<std::string>(old) : std::nullopt);
        }
        setenv("XDG_STATE_HOME", (root / "state").c_str(), 1);
        setenv("XDG_CONFIG_HOME", (root / "config").c_str(), 1);
        Open();
    }
    void TearDown() override {
        for (auto& [name, old] : savedEnv) {
            if (old)
                setenv(name.c_str(), old->c_str(), 1);
            else
                unsetenv(name.c_str());
        }
        fs::remove_all(root);
    }
    // Reads the prefix from disk, as the next run would.
    void Open() {
        WinePrefixStore::Options options;
        options.serverSearchRoots = {root / "servers"};
        store = std::make_unique<WinePrefixStore>(prefix, options);
    }
    IECleaner Cleaner(RegistryStore& registry, Platform& on) {
        IECleaner c(registry, on, "1.0.0");
        c.OnProgress = [this](const std::string& area, const std::string& text) {
            EXPECT_EQ(area, "Internet Explorer");
            lines.push_back(text);
        };
        c.OnError = [this](const WorkerFault& f) {
            errors.push_back(std::to_string(f.number) + " " + f.description + " " + f.location);
        };
        c.OnFileProgress = [this](const std::string& f, std::int32_t total, std::int32_t current) {
            progress.push_back(fs::path(f).filename().string() + " " + std::to_string(current) +
                               "/" + std::to_string(total));
        };
        c.OnStartupDelete = [this](const std::string& p) { deferred.push_back(p); };
        return c;
    }
    // Runs the seven operations in the order of the boxes.
    void RunAll(IECleaner& c) {
        Int16 n = 0;
        c.CleanTypedUrls(n);
        c.CleanAutoCompleteForms();
        c.RestoreWindowPosition();
        c.CleanHiddenLogs(n);
        c.CleanAutoCompletePasswords(n);
        c.CleanCache(window);
        c.CleanHistory();
    }
    fs::path Cache() const { return profile / "INetCache" / "Content.IE5"; }
    // The cache's subfolders, in the order they are emptied.
    std::vector<fs::path> CacheFolders() const {
        std::vector<fs::path> out;
        for (const auto& e : fs::directory_iterator(Cache()))
            if (e.is_directory()) out.push_back(e.path());
        std::sort(out.begin(), out.end());
        return out;
    }

    fs::path root, prefix, profile;
    std::vector<std::pair<std::string, std::optional<std::string>>> savedEnv;
    std::unique_ptr<WinePrefixStore> store;
    std::vector<std::string> lines, errors, progress, deferred;
    ScriptedHost formHost;
    Form window{formHost, "FrmCleaner"};
};

TEST_F(IECleanerTest, ShellFoldersMapThroughTheDriveLinksInAnyCase) {
    PrefixPlatform platform(Target{prefix, root / "own"});
    EXPECT_EQ(platform.HostPath("c:\\USERS\\Tester\\appdata"),
              (prefix / "drive_c" / "users" / "tester" / "AppData").string());
    EXPECT_EQ(platform.HostPath("C:\\users\\tester\\New Folder"),
              (prefix / "drive_c" / "users" / "tester" / "New Folder").string());
    EXPECT_EQ(platform.HostPath("D:\\data"), std::nullopt) << "no link for drive d:";
    EXPECT_EQ(platform.HostPath("relative\\path"), std::nullopt);

    IECleaner c(*store, platform, "1.0.0");
    EXPECT_EQ(c.ShellFolder("Cache"), (profile / "INetCache").string());
    // Without the expanded mirror the unexpanded folder is used.
    KelRegistry reg(*store);
    reg.KeyPath("Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders");
    reg.DeleteValue("History");
    reg.KeyPath("Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders");
    reg.WriteValue("History", RegData("%USERPROFILE%\\Hist"), kRegExpandSz);
    EXPECT_EQ(c.ShellFolder("History"),
              (prefix / "drive_c" / "users" / platform.UserName() / "Hist").string());
}

TEST_F(IECleanerTest, EachRegistryBoxRemovesOnlyItsValuesAndKeepsTheKeys) {
    PrefixPlatform platform(Target{prefix, root / "own"});
    IECleaner c = Cleaner(*store, platform);
    Int16 typed = 0, passwords = 0;
    c.CleanTypedUrls(typed);
    c.CleanAutoCompleteForms();
    c.RestoreWindowPosition();
    c.CleanAutoCompletePasswords(passwords);
    EXPECT_EQ(typed, 5);
    EXPECT_EQ(passwords, 2);
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "Cleared IE {typed addresses}. (5 values removed)",
                         "Cleared IE {autocomplete forms}. (3 values removed)",
                         "Reset IE {window position}. (1 value removed)",
                         "Cleared IE {autocomplete passwords}. (2 values removed)",
                     }));
    EXPECT_TRUE(errors.empty());

    store->Save();  // as the run does when it ends
    Open();         // what was saved to user.reg
    const std::string ie = kIE;
    for (const char* key : {"\\TypedURLs", "\\TypedURLsTime", "\\IntelliForms\\Storage1",
                            "\\IntelliForms\\Storage2"}) {
        EXPECT_TRUE(store->KeyExists(kHKeyCurrentUser, ie + key)) << key;
        EXPECT_TRUE(ValueNames(*store, ie + key).empty()) << key;
    }
    EXPECT_EQ(ValueNames(*store, ie + "\\Main"),
              (std::vector<std::string>{"Search Page", "Start Page"}));
    EXPECT_TRUE(ValueNames(*store, kAutoComplete).empty());
    // Another type of protected data is not the browser's.
    EXPECT_EQ(
        ValueNames(*store,
                   "Software\\Microsoft\\Protected Storage System Provider\\"
                   "S-1-5-21-1004336348-1177238915-682003330-1000\\Data\\"
                   "5e7e8100-9138-11d1-945a-00c04fc308ff\\00000000-0000-0000-0000-000000000000"),
        std::vector<std::string>{"item"});
    EXPECT_NE(ValueNames(*store,
                         "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\"
                         "Shell Folders")
                  .size(),
              0u);

    // A second run finds the keys empty; a registry without them says why.
    lines.clear();
    IECleaner again = Cleaner(*store, platform);
    again.CleanTypedUrls(typed);
    EXPECT_EQ(typed, 0);
    MemoryStore bare;
    IECleaner none = Cleaner(bare, platform);
    none.RestoreWindowPosition();
    none.CleanAutoCompleteForms();
    EXPECT_TRUE(errors.empty());
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "IE {typed addresses}: nothing stored, 0 values removed.",
                         "IE {window position}: nothing to clear; this Windows environment has "
                         "none of its keys (only Microsoft's Internet Explorer writes them, "
                         "Wine's own browser engine does not).",
                         "IE {autocomplete forms}: nothing to clear; this Windows environment has "
                         "none of its keys (only Microsoft's Internet Explorer writes them, "
                         "Wine's own browser engine does not).",
                     }));
}

TEST_F(IECleanerTest, FileBoxesEmptyTheirFoldersOnly) {
    PrefixPlatform platform(Target{prefix, root / "own"});
    const auto cookiesBefore = FilesBelow(profile / "INetCookies");
    const auto cacheBefore = FilesBelow(Cache());
    ASSERT_EQ(cacheBefore.size(), 7u);
    std::int64_t cacheBytes = 0;
    for (const auto& f : cacheBefore) cacheBytes += fs::file_size(Cache() / f);
    const std::int64_t cacheIndex = fs::file_size(Cache() / "index.dat");

    IECleaner c = Cleaner(*store, platform);
    Int16 logs = 0;
    c.CleanHiddenLogs(logs);
    EXPECT_EQ(logs, 3);
    EXPECT_FALSE(fs::exists(Cache() / "index.dat"));
    EXPECT_FALSE(fs::exists(profile / "INetCookies" / "index.dat"));
    auto cookiesKept = cookiesBefore;
    cookiesKept.erase("index.dat");
    ASSERT_FALSE(cookiesKept.empty());
    EXPECT_EQ(FilesBelow(profile / "INetCookies"), cookiesKept) << "the cookies stay";
    EXPECT_EQ(FilesBelow(Cache()).size(), 6u);

    std::vector<std::string> expectedProgress;
    for (const auto& folder : CacheFolders()) {
        const auto n = std::distance(fs::directory_iterator(folder), fs::directory_iterator());
        for (long i = 1; i <= n; ++i)
            expectedProgress.push_back(folder.filename().string() + " " + std::to_string(i) + "/" +
                                       std::to_string(n));
    }
    c.CleanCache(window);
    EXPECT_TRUE(FilesBelow(Cache()).empty());
    EXPECT_EQ(std::distance(fs::directory_iterator(Cache()), fs::directory_iterator()), 4)
        << "the cache's subfolders stay for wininet";
    // Folder by folder, each with its own count; the cache's own folder was empty.
    EXPECT_EQ(progress, expectedProgress);

    c.CleanHistory();
    EXPECT_TRUE(fs::is_directory(profile / "History" / "History.IE5"));
    EXPECT_TRUE(fs::is_empty(profile / "History" / "History.IE5")) << "day folders go too";
    EXPECT_EQ(FilesBelow(profile / "INetCookies"), cookiesKept);

    ASSERT_EQ(lines.size(), 3u);
    EXPECT_TRUE(lines[0].starts_with("Cleared IE {hidden logs}. (3 files, ")) << lines[0];
    EXPECT_EQ(lines[1], "Cleared IE {cache}. (6 files, " + std::to_string(cacheBytes - cacheIndex) +
                            " bytes removed in 5 folders)");
    EXPECT_EQ(lines[2], "Cleared IE {history}. (1 file, 32768 bytes removed)");
    EXPECT_TRUE(errors.empty());
}

TEST_F(IECleanerTest, ACacheFolderSwappedForALinkDuringTheCleanIsNeverFollowed) {
    // Run as root, every link is root's own: the folder must not be followed still.
    if (geteuid() != 0) GTEST_SKIP() << "the links of root's own folders need root";
    PrefixPlatform platform(Target{prefix, root / "own"});
    const fs::path swapped = CacheFolders().front();
    const fs::path outside = root / "outside";
    fs::copy(swapped, outside);
    const auto outsideFiles = FilesBelow(outside);
    ASSERT_FALSE(outsideFiles.empty());
    IECleaner c = Cleaner(*store, platform);
    c.OnFileProgress = [&](const std::string& folder, std::int32_t, std::int32_t current) {
        if (folder == swapped.string() && current == 1) {
            fs::rename(swapped, root / "aside");
            fs::create_directory_symlink(outside, swapped);
        }
    };
    c.CleanCache(window);
    EXPECT_EQ(FilesBelow(outside), outsideFiles);
    EXPECT_TRUE(deferred.empty()) << "nothing behind the link waits for the next start either";
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(lines.back().find("their folder became a symbolic link after the search"),
              std::string::npos)
        << lines.back();
}

TEST_F(IECleanerTest, AHistoryFolderThatStaysIsHandedOverAndNotCounted) {
    PrefixPlatform platform(Target{prefix, root / "own"});
    const fs::path day = profile / "History" / "History.IE5" / "MSHist012026112320261124";
    platform.undeletable.insert(day.string());
    IECleaner c = Cleaner(*store, platform);
    c.CleanHistory();
    EXPECT_EQ(deferred, std::vector<std::string>{day.string()});
    EXPECT_TRUE(fs::exists(day / "index.dat"));
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "Cleared IE {history}. (1 file, 32768 bytes removed)",
                         "Failed: 1 item of IE {history} could not be deleted now and was handed "
                         "to the deletion at the next start: \"" +
                             day.string() + "\".",
                     }));
}

TEST_F(IECleanerTest, MissingFoldersAndACancelAreReportedHonestly) {
    PrefixPlatform platform(Target{prefix, root / "own"});
    fs::remove_all(profile / "History" / "History.IE5");
    MemoryStore bare;  // no shell folders at all
    IECleaner none = Cleaner(bare, platform);
    Int16 n = 0;
    none.CleanHiddenLogs(n);
    IECleaner c = Cleaner(*store, platform);
    c.CleanHistory();
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "IE {hidden logs}: nothing to clear; this Windows environment names no "
                         "cache, cookies or history folder.",
                         "IE {history}: nothing to clear; no History.IE5 folder in \"" +
                             (profile / "History").string() + "\".",
                     }));

    // Cancel written during the walk stops it before the next file; no line follows.
    lines.clear();
    c.OnFileProgress = [&](const std::string&, std::int32_t, std::int32_t current) {
        if (current == 1 && progress.empty()) c.Cancel = vbTrue;
        progress.push_back("x");
    };
    EXPECT_FALSE(c.CleanCache(window));
    EXPECT_TRUE(lines.empty());
    EXPECT_EQ(FilesBelow(Cache()).size(), 6u) << "one file went before the cancel";
}

TEST_F(IECleanerTest, PreviewReportsTheSameAndChangesNothing) {
    const std::string userReg = ReadAll(prefix / "user.reg");
    const auto filesBefore = FilesBelow(profile);
    PrefixPlatform platform(Target{prefix, root / "own"});
    PreviewSummary summary;
    PreviewStore previewStore(*store, summary);
    PreviewPlatform previewPlatform(platform, summary);
    IECleaner preview = Cleaner(previewStore, previewPlatform);
    RunAll(preview);
    const auto previewLines = lines;
    EXPECT_EQ(ReadAll(prefix / "user.reg"), userReg);
    EXPECT_EQ(FilesBelow(profile), filesBefore);
    EXPECT_EQ(summary.registryValues, 11);

    lines.clear();
    Open();
    IECleaner real = Cleaner(*store, platform);
    RunAll(real);
    store->Save();
    EXPECT_EQ(lines, previewLines);
    EXPECT_NE(ReadAll(prefix / "user.reg"), userReg);
}

TEST_F(IECleanerTest, DoIERunsTheBoxesAndHandsALockedFileToTheNextStart) {
    ScriptedHost host;
    PrefixPlatform platform(Target{prefix, root / "own"});
    const fs::path firstFolder = CacheFolders().front();
    const fs::path locked = *fs::directory_iterator(CacheFolders().back());
    platform.undeletable.insert(locked.string());
    Application app(host, platform);
    app.SetRegistry(store.get());
    app.Main().Form_Initialize();
    app.Main().Load();
    for (int i = 1; i <= 7; ++i) app.Main().ie_Chk(i).SetValue(1);
    app.Cleaner().Load();
    ClsClean cs(app, app.Main().BuildPlan());
    std::string afterVerify, captionDuringCache;
    host.atDoEvents[1] = [&] { afterVerify = app.Cleaner().txtprogress.Text(); };
    // The hidden logs box emptied the cache's own folder: its first pump is for nothing.
    host.atDoEvents[3] = [&] { captionDuringCache = app.Cleaner().pbar.Caption(); };
    std::vector<std::tuple<std::string, int, int>> events;
    cs.Progress = [&](const std::string& t, int total, int current) {
        events.emplace_back(t, total, current);
    };
    cs.RunGroup(*FindGroup("ie"));

    EXPECT_TRUE(afterVerify.ends_with("\r\nVerifying IE jobs...")) << afterVerify;
    EXPECT_EQ(captionDuringCache, "Deleting temp/cache files in \"" + firstFolder.string() + "\" ");
    const std::string log = app.Cleaner().txtprogress.Text();
    std::size_t at = 0;
    for (const char* line :
         {"Verifying IE jobs...", "Cleaning IE Type Url's history ...",
          "Cleared IE {typed addresses}. (5 values removed)",
          "Cleaning IE Type Autocomplete forms ...", "Restoring IE window position ...",
          "Cleaning IE Encrypted Hidden logs ...", "Cleaning IE Autocomplete passwords ...",
          "Cleaning IE Cache ...", "Failed: 1 item of IE {cache} could not be deleted now",
          "Cleaning IE history ...", "Cleared IE {history}."}) {
        at = log.find(line, at);
        ASSERT_NE(at, std::string::npos) << line << "\n" << log;
    }
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.back(), std::make_tuple(std::string("Completed IE jobs..."), 7, 7));
    EXPECT_EQ(cs.Worker(), nullptr) << "the worker is released at the end of the group";

    EXPECT_EQ(app.Outcome.total.pending.size(), 1u)
        << "the console's exit status tells of the locked file";
    EXPECT_EQ(ReadAll(StartupDeleteListPath()), locked.string() + "\n");
    EXPECT_TRUE(fs::exists(AutostartEntryPath()));
    EXPECT_TRUE(fs::exists(locked));
}

}  // namespace velloran::test
