#include <gtest/gtest.h>

#include "app/SettingsStore.hpp"
#include "support/AppFixture.hpp"

namespace velloran::test {

namespace {
constexpr const char* kKey = "Software\\Velloran\\settings";
}

class SettingsStoreTest : public AppFixture {
protected:
    void Store(const char* name, const RegValue& v) {
        registry.WriteValue(kHKeyCurrentUser, kKey, name, v);
    }
};

TEST_F(SettingsStoreTest, FirstStartKeepsDefaultsAndShowsNoStatus) {
    LoadMain();
    EXPECT_EQ(main().sBar.Panel(7), "");
    for (int i : main().stChk.Indexes()) EXPECT_EQ(main().stChk(i).Value(), 0);
    EXPECT_EQ(main().cmbsDelType.Text(), "File Zapper [Standard, Slow]");
    EXPECT_FALSE(main().cmbsDelType.Enabled());
}

TEST_F(SettingsStoreTest, LoadRunsTheOptionRules) {
    Store("set1", RegValue::Dword(1));
    Store("set2", RegValue::Dword(1));
    Store("set3", RegValue::Dword(2));
    Store("set7", RegValue::String("1"));  // text holding a number converts
    Store("set4", RegValue::Dword(1));     // never read
    LoadMain();
    EXPECT_EQ(main().stChk(Option::RecycleBin).Value(), 0)
        << "secure delete, loaded second, clears the recycle bin";
    EXPECT_EQ(main().stChk(Option::SecureDelete).Value(), 1);
    EXPECT_TRUE(main().cmbsDelType.Enabled());
    EXPECT_EQ(main().cmbsDelType.Text(), "Zero And Delete [Supreme, Fast]");
    EXPECT_EQ(main().stChk(Option::ShutDown).Value(), 1);
    EXPECT_EQ(main().stChk(Option::Restart).Value(), 0);
    EXPECT_EQ(main().sBar.Panel(7), "Done.");
}

TEST_F(SettingsStoreTest, CloseSavesEverythingButRestartAndRecreatesTheKey) {
    LoadMain();
    main().stChk(Option::NoNotify).UserClick();
    main().stChk(Option::Restart).UserClick();  // restart is never stored
    registry.DeleteKey(kHKeyCurrentUser, "Software\\Velloran", true);
    EXPECT_TRUE(main().Unload(vbFormControlMenu));
    auto values = registry.EnumerateValues(kHKeyCurrentUser, kKey);
    std::vector<std::string> names;
    for (const auto& v : values) names.push_back(v.name);
    EXPECT_EQ(names, (std::vector<std::string>{"set1", "set2", "set3", "set5", "set6", "set7"}));
    EXPECT_EQ(registry.ReadValue(kHKeyCurrentUser, kKey, "set5")->data, RegValue::Dword(1).data);
    EXPECT_EQ(main().sBar.Panel(7), "Done.");

    // The next start: the options come back, restart is clear.
    Application next(host, platform);
    next.SetRegistry(&registry);
    next.Main().Load();
    EXPECT_EQ(next.Main().stChk(Option::NoNotify).Value(), 1);
    EXPECT_EQ(next.Main().stChk(Option::Restart).Value(), 0);
}

TEST_F(SettingsStoreTest, AValueThatIsNotANumberIsReported) {
    Store("set2", RegValue::String("yes"));
    EXPECT_EQ(ExpectProgramEnd([&] { LoadMain(); }), 1);
    ASSERT_EQ(host.reports.size(), 1u);
    EXPECT_NE(host.reports[0].find("Location: ModControls:LoadSettings"), std::string::npos);
}

}  // namespace velloran::test
