// The console front end as a user runs it: a real process on a real prefix folder.
#include <gtest/gtest.h>

#include "support/TestProcess.hpp"

#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

namespace fs = std::filesystem;

using velloran::test::CliResult;

CliResult Cli(const std::string& env, const std::string& args) {
    return velloran::test::RunCli(env, args);
}

std::string Read(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

constexpr const char* kUserReg =
    "WINE REGISTRY Version 2\n"
    ";; All keys relative to REGISTRY\\\\User\\\\S-1-5-21-0-0-0-1000\n"
    "\n"
    "#arch=win64\n"
    "\n"
    "[Software\\\\Microsoft\\\\Windows\\\\CurrentVersion\\\\Explorer\\\\RunMRU] 1700000000\n"
    "#time=1da1747c66d0000\n"
    "@=\"keep\"\n"
    "\"a\"=\"notepad\"\n"
    "\"MRUList\"=\"a\"\n"
    "\n"
    "[Software\\\\Other] 1700000000\n"
    "#time=1da1747c66d0000\n"
    "\"Untouched\"=dword:0000002a\n";

class CliTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir = fs::temp_directory_path() / ("velloran-cli-" + std::to_string(::getpid()));
        fs::remove_all(dir);
        fs::create_directories(dir / "prefix");
        fs::create_directories(dir / "home");
        std::ofstream(dir / "prefix" / "user.reg", std::ios::binary) << kUserReg;
        env = "HOME=" + (dir / "home").string() +
              " XDG_CONFIG_HOME=" + (dir / "home/.config").string() +
              " XDG_DATA_HOME=" + (dir / "home/.local/share").string() +
              " XDG_STATE_HOME=" + (dir / "home/.local/state").string() +
              " DISPLAY= WINEPREFIX=" + (dir / "prefix").string();
    }
    void TearDown() override { fs::remove_all(dir); }
    fs::path dir;
    std::string env;
};

TEST_F(CliTest, PreviewPrintsTheRealRunsLogAndChangesNothing) {
    const std::string before = Read(dir / "prefix" / "user.reg");
    CliResult preview = Cli(env, "clean --preview WIN_CHK:5 win_chk:2");
    EXPECT_EQ(preview.code, 0);
    EXPECT_EQ(Read(dir / "prefix" / "user.reg"), before);
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

    const std::string after = Read(dir / "prefix" / "user.reg");
    EXPECT_EQ(after.find("notepad"), std::string::npos);
    EXPECT_NE(after.find("@=\"keep\""), std::string::npos);
    EXPECT_NE(after.find("[Software\\\\Other] "
                         "1700000000\n#time=1da1747c66d0000\n\"Untouched\"=dword:0000002a\n"),
              std::string::npos)
        << "an unrelated key keeps its bytes";
}

TEST_F(CliTest, UsageErrorsAndSettings) {
    EXPECT_EQ(Cli(env, "").code, 2);
    EXPECT_EQ(Cli(env, "frobnicate").code, 2);
    EXPECT_EQ(Cli(env, "clean").code, 2);
    EXPECT_EQ(Cli(env, "clean win_chk:14").code, 2);
    EXPECT_EQ(Cli(env, "clean nope:1").code, 2);
    EXPECT_EQ(Cli(env, "clean --bogus win_chk:1").code, 2);
    EXPECT_EQ(Cli(env, "clean ns_chk:all").code, 2) << "no Netscape profile in this home";
    EXPECT_EQ(Cli(env, "settings set4=1").code, 2);
    EXPECT_EQ(Cli(env, "settings set3=3").code, 2);

    CliResult shown = Cli(env, "settings");
    EXPECT_EQ(shown.out, "set1=0\nset2=0\nset3=0\nset5=0\nset6=0\nset7=0\n");
    // Stored through the option rules: secure delete clears the recycle bin box.
    CliResult stored = Cli(env, "settings set1=1 set2=1 set3=2 set5=1 set7=1");
    EXPECT_EQ(stored.code, 0);
    EXPECT_EQ(Cli(env, "settings").out, "set1=0\nset2=1\nset3=2\nset5=1\nset6=0\nset7=1\n");
    // With "Do not notify" stored, a clean shows no completion message.
    CliResult quiet = Cli(env, "clean win_chk:5");
    EXPECT_EQ(quiet.out.find("[64]"), std::string::npos) << quiet.out;
}

TEST_F(CliTest, SettingsLiveInVelloransOwnStoreNeverInTheTarget) {
    // Nothing of the prefix's to clean: the prefix stays byte for byte, and the
    // options stored while it is the target are there for the next target too.
    std::ofstream(dir / "prefix" / "user.reg", std::ios::binary | std::ios::trunc)
        << "WINE REGISTRY Version 2\n;; All keys relative to "
           "REGISTRY\\\\User\\\\S-1-5-21-0-0-0-1000\n"
           "\n#arch=win64\n";
    const std::string before = Read(dir / "prefix" / "user.reg");
    EXPECT_EQ(Cli(env, "settings set5=1").code, 0);
    EXPECT_EQ(Cli(env, "clean win_chk:5").code, 0);
    EXPECT_EQ(Read(dir / "prefix" / "user.reg"), before);
    EXPECT_FALSE(fs::exists(dir / "prefix" / "system.reg"));
    const std::string own = Read(dir / "home/.config/velloran/user.reg");
    EXPECT_NE(own.find("[Software\\\\Velloran\\\\settings]"), std::string::npos) << own;

    fs::create_directories(dir / "other");
    std::ofstream(dir / "other" / "user.reg", std::ios::binary) << before;
    EXPECT_EQ(Cli(env + " WINEPREFIX=" + (dir / "other").string(), "settings").out,
              "set1=0\nset2=0\nset3=0\nset5=1\nset6=0\nset7=0\n");
    EXPECT_EQ(Read(dir / "other" / "user.reg"), before);
}

TEST_F(CliTest, MalformedRegistryIsRefusedAndLeftWhole) {
    std::ofstream(dir / "prefix" / "user.reg", std::ios::binary | std::ios::trunc)
        << "WINE REGISTRY Version 2\n\n[Software\\\\Broken] 1\n\"a\"=dword:zz\n";
    const std::string before = Read(dir / "prefix" / "user.reg");
    CliResult r = Cli(env, "clean win_chk:5");
    EXPECT_EQ(r.code, 1);
    EXPECT_EQ(Read(dir / "prefix" / "user.reg"), before);
}

TEST_F(CliTest, TasksListsTheCatalogue) {
    CliResult r = Cli(env, "tasks");
    EXPECT_EQ(r.code, 0);
    EXPECT_NE(r.out.find("win_chk:5\tErase Run History\n"), std::string::npos);
    EXPECT_NE(r.out.find("cmbsDelType:1\tGuttmann Scheme [Supreme, Fast]\n"), std::string::npos);
    EXPECT_TRUE(r.out.starts_with("win_chk:1\t")) << "Windows tasks come first";
}

}  // namespace
