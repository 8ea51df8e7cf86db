// The prefix store on disk: new files, saving only on change, atomic replacement,
// full disks, unreadable files, and refusing prefixes whose wineserver runs.
#include "common/registry/WinePrefixStore.hpp"

#include <fcntl.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <thread>

#include "cli/CliProcess.hpp"
#include "common/VbError.hpp"
#include "common/platform/WineServer.hpp"
#include "common/registry/OpenStore.hpp"
#include "common/registry/RegTestUtil.hpp"
#include "common/registry/WineRegFile.hpp"
#include "support/TestProcess.hpp"

namespace velloran {
namespace {

namespace fs = std::filesystem;
using regtest::DataFile;
using regtest::ReadBytes;
using regtest::ScratchDir;
using regtest::WriteBytes;

struct stat StatOf(const fs::path& p) {
    struct stat st {};
    EXPECT_EQ(lstat(p.c_str(), &st), 0) << p;
    return st;
}

std::vector<std::string> FolderEntries(const fs::path& dir) {
    std::vector<std::string> out;
    for (const auto& e : fs::directory_iterator(dir)) out.push_back(e.path().filename().string());
    std::sort(out.begin(), out.end());
    return out;
}

TEST(WinePrefixStore, NewFilesGetWinesHeaderAndOnlyChangesAreWritten) {
    ScratchDir dir;
    {
        WinePrefixStore store(dir.Path());
        EXPECT_FALSE(store.IsDirty());
        store.Save();
        EXPECT_TRUE(FolderEntries(dir.Path()).empty());
        store.WriteValue(kHKeyCurrentUser, "Software\\Velloran\\settings", "set1",
                         RegValue::String("1"));
        store.Save();
    }
    EXPECT_EQ(FolderEntries(dir.Path()), std::vector<std::string>{"user.reg"});
    const std::string text = ReadBytes(dir / "user.reg");
    const std::string head =
        "WINE REGISTRY Version 2\n;; All keys relative to "
        "REGISTRY\\\\User\\\\S-1-5-21-0-0-0-1000\n\n"
        "#arch=win64\n\n[Software\\\\Velloran\\\\settings] ";
    EXPECT_EQ(text.substr(0, head.size()), head) << text;
    EXPECT_EQ(text.substr(text.size() - 11), "\"set1\"=\"1\"\n");

    {
        WinePrefixStore store(dir.Path());
        EXPECT_EQ(store.ReadValue(kHKeyCurrentUser, "software\\velloran\\SETTINGS", "SET1"),
                  RegValue::String("1"));
        // Writing what is already there changes nothing, and nothing is written.
        struct stat before = StatOf(dir / "user.reg");
        store.WriteValue(kHKeyCurrentUser, "Software\\Velloran\\settings", "set1",
                         RegValue::String("1"));
        store.CreateKey(kHKeyCurrentUser, "Software\\Velloran");
        EXPECT_FALSE(store.IsDirty());
        store.Save();
        struct stat after = StatOf(dir / "user.reg");
        EXPECT_EQ(before.st_ino, after.st_ino);
        EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
        // Machine data goes to system.reg alone.
        store.WriteValue(kHKeyLocalMachine, "Software\\X", "v", RegValue::Dword(3));
        store.Save();
        EXPECT_EQ(StatOf(dir / "user.reg").st_ino, before.st_ino);
        EXPECT_NE(
            ReadBytes(dir / "system.reg").find(";; All keys relative to REGISTRY\\\\Machine\n"),
            std::string::npos);
    }

    // A new file takes the prefix's architecture from its sibling.
    ScratchDir dir32;
    WriteBytes(dir32 / "system.reg",
               "WINE REGISTRY Version 2\n;; All keys relative to \\\\Machine\n\n#arch=win32\n");
    WinePrefixStore store32(dir32.Path());
    store32.CreateKey(kHKeyCurrentUser, "Software\\Velloran");
    store32.Save();
    EXPECT_NE(ReadBytes(dir32 / "user.reg").find("\n#arch=win32\n"), std::string::npos);
    EXPECT_EQ(ReadBytes(dir32 / "system.reg"),
              "WINE REGISTRY Version 2\n;; All keys relative to \\\\Machine\n\n#arch=win32\n");
}

// Values are parsed when first asked for, from the text as read: also after saves
// that replaced that text, and for a key whose sections are split over the file.
TEST(WinePrefixStore, ValuesAskedForAfterSavesComeFromTheFileAsRead) {
    ScratchDir dir;
    WriteBytes(dir / "user.reg",
               "WINE REGISTRY Version 2\n;; All keys relative to "
               "REGISTRY\\\\User\\\\S-1-5-21-0-0-0-1000\n\n#arch=win64\n"
               "\n[A] 1700000000\n#time=1da1747c66d0000\n\"x\"=\"1\"\n"
               "\n[B] 1700000000\n#time=1da1747c66d0000\n\"y\"=hex:01,02,\\\n  03\n"
               "\"z\"=dword:00000005\n"
               "\n[C] 1700000000\n\"c\"=\"kept\"\n"
               "\n[b] 1700000000\n\"Y\"=\"again\"\n\"w\"=\"\"\n");
    WinePrefixStore::Options options;
    options.isPrefix = false;
    WinePrefixStore store(dir.Path(), options);
    for (int round = 0; round < 2; ++round) {
        store.WriteValue(kHKeyCurrentUser, "A", "x", RegValue::String(std::to_string(round)));
        store.Save();
    }
    const auto names = [&](const char* key) {
        std::vector<std::string> out;
        for (const auto& v : store.EnumerateValues(kHKeyCurrentUser, key)) out.push_back(v.name);
        return out;
    };
    EXPECT_EQ(names("B"), (std::vector<std::string>{"w", "y", "z"}));
    EXPECT_EQ(store.ReadValue(kHKeyCurrentUser, "B", "y")->data, RegValue::String("again").data)
        << "the later section's data, the first spelling";
    EXPECT_EQ(store.ReadValue(kHKeyCurrentUser, "B", "z")->data, (RegBytes{5, 0, 0, 0}));
    store.WriteValue(kHKeyCurrentUser, "C", "d", RegValue::String("new"));
    store.Save();
    const std::string text = ReadBytes(dir / "user.reg");
    EXPECT_NE(text.find("\"c\"=\"kept\"\n\"d\"=\"new\""), std::string::npos) << text;
    EXPECT_NE(text.find("\"y\"=hex:01,02,\\\n  03\n"), std::string::npos) << text;
}

// The text with the times of keys written today left out.
std::string WithoutNewTimes(std::string text) {
    for (size_t at = 0; (at = text.find("] 17", at)) != std::string::npos; ++at) {
        const size_t end = text.find('\n', at);
        if (text.compare(at, 12, "] 1700000000") == 0) continue;
        text.replace(at + 2, end - at - 2, "T");
        const size_t time = at + 4;
        if (text.compare(time, 6, "#time=") == 0)
            text.replace(time + 6, text.find('\n', time) - time - 6, "T");
    }
    return text;
}

// A large file is read through in windows and afterwards filled from the file
// only where keys are looked at. Sections larger than a window, hex data going on
// across window ends and the cut into two parts must give what a whole read gives.
TEST(WinePrefixStore, ALargeFileReadInPartsSavesWhatAWholeReadSaves) {
    std::string text =
        "WINE REGISTRY Version 2\n;; All keys relative to "
        "REGISTRY\\\\User\\\\S-1-5-21-0-0-0-1000\n\n#arch=win64\n";
    for (int i = 0; i < 44000; ++i) {
        char key[80];
        std::snprintf(key, sizeof key, "Software\\\\Vendor %02d\\\\App %05d", i / 1000, i);
        text += std::string("\n[") + key +
                "] 1700000000\n#time=1d00000000000000\n\"Path\"=\"C:\\\\App " + std::to_string(i) +
                "\"\n";
        // Hex data over many lines, some of it longer than a window.
        if (i % 997 == 0) {
            text += "\"Blob\"=hex:";
            const int lines = i == 11964 ? 12000 : 40;
            for (int l = 0; l < lines; ++l) text += "00,01,02,03,04,05,06,07,08,09,0a,0b,\\\n  ";
            text += "ff\n";
        }
    }
    ASSERT_GT(text.size(), size_t{4} << 20);
    const auto clean = [](TreeStore& store) {
        EXPECT_EQ(store.ReadValue(kHKeyCurrentUser, "Software\\Vendor 11\\App 11964", "Blob")
                      ->data.size(),
                  12000u * 12 + 1);
        EXPECT_TRUE(store.DeleteValue(kHKeyCurrentUser, "Software\\Vendor 03\\App 03000", "Path"));
        store.WriteValue(kHKeyCurrentUser, "Software\\Vendor 43\\App 43999", "Path",
                         RegValue::String("D:\\moved"));
        store.CreateKey(kHKeyCurrentUser, "Software\\Vendor 12\\New");
    };
    // The same edits on the text read whole, in memory.
    MemoryStore memory;
    ReadWineRegistry(memory.UserHive(), text, "user.reg");
    clean(memory);
    std::string expected = RenderWineRegistry(memory.UserHive(), WineBranch::User, "win64");

    ScratchDir dir;
    WriteBytes(dir / "user.reg", text);
    WinePrefixStore::Options options;
    options.isPrefix = false;
    {
        WinePrefixStore store(dir.Path(), options);
        EXPECT_TRUE(store.UserHive().text.Lazy());
        EXPECT_NE(store.UserHive().keySource, nullptr)
            << "read by sections, not by the full reader";
        clean(store);
        store.Save();
    }
    // Compared by hand, without the times of the keys written now: a diff of two
    // files this large is beyond the test framework.
    const std::string got = WithoutNewTimes(ReadBytes(dir / "user.reg"));
    expected = WithoutNewTimes(expected);
    const size_t differ = static_cast<size_t>(
        std::mismatch(got.begin(), got.end(), expected.begin(), expected.end()).first -
        got.begin());
    EXPECT_TRUE(got == expected) << "first difference at " << differ << ": "
                                 << got.substr(differ > 80 ? differ - 80 : 0, 200) << "\n---\n"
                                 << expected.substr(differ > 80 ? differ - 80 : 0, 200);

    // Another program rewrites the file in place after the read: what was not
    // read yet is refused, not taken from the new text; from the next look on,
    // the store works on the new text with its own change made again, and the
    // save keeps both.
    WriteBytes(dir / "user.reg", text);
    WinePrefixStore store(dir.Path(), options);
    store.WriteValue(kHKeyCurrentUser, "Software\\Vendor 01\\App 01000", "Path",
                     RegValue::String("F:\\"));
    std::string other = text;
    other.replace(other.find("C:\\\\App 7000\""), 12, "E:\\\\App 7000");
    {
        std::ofstream inPlace(dir / "user.reg", std::ios::in | std::ios::out | std::ios::binary);
        inPlace << other;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ::utimensat(AT_FDCWD, (dir / "user.reg").c_str(), nullptr, 0);
    try {
        store.ReadValue(kHKeyCurrentUser, "Software\\Vendor 20\\App 20000", "Path");
        ADD_FAILURE() << "a key of the changed file was read";
    } catch (const VbError& e) {
        EXPECT_NE(e.Description().find("another program changed it"), std::string::npos)
            << e.Description();
    }
    // The next look reads the new text and makes this store's change on it again.
    EXPECT_EQ(store.ReadValue(kHKeyCurrentUser, "Software\\Vendor 07\\App 07000", "Path")->data,
              RegValue::String("E:\\App 7000").data);
    EXPECT_EQ(store.ReadValue(kHKeyCurrentUser, "Software\\Vendor 01\\App 01000", "Path")->data,
              RegValue::String("F:\\").data);
    store.Save();
    const std::string saved = ReadBytes(dir / "user.reg");
    EXPECT_NE(saved.find("\"Path\"=\"E:\\\\App 7000\""), std::string::npos);
    EXPECT_NE(saved.find("\"Path\"=\"F:\\\\\""), std::string::npos);
}

TEST(WinePrefixStore, SaveReplacesAtomicallyAndKeepsModeAndOwner) {
    ScratchDir dir;
    const std::string original = ReadBytes(DataFile("wine8-user.reg"));
    WriteBytes(dir / "user.reg", original);
    ASSERT_EQ(chmod((dir / "user.reg").c_str(), 0640), 0);
    bool root = geteuid() == 0;
    if (root) {
        ASSERT_EQ(chown((dir / "user.reg").c_str(), 1234, 2345), 0);
    }
    struct stat before = StatOf(dir / "user.reg");

    WinePrefixStore store(dir.Path());
    store.DeleteValue(kHKeyCurrentUser, "Environment", "TEMP");
    store.Save();
    struct stat after = StatOf(dir / "user.reg");
    EXPECT_NE(after.st_ino, before.st_ino);  // replaced by rename, never rewritten in place
    EXPECT_EQ(after.st_mode & 07777, 0640u);
    if (root) {
        EXPECT_EQ(after.st_uid, 1234u);
        EXPECT_EQ(after.st_gid, 2345u);
    }
    EXPECT_EQ(FolderEntries(dir.Path()), std::vector<std::string>{"user.reg"});
    EXPECT_EQ(WinePrefixStore(dir.Path()).ReadValue(kHKeyCurrentUser, "Environment", "TEMP"),
              std::nullopt);

    // A file the store makes is its owner's alone, whatever the file mode mask.
    ScratchDir fresh;
    const mode_t mask = umask(0);
    WinePrefixStore::Options own;
    own.isPrefix = false;
    WinePrefixStore created(fresh / "config" / "velloran", own);
    created.WriteValue(kHKeyCurrentUser, "Software\\Velloran", "x", RegValue::Dword(1));
    created.Save();
    umask(mask);
    EXPECT_EQ(StatOf(fresh / "config").st_mode & 07777, 0700u);
    EXPECT_EQ(StatOf(fresh / "config" / "velloran").st_mode & 07777, 0700u);
    EXPECT_EQ(StatOf(fresh / "config" / "velloran" / "user.reg").st_mode & 07777, 0600u);
}

// The owner of a prefix that root cleans swaps user.reg for a link to a file of
// root's while the clean runs: the save must not write through it.
TEST(WinePrefixStore, NeverWritesThroughALinkPlantedDuringTheRun) {
    ScratchDir dir;
    const bool root = geteuid() == 0;
    fs::create_directory(dir / "prefix");
    const std::string original = ReadBytes(DataFile("wine8-user.reg"));
    WriteBytes(dir / "prefix" / "user.reg", original);
    WriteBytes(dir / "secret", "root's own file\n");
    ASSERT_EQ(chmod((dir / "secret").c_str(), 0600), 0);
    if (root) {
        // The prefix and its files belong to another user.
        ASSERT_EQ(chown((dir / "prefix").c_str(), 54321, 54321), 0);
        ASSERT_EQ(chown((dir / "prefix" / "user.reg").c_str(), 54321, 54321), 0);
    }
    WinePrefixStore store(dir / "prefix");
    store.DeleteValue(kHKeyCurrentUser, "Environment", "TEMP");
    fs::remove(dir / "prefix" / "user.reg");
    fs::create_symlink(dir / "secret", dir / "prefix" / "user.reg");
    try {
        store.Save();
        ADD_FAILURE() << "saved through a link";
    } catch (const VbError& e) {
        EXPECT_NE(e.Description().find("symbolic link"), std::string::npos) << e.Description();
        EXPECT_NE(e.Description().find((dir / "prefix" / "user.reg").string()), std::string::npos);
    }
    EXPECT_EQ(ReadBytes(dir / "secret"), "root's own file\n");
    EXPECT_TRUE(fs::is_symlink(dir / "prefix" / "user.reg"));
    EXPECT_EQ(FolderEntries(dir / "prefix"), std::vector<std::string>{"user.reg"});

    // A user.reg that was a link when it was read is refused the same way.
    WriteBytes(dir / "real.reg", original);
    fs::remove(dir / "prefix" / "user.reg");
    fs::create_symlink(dir / "real.reg", dir / "prefix" / "user.reg");
    WinePrefixStore viaLink(dir / "prefix");
    viaLink.WriteValue(kHKeyCurrentUser, "Environment", "NEW", RegValue::String("v"));
    EXPECT_THROW(viaLink.Save(), VbError);
    EXPECT_EQ(ReadBytes(dir / "real.reg"), original);
}

constexpr const char* kRunMru = "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\RunMRU";
constexpr const char* kTyped = "Software\\Microsoft\\Internet Explorer\\TypedURLs";

std::string PrefixUserReg() {
    return "WINE REGISTRY Version 2\n"
           ";; All keys relative to REGISTRY\\\\User\\\\S-1-5-21-0-0-0-1000\n\n#arch=win64\n\n"
           "[Software\\\\Microsoft\\\\Internet Explorer\\\\TypedURLs] 1700000000\n"
           "#time=1da1747c66d0000\n\"url1\"=\"http://one.test/\"\n\"url2\"=\"http://two.test/\"\n\n"
           "[Software\\\\Microsoft\\\\Windows\\\\CurrentVersion\\\\Explorer\\\\RunMRU] "
           "1700000000\n#time=1da1747c66d0000\n\"a\"=\"notepad\"\n\"b\"=\"calc\"\n"
           "\"MRUList\"=\"ab\"\n\n"
           "[Software\\\\Velloran\\\\settings] 1700000000\n#time=1da1747c66d0000\n"
           "\"set2\"=dword:00000000\n";
}

TEST(WinePrefixStore, ChangesOfAnotherWriterDuringTheRunAreKept) {
    ScratchDir dir;
    WriteBytes(dir / "user.reg", PrefixUserReg());
    WinePrefixStore first(dir.Path());
    first.DeleteValue(kHKeyCurrentUser, kRunMru, "a");
    // Storing the value it read changes nothing, so it cannot undo another writer.
    first.WriteValue(kHKeyCurrentUser, "Software\\Velloran\\settings", "set2", RegValue::Dword(0));

    // Meanwhile another Velloran removes a typed address and stores an option.
    WinePrefixStore second(dir.Path());
    second.DeleteValue(kHKeyCurrentUser, kTyped, "url1");
    second.WriteValue(kHKeyCurrentUser, "Software\\Velloran\\settings", "set2", RegValue::Dword(1));
    second.Save();
    // And a program of the prefix replaces the file with a key of its own, as
    // wineserver does when it exits.
    std::string text = ReadBytes(dir / "user.reg");
    text += "\n[Software\\\\Program] 1700000001\n#time=1da1747c66d0001\n\"Key\"=\"new\"\n";
    WriteBytes(dir / "user.reg.new", text);
    fs::rename(dir / "user.reg.new", dir / "user.reg");

    ASSERT_TRUE(first.KeyExists(kHKeyCurrentUser, kRunMru));
    first.Save();
    // The store goes on from the file it read again, not from keys it opened before.
    EXPECT_EQ(first.ReadValue(kHKeyCurrentUser, kRunMru, "b"), RegValue::String("calc"));
    EXPECT_EQ(first.ReadValue(kHKeyCurrentUser, "Software\\Program", "Key"),
              RegValue::String("new"));
    WinePrefixStore after(dir.Path());
    EXPECT_EQ(after.ReadValue(kHKeyCurrentUser, kTyped, "url1"), std::nullopt);
    EXPECT_EQ(after.ReadValue(kHKeyCurrentUser, kTyped, "url2"),
              RegValue::String("http://two.test/"));
    EXPECT_EQ(after.ReadValue(kHKeyCurrentUser, kRunMru, "a"), std::nullopt);
    EXPECT_EQ(after.ReadValue(kHKeyCurrentUser, kRunMru, "b"), RegValue::String("calc"));
    EXPECT_EQ(after.ReadValue(kHKeyCurrentUser, "Software\\Velloran\\settings", "set2"),
              RegValue::Dword(1));
    EXPECT_EQ(after.ReadValue(kHKeyCurrentUser, "Software\\Program", "Key"),
              RegValue::String("new"));
    EXPECT_EQ(FolderEntries(dir.Path()), std::vector<std::string>{"user.reg"});

    // A save after that starts from the file it wrote: nothing to redo, nothing lost.
    first.DeleteValue(kHKeyCurrentUser, kRunMru, "b");
    first.Save();
    EXPECT_EQ(WinePrefixStore(dir.Path()).ReadValue(kHKeyCurrentUser, "Software\\Program", "Key"),
              RegValue::String("new"));
    EXPECT_EQ(WinePrefixStore(dir.Path()).ReadValue(kHKeyCurrentUser, kRunMru, "b"), std::nullopt);
}

TEST(WinePrefixStore, AKeyOpenedBeforeAChangeIsLookedUpAnewAfterIt) {
    MemoryStore store;
    store.WriteValue(kHKeyCurrentUser, "A\\B", "v", RegValue::Dword(1));
    ASSERT_TRUE(store.KeyExists(kHKeyCurrentUser, "A\\B"));
    ASSERT_TRUE(store.DeleteKey(kHKeyCurrentUser, "A", true));
    EXPECT_FALSE(store.DeleteKey(kHKeyCurrentUser, "A", true)) << "removed once only";
    EXPECT_FALSE(store.KeyExists(kHKeyCurrentUser, "A\\B"));
    EXPECT_THROW(store.EnumerateValues(kHKeyCurrentUser, "A\\B"), VbError);
    // Made again, it is a new key: the value of the removed one is not there.
    store.CreateKey(kHKeyCurrentUser, "A\\B");
    EXPECT_EQ(store.ReadValue(kHKeyCurrentUser, "A\\B", "v"), std::nullopt);
    ASSERT_TRUE(store.DeleteKey(kHKeyCurrentUser, "A\\B", false));
    EXPECT_FALSE(store.KeyExists(kHKeyCurrentUser, "A\\B"));
    EXPECT_FALSE(store.DeleteValue(kHKeyCurrentUser, "A", "v"));
}

TEST(WinePrefixStore, ASecondVelloranCleaningDuringTheRunKeepsItsWork) {
    ScratchDir dir;
    fs::create_directories(dir / "prefix");
    fs::create_directories(dir / "home");
    WriteBytes(dir / "prefix" / "user.reg", PrefixUserReg());
    WinePrefixStore first(dir / "prefix");
    first.DeleteValue(kHKeyCurrentUser, kRunMru, "a");

    const std::string env = "HOME=" + (dir / "home").string() +
                            " XDG_CONFIG_HOME=" + (dir / "home/.config").string() +
                            " XDG_STATE_HOME=" + (dir / "home/.local/state").string() +
                            " XDG_DATA_HOME=" + (dir / "home/.local/share").string() +
                            " XDG_CACHE_HOME=" + (dir / "home/.cache").string() + " DISPLAY=";
    const test::CliResult other =
        test::RunCli(env, "clean --prefix '" + (dir / "prefix").string() + "' ie_chk:1");
    ASSERT_EQ(other.code, 0) << other.out;
    ASSERT_EQ(WinePrefixStore(dir / "prefix").ReadValue(kHKeyCurrentUser, kTyped, "url1"),
              std::nullopt)
        << other.out;

    first.Save();
    WinePrefixStore after(dir / "prefix");
    EXPECT_EQ(after.ReadValue(kHKeyCurrentUser, kTyped, "url1"), std::nullopt);
    EXPECT_EQ(after.ReadValue(kHKeyCurrentUser, kTyped, "url2"), std::nullopt);
    EXPECT_EQ(after.ReadValue(kHKeyCurrentUser, kRunMru, "a"), std::nullopt);
    EXPECT_EQ(after.ReadValue(kHKeyCurrentUser, kRunMru, "b"), RegValue::String("calc"));
}

// Wine's own builtin programs: a prefix whose system32 is this folder runs `reg`
// without the minutes a full prefix takes to make.
fs::path WineBuiltins() {
    for (const char* dir : {"/usr/lib/x86_64-linux-gnu/wine/x86_64-windows",
                            "/usr/lib/wine/x86_64-windows", "/usr/lib64/wine/x86_64-windows"})
        if (fs::exists(fs::path(dir) / "reg.exe")) return dir;
    return {};
}

TEST(WinePrefixStore, AKeyWineWritesDuringTheRunIsKept) {
    const fs::path builtins = WineBuiltins();
    if (builtins.empty() || std::system("command -v wine >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "wine is not installed";
    ScratchDir dir;
    const fs::path prefix = dir / "prefix";
    fs::create_directories(prefix / "drive_c" / "windows");
    fs::create_directories(prefix / "dosdevices");
    fs::create_symlink("../drive_c", prefix / "dosdevices" / "c:");
    fs::create_directory_symlink(builtins, prefix / "drive_c" / "windows" / "system32");
    WriteBytes(prefix / ".update-timestamp", "disable\n");
    WriteBytes(prefix / "user.reg", PrefixUserReg());

    WinePrefixStore store(prefix);
    store.DeleteValue(kHKeyCurrentUser, kTyped, "url1");
    // The prefix's program starts its wineserver, writes, and the server saves the
    // registry as it exits, all while the clean runs.
    const std::string env = "WINEDEBUG=-all DISPLAY= WINEPREFIX='" + prefix.string() + "' ";
    ASSERT_EQ(std::system((env +
                           "wine reg add 'HKCU\\Software\\Program' /v Key /d fromwine /f "
                           ">/dev/null 2>&1 && " +
                           env + "wineserver -w")
                              .c_str()),
              0);
    ASSERT_NE(ReadBytes(prefix / "user.reg").find("fromwine"), std::string::npos);

    // The server has saved and is leaving; on a busy machine its lock may outlive
    // `wineserver -w` by a moment, and the store rightly refuses until it is gone.
    for (int attempt = 0;; ++attempt) {
        try {
            store.Save();
            break;
        } catch (const VbError& e) {
            if (attempt == 50 || e.Description().find("is in use") == std::string::npos) throw;
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
        }
    }
    WinePrefixStore after(prefix);
    EXPECT_EQ(after.ReadValue(kHKeyCurrentUser, "Software\\Program", "Key"),
              RegValue::String("fromwine"));
    EXPECT_EQ(after.ReadValue(kHKeyCurrentUser, kTyped, "url1"), std::nullopt);
    EXPECT_EQ(after.ReadValue(kHKeyCurrentUser, kTyped, "url2"),
              RegValue::String("http://two.test/"));
}

TEST(WinePrefixStore, FoldersAsFilesAndMissingPrefixesAreErrors) {
    ScratchDir dir;
    fs::create_directory(dir / "user.reg");
    try {
        WinePrefixStore store(dir.Path());
        ADD_FAILURE() << "a folder was read as user.reg";
    } catch (const VbError& e) {
        EXPECT_EQ(e.Number(), vbErrDeviceIO);
        EXPECT_NE(e.Description().find((dir / "user.reg").string()), std::string::npos);
    }

    ScratchDir gone;
    fs::path missing = gone / "no-such-prefix";
    WinePrefixStore store(missing);
    store.CreateKey(kHKeyCurrentUser, "Software\\X");
    try {
        store.Save();
        ADD_FAILURE() << "saved into a missing prefix";
    } catch (const VbError& e) {
        EXPECT_EQ(e.Number(), vbErrPathNotFound);
    }
    EXPECT_FALSE(fs::exists(missing));
}

TEST(WinePrefixStore, ReadOnFirstUseRefusesADamagedFileAtEveryLookAndChangesNothing) {
    ScratchDir dir;
    const std::string damaged = "WINE REGISTRY Version 2\n\n[Software\\\\A] 1\n\"a\"=dword:zz\n";
    WriteBytes(dir / "user.reg", damaged);
    WinePrefixStore::Options lazy;
    lazy.loadOnFirstUse = true;
    WinePrefixStore store(dir.Path(), lazy);  // nothing read yet, so nothing refused
    EXPECT_FALSE(store.IsDirty());
    store.Save();
    for (int look = 0; look < 2; ++look) {
        try {
            store.WriteValue(kHKeyCurrentUser, "Software\\A", "b", RegValue::Dword(1));
            ADD_FAILURE() << "a damaged file was changed";
        } catch (const VbError& e) {
            EXPECT_EQ(e.Number(), vbErrBadFileFormat);
            EXPECT_NE(e.Description().find("line 4: malformed DWORD value"), std::string::npos)
                << e.Description();
        }
        EXPECT_FALSE(store.IsDirty());
    }
    store.Save();
    EXPECT_EQ(ReadBytes(dir / "user.reg"), damaged);

    // Mended before the first look: the file as it is then is the one read and saved.
    const std::string mended = "WINE REGISTRY Version 2\n\n[Software\\\\A] 1\n\"a\"=dword:2\n";
    WriteBytes(dir / "user.reg", mended);
    EXPECT_EQ(store.ReadValue(kHKeyCurrentUser, "Software\\A", "a"), RegValue::Dword(2));
    store.WriteValue(kHKeyCurrentUser, "Software\\A", "b", RegValue::Dword(1));
    store.Save();
    WinePrefixStore reread(dir.Path());
    EXPECT_EQ(reread.ReadValue(kHKeyCurrentUser, "Software\\A", "a"), RegValue::Dword(2));
    EXPECT_EQ(reread.ReadValue(kHKeyCurrentUser, "Software\\A", "b"), RegValue::Dword(1));
}

TEST(WinePrefixStore, UnreadableFileIsRefused) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "running as root: file permissions do not stop reading";
    }
    ScratchDir locked;
    WriteBytes(locked / "user.reg", ReadBytes(DataFile("wine8-user.reg")));
    chmod((locked / "user.reg").c_str(), 0);
    try {
        WinePrefixStore s(locked.Path());
        ADD_FAILURE() << "read an unreadable file";
    } catch (const VbError& e) {
        EXPECT_EQ(e.Number(), vbErrPermissionDenied);
    }
}

TEST(WinePrefixStore, FullDiskLeavesTheOldFileWhole) {
    ScratchDir dir;
    fs::path mnt = dir / "mnt";
    fs::create_directory(mnt);
    if (mount("tmpfs", mnt.c_str(), "tmpfs", 0, "size=256k") != 0)
        GTEST_SKIP() << "cannot mount a small tmpfs here (" << strerror(errno) << ")";
    struct Unmount {
        fs::path p;
        ~Unmount() { umount2(p.c_str(), MNT_DETACH); }
    } unmount{mnt};

    const std::string original = ReadBytes(DataFile("wine8-user.reg"));
    WriteBytes(mnt / "user.reg", original);
    WinePrefixStore store(mnt);
    store.WriteValue(kHKeyCurrentUser, "Software\\Big", "blob",
                     RegValue::Binary(RegBytes(10000, 0xAB)));
    // Fill what is left of the disk.
    {
        int fd = open((mnt / "filler").c_str(), O_WRONLY | O_CREAT, 0600);
        ASSERT_GE(fd, 0);
        std::string block(4096, 'x');
        while (write(fd, block.data(), block.size()) > 0) {
        }
        while (write(fd, block.data(), 1) > 0) {
        }
        close(fd);
    }
    try {
        store.Save();
        ADD_FAILURE() << "saved on a full disk";
    } catch (const VbError& e) {
        EXPECT_EQ(e.Number(), vbErrDiskFull);
        EXPECT_NE(e.Description().find((mnt / "user.reg").string()), std::string::npos);
        EXPECT_NE(e.Description().find("disk is full"), std::string::npos);
    }
    EXPECT_EQ(ReadBytes(mnt / "user.reg"), original);
    EXPECT_EQ(FolderEntries(mnt), (std::vector<std::string>{"filler", "user.reg"}));
    EXPECT_TRUE(store.IsDirty());
    // With room again the same changes go through.
    fs::remove(mnt / "filler");
    store.Save();
    EXPECT_EQ(
        WinePrefixStore(mnt).ReadValue(kHKeyCurrentUser, "Software\\Big", "blob")->data.size(),
        10000u);
}

// A child process that holds what a running wineserver holds: the lock in
// <root>/wine-test/server-<dev>-<ino>/, or (with `lock` false) only a working
// directory of that name and a process name starting with "wineserver".
class FakeServer {
public:
    FakeServer(const fs::path& root, const fs::path& prefix, bool lock) {
        dir_ = root / "wine-test" / WineServerDirName(prefix);
        fs::create_directories(dir_);
        int ready[2];
        if (pipe(ready) != 0) std::abort();
        pid_ = fork();
        if (pid_ == 0) {
            close(ready[0]);
            if (lock) {
                int fd = open((dir_ / "lock").c_str(), O_RDWR | O_CREAT, 0600);
                struct flock fl {};
                fl.l_type = F_WRLCK;
                fl.l_whence = SEEK_SET;
                fl.l_len = 1;
                if (fd < 0 || fcntl(fd, F_SETLK, &fl) != 0) _exit(3);
            } else {
                if (chdir(dir_.c_str()) != 0) _exit(3);
                prctl(PR_SET_NAME, "wineserver-fake", 0, 0, 0);
            }
            char c = 1;
            if (write(ready[1], &c, 1) != 1) _exit(3);
            pause();
            _exit(0);
        }
        close(ready[1]);
        char c = 0;
        if (read(ready[0], &c, 1) != 1) ADD_FAILURE() << "fake server did not start";
        close(ready[0]);
    }
    ~FakeServer() { Stop(); }
    void Stop() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
            pid_ = 0;
        }
    }
    pid_t Pid() const { return pid_; }

private:
    fs::path dir_;
    pid_t pid_ = 0;
};

TEST(WinePrefixStore, RefusesToWriteWhileTheWineserverRuns) {
    for (bool lock : {true, false}) {
        ScratchDir roots;
        ScratchDir prefix;
        WinePrefixStore::Options options;
        options.serverSearchRoots = {roots.Path()};
        WinePrefixStore store(prefix.Path(), options);
        store.WriteValue(kHKeyCurrentUser, "Software\\Velloran", "x", RegValue::Dword(1));

        FakeServer server(roots.Path(), prefix.Path(), lock);
        WineServerStatus status = FindWineServer(prefix.Path(), {roots.Path()});
        EXPECT_TRUE(status.running) << "lock " << lock;
        EXPECT_EQ(status.pid, server.Pid());
        try {
            store.Save();
            ADD_FAILURE() << "wrote a prefix held by a wineserver (lock " << lock << ")";
        } catch (const VbError& e) {
            EXPECT_EQ(e.Number(), vbErrPermissionDenied);
            EXPECT_NE(e.Description().find("Wine prefix " + prefix.Path().string()),
                      std::string::npos);
            EXPECT_NE(
                e.Description().find("WINEPREFIX=" + prefix.Path().string() + " wineserver -k"),
                std::string::npos)
                << e.Description();
            EXPECT_NE(e.Description().find(std::to_string(server.Pid())), std::string::npos);
        }
        EXPECT_FALSE(fs::exists(prefix / "user.reg"));

        server.Stop();
        EXPECT_FALSE(FindWineServer(prefix.Path(), {roots.Path()}).running);
        store.Save();
        EXPECT_TRUE(fs::exists(prefix / "user.reg"));
    }
    // The lock's name only counts for this prefix's folder.
    ScratchDir roots, prefix, other;
    FakeServer server(roots.Path(), other.Path(), true);
    EXPECT_FALSE(FindWineServer(prefix.Path(), {roots.Path()}).running);
}

std::string FindWineserver() {
    const char* path = std::getenv("PATH");
    std::string p = path ? path : "/usr/bin:/bin";
    for (size_t i = 0; i <= p.size();) {
        size_t j = p.find(':', i);
        if (j == std::string::npos) j = p.size();
        fs::path candidate = fs::path(p.substr(i, j - i)) / "wineserver";
        if (access(candidate.c_str(), X_OK) == 0) return candidate.string();
        i = j + 1;
    }
    return {};
}

TEST(WinePrefixStore, RefusesAPrefixWithARealWineserver) {
    std::string wineserver = FindWineserver();
    if (wineserver.empty()) GTEST_SKIP() << "wineserver is not installed";
    ScratchDir prefix;
    std::string env = "WINEDEBUG=-all WINEPREFIX='" + prefix.Path().string() + "' ";
    // Starts in the background and stays 30 s without clients.
    ASSERT_EQ(std::system((env + wineserver + " -p30").c_str()), 0);
    struct Stop {
        std::string cmd;
        ~Stop() { std::system(cmd.c_str()); }
    } stop{env + wineserver + " -k >/dev/null 2>&1; " + env + wineserver + " -w"};

    WinePrefixStore store(prefix.Path());
    store.WriteValue(kHKeyCurrentUser, "Software\\Velloran", "x", RegValue::Dword(1));
    EXPECT_TRUE(FindWineServer(prefix.Path()).running);
    try {
        store.Save();
        ADD_FAILURE() << "wrote a prefix held by a running wineserver";
    } catch (const VbError& e) {
        EXPECT_NE(e.Description().find("wineserver -k"), std::string::npos);
    }
    std::system(stop.cmd.c_str());
    EXPECT_FALSE(FindWineServer(prefix.Path()).running);
    WinePrefixStore after(prefix.Path());  // the server saved its registry on the way out
    after.WriteValue(kHKeyCurrentUser, "Software\\Velloran", "x", RegValue::Dword(1));
    after.Save();
    EXPECT_EQ(WinePrefixStore(prefix.Path()).ReadValue(kHKeyCurrentUser, "Software\\Velloran", "x"),
              RegValue::Dword(1));
}

TEST(WinePrefixStore, TargetsOpenTheirStore) {
    ScratchDir dir;
    Target own;
    own.ownStore = dir / "config" / "velloran";
    auto store = OpenRegistryStore(own);
    EXPECT_EQ(store->Describe(), "Velloran store " + own.ownStore.string());
    store->CreateKey(kHKeyCurrentUser, "Software\\Velloran\\settings");
    store->Save();  // the own store's folder is created on demand
    EXPECT_TRUE(fs::exists(own.ownStore / "user.reg"));

    Target wine;
    wine.prefix = dir / "prefix";
    fs::create_directory(wine.prefix);
    WriteBytes(wine.prefix / "user.reg", ReadBytes(DataFile("wine8-user.reg")));
    auto prefixStore = OpenRegistryStore(wine);
    EXPECT_EQ(prefixStore->Describe(), "Wine prefix " + wine.prefix.string());
    EXPECT_TRUE(prefixStore->KeyExists(kHKeyCurrentUser, "Software\\VelloranFixture"));
}

}  // namespace
}  // namespace velloran

