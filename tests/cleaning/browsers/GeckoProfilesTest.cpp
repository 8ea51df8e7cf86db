// Where Gecko profiles of a Windows environment keep their caches: a profile in
// %APPDATA% has its disk cache at the same place below %LOCALAPPDATA%.
#include "cleaning/browsers/GeckoProfiles.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "support/TestProcess.hpp"

namespace velloran::test {
namespace {

namespace fs = std::filesystem;

TEST(GeckoProfilesTest, WindowsProfilesCacheBelowLocalAppData) {
    const fs::path dir = MakeTempDir("velloran-gecko");
    struct Cleanup {
        fs::path path;
        ~Cleanup() { fs::remove_all(path); }
    } cleanup{dir};
    const fs::path roaming = dir / "Roaming";
    const fs::path local = dir / "Local";
    for (const char* browser : {"Mozilla/Firefox", "Waterfox", "librewolf"}) {
        fs::create_directories(roaming / browser / "Profiles" / "abc.default");
        std::ofstream(roaming / browser / "profiles.ini", std::ios::binary)
            << "[Profile0]\r\nName=default\r\nIsRelative=1\r\nPath=Profiles/abc.default\r\n";
    }

    GeckoLocations where;
    where.appData = roaming.string();
    where.localAppData = local.string();
    const std::vector<GeckoProfile> profiles = FindGeckoProfiles(where);
    ASSERT_EQ(profiles.size(), 3u);
    for (const GeckoProfile& p : profiles) {
        const fs::path profile = fs::path(p.path);
        const fs::path rel = profile.lexically_relative(fs::canonical(roaming));
        const fs::path cache = fs::weakly_canonical(local) / rel / "cache2";
        EXPECT_NE(std::find_if(p.cacheFolders.begin(), p.cacheFolders.end(),
                               [&](const std::string& f) { return fs::path(f) == cache; }),
                  p.cacheFolders.end())
            << p.path;
        EXPECT_NE(
            std::find_if(p.cacheFolders.begin(), p.cacheFolders.end(),
                         [&](const std::string& f) { return fs::path(f) == profile / "cache2"; }),
            p.cacheFolders.end())
            << "the profile's own cache folder too: " << p.path;
    }

    // Without a local application data folder only the profiles' own caches count.
    where.localAppData.clear();
    for (const GeckoProfile& p : FindGeckoProfiles(where))
        for (const std::string& f : p.cacheFolders)
            EXPECT_EQ(fs::path(f).parent_path(), fs::path(p.path)) << f;
}

}  // namespace
}  // namespace velloran::test
