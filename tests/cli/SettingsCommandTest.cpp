// 'velloran-cli settings' as a user runs it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "cli/CliFixture.hpp"

namespace velloran::test {

using SettingsCommandTest = CliFixture;

// The NAME=VALUE part of each line of 'settings', joined by blanks.
std::string Values(const std::string& out) {
    std::string joined;
    std::size_t pos = 0;
    while (pos < out.size()) {
        const std::size_t eol = out.find('\n', pos);
        const std::string line = out.substr(pos, eol - pos);
        joined += (joined.empty() ? "" : " ") + line.substr(0, line.find('\t'));
        pos = eol == std::string::npos ? out.size() : eol + 1;
    }
    return joined;
}

TEST_F(SettingsCommandTest, ShownAndStoredThroughTheOptionRules) {
    EXPECT_EQ(Cli(env, "settings set4=1").code, 2);
    EXPECT_EQ(Cli(env, "settings set3=3").code, 2);

    EXPECT_EQ(Cli(env, "settings delete-method=fast").code, 2);
    EXPECT_EQ(Cli(env, "settings secure-delete").code, 2);

    CliResult shown = Cli(env, "settings");
    EXPECT_EQ(Values(shown.out),
              "recycle-bin=0 secure-delete=0 delete-method=zapper no-notify=0 "
              "exit-when-done=0 shut-down=0");
    EXPECT_NE(shown.out.find("secure-delete=0\tSecurely delete files (set2)\n"), std::string::npos)
        << shown.out;
    EXPECT_NE(shown.out.find("delete-method=zapper\tDelete method: File Zapper [Standard, Slow]"),
              std::string::npos)
        << shown.out;
    // Stored through the option rules: secure delete clears the recycle bin box.
    CliResult stored = Cli(env, "settings set1=1 set2=1 set3=2 set5=1 set7=1");
    EXPECT_EQ(stored.code, 0);
    EXPECT_EQ(Values(Cli(env, "settings").out),
              "recycle-bin=0 secure-delete=1 delete-method=zero no-notify=1 "
              "exit-when-done=0 shut-down=1");
    // The names do the same, and the rules hold: exit when done clears shut down.
    EXPECT_EQ(Cli(env, "settings exit-when-done=1 delete-method=gutmann").code, 0);
    const CliResult json = Cli(env, "settings --json");
    EXPECT_EQ(ParseJson(json.out), "ok") << json.out;
    EXPECT_NE(json.out.find("{\"name\":\"shut-down\",\"stored\":\"set7\",\"value\":\"0\""),
              std::string::npos)
        << json.out;
    EXPECT_NE(json.out.find("\"value\":\"gutmann\""), std::string::npos) << json.out;
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
    EXPECT_EQ(Values(Cli(env + " WINEPREFIX=" + (dir / "other").string(), "settings").out),
              "recycle-bin=0 secure-delete=0 delete-method=zapper no-notify=1 "
              "exit-when-done=0 shut-down=0");
    EXPECT_EQ(ReadAll(dir / "other" / "user.reg"), before);
}

}  // namespace velloran::test
