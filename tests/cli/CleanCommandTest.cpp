// 'velloran-cli tasks' and 'clean' as a user runs them.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "cli/CliFixture.hpp"
#include "support/BrowserProfiles.hpp"
#include "support/RealChromiumProfile.hpp"

namespace velloran::test {

namespace {

std::map<std::string, std::string> Snapshot(const fs::path& root) {
    std::map<std::string, std::string> files;
    for (const auto& e : fs::recursive_directory_iterator(root))
        if (e.is_regular_file()) {
            std::ifstream in(e.path(), std::ios::binary);
            std::stringstream ss;
            ss << in.rdbuf();
            files[e.path().string()] = ss.str();
        }
    return files;
}

// About 8 MB: large enough that a kill lands inside the load, the clean or the
// save, small enough for the suite.
std::string BigUserReg() {
    std::string text =
        "WINE REGISTRY Version 2\n;; All keys relative to REGISTRY\\\\User\\\\S-1-5-21-0-0-0-1000"
        "\n\n#arch=win64\n";
    char line[160];
    for (int k = 0; k < 24000; ++k) {
        std::snprintf(
            line, sizeof line,
            "\n[Software\\\\Vendor %03d\\\\Application %03d\\\\Settings %02d] 1700000000\n"
            "#time=1da1747c66d0000\n",
            k / 1000, (k / 20) % 50, k % 20);
        text += line;
        for (int v = 0; v < 8; ++v) {
            std::snprintf(line, sizeof line,
                          "\"Value%d\"=\"C:\\\\users\\\\me\\\\Documents\\\\Report %d.doc\"\n", v,
                          k);
            text += line;
        }
    }
    text +=
        "\n[Software\\\\Microsoft\\\\Windows\\\\CurrentVersion\\\\Explorer\\\\RunMRU] 1700000000\n"
        "#time=1da1747c66d0000\n";
    for (int i = 0; i < 200; ++i)
        text += "\"e" + std::to_string(i) + "\"=\"notepad " + std::to_string(i) + "\"\n";
    return text;
}

// The text without the keys' modification times, which differ from run to run.
std::string WithoutTimes(const std::string& text) {
    static const std::regex stamp(R"((\n\[[^\n]*\]) [0-9]+\n#time=[0-9a-f]+\n)");
    return std::regex_replace(text, stamp, "$1\n");
}

void Write(const fs::path& p, const std::string& text) {
    std::ofstream(p, std::ios::binary | std::ios::trunc) << text;
}

// Starts velloran-cli cleaning the Run history of `prefix`; returns its pid.
pid_t StartClean(const fs::path& prefix, const fs::path& home) {
    std::vector<std::string> env = {"HOME=" + home.string(),
                                    "XDG_CONFIG_HOME=" + (home / ".config").string(),
                                    "WINEPREFIX=" + prefix.string(), "DISPLAY="};
    std::vector<char*> envp;
    for (auto& e : env) envp.push_back(e.data());
    envp.push_back(nullptr);
    std::string exe = VELLORAN_CLI_PATH, clean = "clean", task = "win_chk:5";
    char* argv[] = {exe.data(), clean.data(), task.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    const int rc = posix_spawn(&pid, exe.c_str(), &actions, nullptr, argv, envp.data());
    posix_spawn_file_actions_destroy(&actions);
    return rc == 0 ? pid : -1;
}

int Wait(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return status;
}

}  // namespace

using CleanCommandTest = CliFixture;

TEST_F(CleanCommandTest, PreviewPrintsTheRealRunsLogAndChangesNothing) {
    const std::string before = ReadAll(dir / "prefix" / "user.reg");
    CliResult preview = Cli(env, "clean --preview WIN_CHK:5 win_chk:2");
    EXPECT_EQ(preview.code, 0);
    EXPECT_EQ(ReadAll(dir / "prefix" / "user.reg"), before);
    EXPECT_FALSE(fs::exists(dir / "prefix" / "system.reg"));

    CliResult real = Cli(env, "clean win_chk:5 win_chk:2");
    EXPECT_EQ(real.code, 0);
    const std::string log =
        "Verifying Windows jobs...\n"
        "Cleaning Run history ...\n"
        "Cleared Windows {run dialog} history. (2 Found!)\n"
        "[64] Selected Task(s) completed successfully.\n";
    EXPECT_NE(real.out.find(log), std::string::npos) << real.out;
    ASSERT_TRUE(preview.out.starts_with(real.out)) << preview.out << "\n---\n" << real.out;
    EXPECT_NE(preview.out.find("would remove 2 registry value(s)"), std::string::npos);

    const std::string after = ReadAll(dir / "prefix" / "user.reg");
    EXPECT_EQ(after.find("notepad"), std::string::npos);
    EXPECT_NE(after.find("@=\"keep\""), std::string::npos);
    EXPECT_NE(after.find("[Software\\\\Other] "
                         "1700000000\n#time=1da1747c66d0000\n\"Untouched\"=dword:0000002a\n"),
              std::string::npos)
        << "an unrelated key keeps its bytes";
}

TEST_F(CleanCommandTest, UsageErrors) {
    EXPECT_EQ(Cli(env, "").code, 2);
    EXPECT_EQ(Cli(env, "frobnicate").code, 2);
    EXPECT_EQ(Cli(env, "clean").code, 2);
    EXPECT_EQ(Cli(env, "clean win_chk:14").code, 2);
    EXPECT_EQ(Cli(env, "clean nope:1").code, 2);
    EXPECT_EQ(Cli(env, "clean --bogus win_chk:1").code, 2);
    EXPECT_EQ(Cli(env, "clean ns_chk:1").code, 2) << "no Netscape profile in this home";
    EXPECT_EQ(Cli(env, "clean windows.nope").code, 2);
    EXPECT_EQ(Cli(env, "clean windows").code, 2);
}

TEST_F(CleanCommandTest, MalformedRegistryIsRefusedAndLeftWhole) {
    std::ofstream(dir / "prefix" / "user.reg", std::ios::binary | std::ios::trunc)
        << "WINE REGISTRY Version 2\n\n[Software\\\\Broken] 1\n\"a\"=dword:zz\n";
    const std::string before = ReadAll(dir / "prefix" / "user.reg");
    CliResult r = Cli(env, "clean win_chk:5");
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("line 4: malformed DWORD value. This is not a valid Wine registry file"),
              std::string::npos)
        << r.err;
    EXPECT_EQ(ReadAll(dir / "prefix" / "user.reg"), before);

