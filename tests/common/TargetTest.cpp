// Which Windows environment a run works on.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "common/Target.hpp"
#include "support/EnvGuard.hpp"
#include "support/TestProcess.hpp"

namespace velloran::test {

namespace fs = std::filesystem;

TEST(Target, PrefixChoiceOrder) {
    const fs::path home = MakeTempDir("velloran-home");
    EnvGuard env;
    env.Set("HOME", home.c_str());
    env.Set("XDG_CONFIG_HOME", nullptr);
    env.Set("WINEPREFIX", nullptr);

    Target t = SelectTarget();
    EXPECT_FALSE(t.HasPrefix()) << "~/.wine without user.reg is no prefix";
    EXPECT_EQ(t.RegistryFolder(), home / ".config" / "velloran");

    fs::create_directories(home / ".wine");
    std::ofstream(home / ".wine" / "user.reg") << "WINE REGISTRY Version 2\n";
    EXPECT_EQ(SelectTarget().prefix, home / ".wine");

    env.Set("WINEPREFIX", (home / "other/").c_str());
    EXPECT_EQ(SelectTarget().prefix, home / "other") << "trailing slash dropped";
    EXPECT_EQ(SelectTarget(fs::path(home / "cli")).prefix, home / "cli") << "--prefix wins";

    env.Set("XDG_CONFIG_HOME", "relative/dir");
    EXPECT_EQ(SelectTarget().ownStore, home / ".config" / "velloran")
        << "relative XDG paths are ignored";
    fs::remove_all(home);
}

}  // namespace velloran::test
