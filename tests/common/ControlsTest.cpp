#include <gtest/gtest.h>

#include "common/controls/ControlArray.hpp"
#include "common/controls/Controls.hpp"

using namespace velloran;

TEST(CheckBox, ProgramSetRaisesClickOnlyOnChange) {
    CheckBox box("chk");
    int clicks = 0;
    box.OnClick = [&] { ++clicks; };
    box.SetValue(1);
    box.SetValue(1);
    box.SetValue(0);
    EXPECT_EQ(clicks, 2);
    box.SetEnabled(false);
    box.UserClick();  // a disabled box ignores the user
    EXPECT_EQ(box.Value(), 0);
}