    // The file is read only when a task needs it: the clipboard alone never sees it.
    r = Cli(env, "clean windows.clipboard");
    EXPECT_EQ(r.code, 0) << r.out << r.err;
    EXPECT_EQ(r.err.find("not a valid Wine registry file"), std::string::npos) << r.err;
    EXPECT_EQ(ReadAll(dir / "prefix" / "user.reg"), before);
}

TEST_F(CleanCommandTest, TasksListsTheCatalogueByNameAndAsJson) {
    CliResult r = Cli(env, "tasks");
    EXPECT_EQ(r.code, 0);
    EXPECT_NE(r.out.find("windows.run-history\twin_chk:5\tErase Run History\n"), std::string::npos);
    EXPECT_NE(r.out.find("programs.word\toprg_chk:12\tClear Microsoft Word Recent file List\n"),
              std::string::npos);
    EXPECT_NE(r.out.find("netscape.cookies\tns_Chk:3\tClear Cookies\t(unavailable"),
              std::string::npos)
        << "no Gecko profile in this home";
    EXPECT_TRUE(r.out.starts_with("windows.desktop-stream-history\twin_chk:1\t"))
        << "Windows tasks come first";

    CliResult json = Cli(env, "tasks --json");
    EXPECT_EQ(json.code, 0);
    EXPECT_EQ(ParseJson(json.out), "ok") << json.out;
    EXPECT_NE(json.out.find("{\"name\":\"windows.run-history\",\"box\":\"win_chk:5\","),
              std::string::npos);
    EXPECT_EQ(Cli(env, "tasks --bogus").code, 2);
}

TEST_F(CleanCommandTest, NamesAndBoxesTickTheSameTasksAndJsonGivesTheOutcome) {
    CliResult byName = Cli(env, "clean --json windows.run-history windows.clipboard");
    EXPECT_EQ(byName.code, 0) << byName.err;
    EXPECT_EQ(ParseJson(byName.out), "ok") << byName.out;
    EXPECT_NE(byName.out.find("{\"task\":\"windows.run-history\",\"removed\":{\"items\":2,"),
              std::string::npos)
        << byName.out;
    EXPECT_EQ(ReadAll(dir / "prefix" / "user.reg").find("notepad"), std::string::npos);
    EXPECT_NE(byName.err.find("Selected Task(s) completed successfully."), std::string::npos)
        << "messages go to standard error under --json";
}

TEST(CleanCommandNetscape, PreviewPrintsTheRealRunsLinesAndChangesNothing) {
    const fs::path dir = MakeTempDir("velloran-nscli");
    struct Cleanup {
        fs::path path;
        ~Cleanup() { fs::remove_all(path); }
    } cleanup{dir};
    const fs::path home = dir / "home";
    MakeFirefoxProfile(home, {"places.sqlite", "cookies.sqlite", "formhistory.sqlite"});
    fs::create_directories(home / ".cache/mozilla/firefox/abc.default-esr/cache2");
    std::ofstream(home / ".cache/mozilla/firefox/abc.default-esr/cache2/index") << "1234";
    const std::string env =
        "HOME=" + home.string() + " XDG_CONFIG_HOME=" + (home / ".config").string() +
        " XDG_CACHE_HOME=" + (home / ".cache").string() + " DISPLAY= WINEPREFIX=";

    const auto before = Snapshot(dir);
    // The open-browser check looks at this user's real processes.
    if (RunCli(env, "clean --preview ns_Chk:1").out.find("browser is open!") != std::string::npos)
        GTEST_SKIP() << "a Gecko-family browser of this user is running";
    const CliResult preview = RunCli(env, "clean --preview ns_Chk:all");
    EXPECT_EQ(preview.code, 0) << preview.out;
    EXPECT_EQ(Snapshot(dir), before);
    const CliResult real = RunCli(env, "clean ns_Chk:all");
    EXPECT_EQ(real.code, 0) << real.out;
    ASSERT_TRUE(preview.out.starts_with(real.out)) << preview.out << "\n---\n" << real.out;
    for (const char* line :
         {"Verifying Netscape jobs...", "Removed 5 cookies from", "Removed 1 cache file (4 bytes)",
          "Removed 3 form entries (1 search-bar term)", "1 page that only typing had kept"})
        EXPECT_NE(real.out.find(line), std::string::npos) << line << "\n" << real.out;
    EXPECT_NE(Snapshot(dir), before);
}

// A home with a Firefox profile and no Opera: the Opera boxes are unavailable.
struct FirefoxHome {
    fs::path dir = MakeTempDir("velloran-ffcli");
    fs::path home = dir / "home";
    fs::path profile = MakeFirefoxProfile(home, {"places.sqlite", "cookies.sqlite"});
    std::string env = "HOME=" + home.string() + " XDG_CONFIG_HOME=" + (home / ".config").string() +
                      " XDG_CACHE_HOME=" + (home / ".cache").string() +
                      " XDG_STATE_HOME=" + (home / ".local/state").string() +
                      " DISPLAY= WINEPREFIX=";
    ~FirefoxHome() { fs::remove_all(dir); }
    bool BrowserRunning() {
        return RunCli(env, "clean --preview ns_Chk:1").out.find("browser is open!") !=
               std::string::npos;
    }
};

TEST(CleanCommandNetscape, AGroupWithoutProfilesUnderAllIsToldAndTheRunGoesOn) {
    FirefoxHome h;
    if (h.BrowserRunning()) GTEST_SKIP() << "a Gecko-family browser of this user is running";
    const CliResult r = RunCli(h.env, "clean ns_Chk:all op_Chk:all");
    EXPECT_EQ(r.code, 0) << r.out << r.err;
    EXPECT_NE(r.err.find("op_Chk:all: no opera profile here"), std::string::npos) << r.err;
    EXPECT_NE(r.out.find("Removed 5 cookies from"), std::string::npos) << r.out;
    EXPECT_EQ(r.out.find("Verifying opera jobs..."), std::string::npos);
    EXPECT_EQ(RunCli(h.env, "clean op_Chk:2").code, 2) << "a named box that is unavailable";

    const CliResult byName = RunCli(h.env, "clean netscape.cookies");
    EXPECT_EQ(byName.code, 0) << byName.out;
    EXPECT_NE(byName.out.find("Cleaning Netscape Cookies ..."), std::string::npos);
}

// A database the browser cannot have written: its line, the error report, exit 1,
// and never the success message.
TEST(CleanCommandNetscape, ADamagedDatabaseEndsTheRunWithItsFailureAndExitOne) {
    FirefoxHome h;
    if (h.BrowserRunning()) GTEST_SKIP() << "a Gecko-family browser of this user is running";
    for (const auto& [file, task] : {std::pair{"cookies.sqlite", "netscape.cookies"},
                                     std::pair{"places.sqlite", "netscape.typed-urls"}}) {
        std::ofstream(h.profile / file, std::ios::binary | std::ios::trunc)
            << std::string(4096, 'x');
        const CliResult r = RunCli(h.env, std::string("clean ") + task);
        EXPECT_EQ(r.code, 1) << task << "\n" << r.out;
        EXPECT_NE(r.out.find("Failed: "), std::string::npos) << r.out;
        EXPECT_NE(r.out.find("file is not a database"), std::string::npos) << r.out;
        EXPECT_EQ(r.out.find("completed successfully"), std::string::npos) << r.out;
        EXPECT_NE(r.err.find("NetscapeCleaner:Clean"), std::string::npos)
            << "the error report names the worker\n"
            << r.err;
    }
}

TEST(CleanCommandOpera, ADamagedCookieDatabaseEndsTheRunWithItsFailureAndExitOne) {
    const fs::path dir = MakeTempDir("velloran-opcli");
    struct Cleanup {
        fs::path path;
        ~Cleanup() { fs::remove_all(path); }
    } cleanup{dir};
    const fs::path home = dir / "home";
    const fs::path profile = home / ".config/opera/Default";
    fs::create_directories(profile / "Network");
    std::ofstream(home / ".config/opera/Local State") << "{}";
    std::ofstream(profile / "Preferences") << "{}";
    std::ofstream(profile / "Network/Cookies", std::ios::binary) << std::string(4096, 'x');
    const std::string env =
        "HOME=" + home.string() + " XDG_CONFIG_HOME=" + (home / ".config").string() +
        " XDG_CACHE_HOME=" + (home / ".cache").string() +
        " XDG_STATE_HOME=" + (home / ".local/state").string() + " DISPLAY= WINEPREFIX=";
    const CliResult r = RunCli(env, "clean opera.cookies");
    if (r.out.find("browser is open!") != std::string::npos)
        GTEST_SKIP() << "an Opera browser of this user is running";
    EXPECT_EQ(r.code, 1) << r.out;
    EXPECT_NE(r.out.find("Failed: "), std::string::npos) << r.out;
    EXPECT_EQ(r.out.find("completed successfully"), std::string::npos) << r.out;
}

// The Chromium-based group from the console: its own lines after Opera's place, and
// the real profile cleaned of typed entries, cache, cookies and form data.
TEST(CleanCommandChromium, TheGroupCleansARealProfileAndOthersRunsStayAsTheyWere) {
    const fs::path dir = MakeTempDir("velloran-chcli");
    struct Cleanup {
        fs::path path;
        ~Cleanup() { fs::remove_all(path); }
    } cleanup{dir};
    const fs::path home = dir / "home";
    MakeRealChromiumProfile(home / ".config/chromium", home / ".cache/chromium");
    const std::string env =
        "HOME=" + home.string() + " XDG_CONFIG_HOME=" + (home / ".config").string() +
        " XDG_CACHE_HOME=" + (home / ".cache").string() +
        " XDG_STATE_HOME=" + (home / ".local/state").string() + " DISPLAY= WINEPREFIX=";
    const CliResult tasks = RunCli(env, "tasks");
    EXPECT_NE(tasks.out.find("chromium.cookies\tch_Chk:3\tClear Cookies\n"), std::string::npos)
        << tasks.out;
    EXPECT_LT(tasks.out.find("opera.form-data"), tasks.out.find("chromium.typed-urls"));
    EXPECT_LT(tasks.out.find("chromium.form-data"), tasks.out.find("programs.winzip"));

    const CliResult r = RunCli(env, "clean chromium:all");
    if (r.out.find("browser is open!") != std::string::npos)
        GTEST_SKIP() << "a Chromium-based browser of this user is running";
    EXPECT_EQ(r.code, 0) << r.out;
    for (const char* line : {"Verifying Chromium-based browser jobs...",
                             "Cleaning Chromium-based browser Type Url's history ...",
                             "Cleaning Chromium-based browser Cache ...",
                             "Cleaning Chromium-based browser Cookies ...",
                             "Cleaning Chromium-based browser form data ...", "Chromium profile "})
        EXPECT_NE(r.out.find(line), std::string::npos) << line << "\n" << r.out;
    EXPECT_EQ(r.out.find("Failed:"), std::string::npos) << r.out;
    const CliResult again = RunCli(env, "clean --json chromium.cookies");
    EXPECT_EQ(again.code, 0);
    EXPECT_EQ(ParseJson(again.out), "ok") << again.out;
}

// A clean killed at any moment leaves user.reg whole: the old file or the new
// one, never a truncated or mixed one.
TEST(CleanCommandKill, AKillAtAnyMomentLeavesTheOldFileOrTheNewOneWhole) {
    const fs::path dir = MakeTempDir("velloran-kill");
    struct Cleanup {
        fs::path path;
        ~Cleanup() { fs::remove_all(path); }
    } cleanup{dir};
    const fs::path prefix = dir / "prefix", home = dir / "home";
    fs::create_directories(prefix);
    fs::create_directories(home);
    const std::string before = BigUserReg();

    // The whole run once, for the new file and for how long a run takes here.
    Write(prefix / "user.reg", before);
    const auto start = std::chrono::steady_clock::now();
    const pid_t whole = StartClean(prefix, home);
    ASSERT_GT(whole, 0);
    const int status = Wait(whole);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    const auto runTime = std::chrono::steady_clock::now() - start;
    const std::string after = WithoutTimes(ReadAll(prefix / "user.reg"));
    ASSERT_NE(after, before);
    ASSERT_EQ(after.find("notepad"), std::string::npos);

    std::mt19937 random(20261123);
    std::uniform_int_distribution<long long> moment(
        0, std::chrono::duration_cast<std::chrono::microseconds>(runTime).count());
    int sawOld = 0, sawNew = 0;
    for (int round = 0; round < 16; ++round) {
        Write(prefix / "user.reg", before);
        const pid_t pid = StartClean(prefix, home);
        ASSERT_GT(pid, 0);
        std::this_thread::sleep_for(std::chrono::microseconds(moment(random)));
        kill(pid, SIGKILL);
        Wait(pid);
        const std::string now = ReadAll(prefix / "user.reg");
        ASSERT_TRUE(now == before || WithoutTimes(now) == after)
            << "round " << round << ": user.reg is neither the old file nor the new one ("
            << now.size() << " bytes)";
        (now == before ? sawOld : sawNew) += 1;
    }
    // Which of the two a kill leaves depends on the moment; both are whole files.
    RecordProperty("old", sawOld);
    RecordProperty("new", sawNew);
}

}  // namespace velloran::test
