#include <gtest/gtest.h>

#include "cleaning/Completion.hpp"
#include "common/registry/KelRegistry.hpp"
#include "support/AppFixture.hpp"

namespace velloran::test {

class CompletionTest : public AppFixture {
protected:
    void SetUp() override { LoadMain(); }
    // Sets option boxes without the Settings page's rules, as stored settings or a
    // future caller could leave them.
    void SetRaw(int box, int value) {
        auto click = std::move(main().stChk(box).OnClick);
        main().stChk(box).OnClick = nullptr;
        main().stChk(box).SetValue(value);
        main().stChk(box).OnClick = std::move(click);
    }
    bool Ends() {
        try {
            SuccessMsgBox(app, "Done!", vbInformation, app.Main().CurrentOptions());
        } catch (const ProgramEnd&) {
            return true;
        }
        return false;
    }
    int StoredOption(const char* name) {
        KelRegistry reg(registry);
        reg.RootKey(kHKeyCurrentUser);
        reg.KeyPath("Software\\Velloran");
        reg.SubKey("settings");
        return reg.ReadValue(name, RegData("-5")).ToInt16();
    }
};

TEST_F(CompletionTest, ShutDownAndRestartLeaveTheProgramRunning) {
    // Shut down and no notification: no message, settings saved, logind asked.
    main().stChk(Option::NoNotify).UserClick();
    main().stChk(Option::ShutDown).UserClick();
    EXPECT_FALSE(Ends());
    EXPECT_TRUE(host.boxes.empty());
    EXPECT_EQ(platform.calls, (std::vector<std::string>{"PowerOff"}));
    EXPECT_EQ(StoredOption("set7"), 1);
    EXPECT_TRUE(main().IsLoaded());
    EXPECT_TRUE(IsTrue(app.StopRequested));

    // Restart with the message: the message comes first, then the reboot.
    main().stChk(Option::NoNotify).UserClick();
    main().stChk(Option::Restart).UserClick();
    EXPECT_EQ(main().stChk(Option::ShutDown).Value(), 0);
    platform.calls.clear();
    EXPECT_FALSE(Ends());
    ASSERT_EQ(host.boxes.size(), 1u);
    EXPECT_EQ(host.boxes[0].text, "Done!");
    EXPECT_EQ(host.boxes[0].style, vbInformation);
    EXPECT_EQ(platform.calls, (std::vector<std::string>{"Reboot"}));

    // A refusal changes nothing: no error report, the window stays.
    platform.powerRefused = true;
    platform.calls.clear();
    EXPECT_FALSE(Ends());
    EXPECT_EQ(platform.calls, (std::vector<std::string>{"Reboot"}));
    EXPECT_TRUE(host.reports.empty());
    EXPECT_TRUE(main().IsLoaded());
}

TEST_F(CompletionTest, NoOptionOnlyNotifies) {
    main().stChk(Option::NoNotify).UserClick();
    EXPECT_FALSE(Ends());
    EXPECT_TRUE(host.boxes.empty());
    EXPECT_TRUE(platform.calls.empty());
    EXPECT_TRUE(main().IsLoaded());
}

TEST_F(CompletionTest, ExitWinsOverShutDownOverRestartAndOnlyOneCounts) {
    SetRaw(4, 1);
    SetRaw(5, 1);
    SetRaw(6, 1);
    EXPECT_TRUE(Ends());
    EXPECT_TRUE(platform.calls.empty()) << "exit is not followed by a shutdown";
    EXPECT_FALSE(main().IsLoaded());

    main().Load();
    SetRaw(4, 0);
    SetRaw(5, 1);
    SetRaw(6, 1);
    EXPECT_FALSE(Ends());
    EXPECT_EQ(platform.calls, (std::vector<std::string>{"PowerOff"}));

    // A box holding 2 (neither ticked nor clear) is not ticked.
    platform.calls.clear();
    SetRaw(4, 2);
    SetRaw(5, 2);
    EXPECT_FALSE(Ends());
    EXPECT_EQ(platform.calls, (std::vector<std::string>{"Reboot"}));
    SetRaw(6, 2);
    platform.calls.clear();
    EXPECT_FALSE(Ends());
    EXPECT_TRUE(platform.calls.empty());
}

}  // namespace velloran::test
