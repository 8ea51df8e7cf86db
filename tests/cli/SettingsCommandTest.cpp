// 'velloran-cli settings' as a user runs it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "cli/CliFixture.hpp"

namespace velloran::test {

using SettingsCommandTest = CliFixture;

TEST_F(SettingsCommandTest, ShownAndStoredThroughTheOptionRules) {
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

TEST_F(SettingsCommandTest, SettingsLiveInVelloransOwnStoreNeverInTheTarget) {
    // Nothing of the prefix's to clean: the prefix stays byte for byte, and the
    // options stored while it is the target are there for the next target too.
    std::ofstream(dir / "prefix" / "user.reg", std::ios::binary | std::ios::trunc)
        << "WINE REGISTRY Version 2\n;; All keys relative to "
           "REGISTRY\\\\User\\\\S-1-5-21-0-0-0-1000\n"
           "\n#arch=win64\n";
    const std::string before = ReadAll(dir / "prefix" / "user.reg");
    EXPECT_EQ(Cli(env, "settings set5=1").code, 0);
    EXPECT_EQ(Cli(env, "clean win_chk:5").code, 0);
    EXPECT_EQ(ReadAll(dir / "prefix" / "user.reg"), before);
    EXPECT_FALSE(fs::exists(dir / "prefix" / "system.reg"));
    const std::string own = ReadAll(dir / "home/.config/velloran/user.reg");
    EXPECT_NE(own.find("[Software\\\\Velloran\\\\settings]"), std::string::npos) << own;

    fs::create_directories(dir / "other");
    std::ofstream(dir / "other" / "user.reg", std::ios::binary) << before;
    EXPECT_EQ(Cli(env + " WINEPREFIX=" + (dir / "other").string(), "settings").out,
              "set1=0\nset2=0\nset3=0\nset5=1\nset6=0\nset7=0\n");
    EXPECT_EQ(ReadAll(dir / "other" / "user.reg"), before);
}

}  // namespace velloran::test