namespace velloran {
namespace {

TEST(WinePrefixStore, KilledSavesLeaveNoTemporaryFileBehind) {
    regtest::ScratchDir dir;
    regtest::ScratchDir proc;
    const std::string user = "WINE REGISTRY Version 2\n;; x\n\n[A] 1\n\"a\"=\"1\"\n";
    regtest::WriteBytes(dir / "user.reg", user);
    // 111 is gone; 222 is a running Velloran in the middle of its own save; 333 is
    // some other program that got a killed Velloran's pid.
    std::filesystem::create_directories(proc / "222");
    regtest::WriteBytes(proc / "222" / "comm", "velloran-cli\n");
    std::filesystem::create_directories(proc / "333");
    regtest::WriteBytes(proc / "333" / "comm", "bash\n");
    const auto tmp = [&](long pid, const char* file) {
        return dir / AtomicTemporaryName(dir / file, pid, 0);
    };
    for (long pid : {111, 222, 333}) regtest::WriteBytes(tmp(pid, "user.reg"), user);
    regtest::WriteBytes(tmp(111, "system.reg"), "half a file");
    regtest::WriteBytes(dir / ".user.reg.velloran-notes.tmp", "not ours");
    regtest::WriteBytes(dir / "user.reg.velloran-111-0.tmp", "not ours either");

    WinePrefixStore::Options options;
    options.procRoot = proc.Path();
    WinePrefixStore store(dir.Path(), options);
    EXPECT_FALSE(std::filesystem::exists(tmp(111, "user.reg")));
    EXPECT_FALSE(std::filesystem::exists(tmp(111, "system.reg")));
    EXPECT_FALSE(std::filesystem::exists(tmp(333, "user.reg")));
    EXPECT_TRUE(std::filesystem::exists(tmp(222, "user.reg")));
    EXPECT_TRUE(std::filesystem::exists(dir / ".user.reg.velloran-notes.tmp"));
    EXPECT_TRUE(std::filesystem::exists(dir / "user.reg.velloran-111-0.tmp"));
    EXPECT_EQ(regtest::ReadBytes(dir / "user.reg"), user);
}

}  // namespace
}  // namespace velloran
