// The Netscape box group of a run: its lines around the worker's own.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "cleaning/ClsClean.hpp"
#include "cleaning/FrmCleaner.hpp"
#include "support/AppFixture.hpp"
#include "support/EnvGuard.hpp"
#include "support/TestProcess.hpp"

namespace velloran::test {

namespace fs = std::filesystem;

class NetscapeGroupTest : public AppFixture {
protected:
    void SetUp() override {
        dir = MakeTempDir("velloran-nsgroup");
        // Profiles are looked for under these; never the real user's.
        env.Set("XDG_CONFIG_HOME", (dir / "config").c_str());
        env.Set("XDG_CACHE_HOME", (dir / "cache").c_str());
        platform.home = (dir / "home").string();
        LoadMain();
    }
    void TearDown() override { fs::remove_all(dir); }
    fs::path dir;
    EnvGuard env;
};

TEST_F(NetscapeGroupTest, TickedBoxesCallTheWorkerWithTheirIndex) {
    const fs::path root = dir / "config/mozilla/firefox";
    fs::create_directories(root / "p.default");
    fs::copy_file(fs::path(VELLORAN_TEST_DATADIR) / "browsers/gecko/cookies.sqlite",
                  root / "p.default/cookies.sqlite");
    std::ofstream(root / "profiles.ini") << "[Profile0]\nPath=p.default\nIsRelative=1\n";
    platform.texts[(dir / "config/velloran/cookies-keep.txt").string()] = "keep.test\n";

    main().ns_Chk(1).SetValue(1);
    main().ns_Chk(3).SetValue(1);
    app.Cleaner().Load();
    app.Cleaner().txtprogress.SetText("header");
    ClsClean cs(app);
    std::vector<std::tuple<std::string, int, int>> events;
    cs.Progress = [&](const std::string& t, int total, int current) {
        events.emplace_back(t, total, current);
    };
    cs.DoNetscape();

    const std::string profile = fs::canonical(root / "p.default").string();
    EXPECT_EQ(app.Cleaner().txtprogress.Text(),
              "header\r\nVerifying Netscape jobs...\r\n"
              "Cleaning Netscape Type Url's history ...\r\n"
              "Nothing to remove in profile " +
                  profile +
                  ".\r\n"
                  "Cleaning Netscape Cookies ...\r\n"
                  "Removed 3 cookies from " +
                  profile + "/cookies.sqlite; kept 2 cookies of the sites to keep.");
    EXPECT_EQ(events, (std::vector<std::tuple<std::string, int, int>>{
                          {"Cleaning Netscape Type Url's history ...", 2, 1},
                          {"Cleaning Netscape Cookies ...", 2, 3},
                          {"Completed Netscape jobs...", 2, 2}}));
    EXPECT_EQ(cs.cNsp(), nullptr) << "the worker lives only during the group";
}

}  // namespace velloran::test
