// The Win32 views on Wine's null display driver: each control's window follows
// its control, and the user's input reaches the control; large lists stay
// owner data; the hand-drawn check boxes show the state they stand for.
#include <gtest/gtest.h>

#include "common/controls/Controls.hpp"
#include "common/controls/Form.hpp"
#include "common/controls/ListView.hpp"
#include "win32/View.hpp"
#include "win32/Win32Host.hpp"

namespace velloran::win32 {
namespace {

class TestForm : public Form {
public:
    explicit TestForm(Host& host) : Form(host, "TestForm") {
        tabs.AddTab("First");
        tabs.AddTab("Second");
        list.AddColumn("Name");
        list.AddColumn("Size");
        list.SetCheckboxes(true);
        box.SetCaption(" Save & exit");
        cmd.SetCaption("Go");
        cmd.OnClick = [this] { ++clicks; };
    }
    CheckBox box{"chkTest"};
    CommandButton cmd{"cmdGo"};
    ListView list{"lvRows"};
    TreeView tree{"tvNodes"};
    TabStrip tabs{"sTab", -1};
    TextBox log{"txtLog"};
    Label label{"lblOnSecond"};
    int clicks = 0;
};

class TestView : public View {
public:
    TestView(TestForm& form, HWND owner = nullptr)
        : View(&form, L"Velloran.TestForm", owner, {400, 300}) {
        AddTabs(form.tabs, {4, 4, 392, 292});
        box_ = AddCheck(form.box, {10, 30, 200, 18}, 0);
        cmd_ = AddButton(form.cmd, {220, 30, 80, 24}, 0);
        list_ = AddList(form.list, {10, 60, 380, 100}, 0);
        tree_ = AddTree(form.tree, {10, 170, 180, 100}, 0);
        log_ = AddLog(form.log, {200, 170, 190, 100});
        label_ = AddLabel(form.label, {10, 30, 200, 18}, 1);
        SetDefaultButton(cmd_);
        Place();
    }
    HWND box_, cmd_, list_, tree_, log_, label_;
};

class ViewTest : public ::testing::Test {
protected:
    Win32Host host;
    TestForm form{host};
};

std::wstring WindowText(HWND h) {
    wchar_t text[256] = {};
    GetWindowTextW(h, text, 256);
    return text;
}

std::wstring ItemText(HWND list, int row, int sub) {
    wchar_t text[256] = {};
    LVITEMW item{};
    item.iSubItem = sub;
    item.pszText = text;
    item.cchTextMax = 256;
    SendMessageW(list, LVM_GETITEMTEXTW, row, reinterpret_cast<LPARAM>(&item));
    return text;
}

UINT StateImage(HWND list, int row) {
    return static_cast<UINT>(SendMessageW(list, LVM_GETITEMSTATE, row, LVIS_STATEIMAGEMASK)) >> 12;
}

bool Shown(HWND h) { return (GetWindowLongW(h, GWL_STYLE) & WS_VISIBLE) != 0; }

TEST_F(ViewTest, CheckBoxAndButtonFollowTheirControlsAndForwardClicks) {
    TestView view(form);
    // A literal "&" is no mnemonic.
    EXPECT_EQ(WindowText(view.box_), L" Save && exit");

    SendMessageW(view.box_, BM_CLICK, 0, 0);
    EXPECT_EQ(form.box.Value(), 1);
    EXPECT_EQ(SendMessageW(view.box_, BM_GETCHECK, 0, 0), BST_CHECKED);
    form.box.SetValue(0);
    EXPECT_EQ(SendMessageW(view.box_, BM_GETCHECK, 0, 0), BST_UNCHECKED);
    form.box.SetValue(2);
    EXPECT_EQ(SendMessageW(view.box_, BM_GETCHECK, 0, 0), BST_INDETERMINATE);

    SendMessageW(view.cmd_, BM_CLICK, 0, 0);
    EXPECT_EQ(form.clicks, 1);
    // Enter, as the dialog keys turn it into IDOK, presses the default button.
    SendMessageW(view.Hwnd(), WM_COMMAND, IDOK, 0);
    EXPECT_EQ(form.clicks, 2);
    // A disabled control takes no click, even one the system would deliver.
    form.cmd.SetEnabled(false);
    EXPECT_FALSE(IsWindowEnabled(view.cmd_));
    SendMessageW(view.cmd_, BM_CLICK, 0, 0);
    SendMessageW(view.Hwnd(), WM_COMMAND, IDOK, 0);
    EXPECT_EQ(form.clicks, 2);
    form.cmd.SetCaption("Stop");
    EXPECT_EQ(WindowText(view.cmd_), L"Stop");
}

TEST_F(ViewTest, LargeListIsOwnerDataWithChecksSelectionAndSpace) {
    form.list.Reserve(100000);
    for (int i = 0; i < 100000; ++i) {
        form.list.Add({}, "file" + std::to_string(i), {std::to_string(i) + " Bytes"});
        if (i % 2 == 0) form.list.SetChecked(i, true);
    }
    TestView view(form);
    EXPECT_EQ(SendMessageW(view.list_, LVM_GETITEMCOUNT, 0, 0), 100000);
    EXPECT_EQ(ItemText(view.list_, 99999, 0), L"file99999");
    EXPECT_EQ(ItemText(view.list_, 99999, 1), L"99999 Bytes");
    EXPECT_EQ(StateImage(view.list_, 4), kStateTicked);
    EXPECT_EQ(StateImage(view.list_, 5), kStateClear);

    form.list.Add({}, "late", {"1 Bytes"});
    EXPECT_EQ(SendMessageW(view.list_, LVM_GETITEMCOUNT, 0, 0), 100001);
    form.list.SetChecked(5, true);
    EXPECT_EQ(StateImage(view.list_, 5), kStateTicked);

    // The user's selection reaches the control; Space toggles the selected row.
    LVITEMW select{};
    select.stateMask = select.state = LVIS_SELECTED | LVIS_FOCUSED;
    SendMessageW(view.list_, LVM_SETITEMSTATE, 7, reinterpret_cast<LPARAM>(&select));
    EXPECT_EQ(form.list.SelectedIndex(), 7);
    SendMessageW(view.list_, WM_KEYDOWN, VK_SPACE, 0);
    EXPECT_TRUE(form.list.Row(7).checked);

    form.list.Remove(0);
    EXPECT_EQ(SendMessageW(view.list_, LVM_GETITEMCOUNT, 0, 0), 100000);
    form.list.Clear();
    EXPECT_EQ(SendMessageW(view.list_, LVM_GETITEMCOUNT, 0, 0), 0);
}

TEST_F(ViewTest, TreeChecksUseTheirOwnStateImages) {
    form.tree.Add({}, "C:\\", "C:\\");
    form.tree.Add({}, "D:\\", "D:\\");
    form.tree.SetChecked(0, true);
    TestView view(form);
    ASSERT_EQ(SendMessageW(view.tree_, TVM_GETCOUNT, 0, 0), 2);
    EXPECT_NE(SendMessageW(view.tree_, TVM_GETIMAGELIST, TVSIL_STATE, 0), 0);
    auto state = [&view](int nth) {
        auto item =
            reinterpret_cast<HTREEITEM>(SendMessageW(view.tree_, TVM_GETNEXTITEM, TVGN_ROOT, 0));
        for (int i = 0; i < nth; ++i)
            item = reinterpret_cast<HTREEITEM>(SendMessageW(view.tree_, TVM_GETNEXTITEM, TVGN_NEXT,
                                                            reinterpret_cast<LPARAM>(item)));
        return static_cast<UINT>(SendMessageW(view.tree_, TVM_GETITEMSTATE,
                                              reinterpret_cast<WPARAM>(item),
                                              TVIS_STATEIMAGEMASK)) >>
               12;
    };
    EXPECT_EQ(state(0), kStateTicked);
    EXPECT_EQ(state(1), kStateClear);
    form.tree.SetChecked(0, false);
    form.tree.SetChecked(1, true);
    EXPECT_EQ(state(0), kStateClear);
    EXPECT_EQ(state(1), kStateTicked);
    form.tree.Add({}, "E:\\", "E:\\");
    EXPECT_EQ(SendMessageW(view.tree_, TVM_GETCOUNT, 0, 0), 3);
}

TEST_F(ViewTest, TabsShowTheirPageAndRefuseAnUnavailableTab) {
    TestView view(form);
    HWND tabs = FindWindowExW(view.Hwnd(), nullptr, WC_TABCONTROLW, nullptr);
    ASSERT_NE(tabs, nullptr);
    EXPECT_TRUE(Shown(view.box_));
    EXPECT_FALSE(Shown(view.label_));
    EXPECT_TRUE(Shown(view.log_));  // on no page

    form.tabs.SetSelectedTab(1);
    EXPECT_FALSE(Shown(view.box_));
    EXPECT_TRUE(Shown(view.label_));
    EXPECT_EQ(SendMessageW(tabs, TCM_GETCURSEL, 0, 0), 1);

    // The user picks an unavailable tab: the strip stays where the form has it.
    form.tabs.SetTabEnabled(0, false);
    SendMessageW(tabs, TCM_SETCURSEL, 0, 0);
    NMHDR change{tabs, static_cast<UINT_PTR>(GetDlgCtrlID(tabs)), static_cast<UINT>(TCN_SELCHANGE)};
    SendMessageW(view.Hwnd(), WM_NOTIFY, change.idFrom, reinterpret_cast<LPARAM>(&change));
    EXPECT_EQ(form.tabs.SelectedTab(), 1);
    EXPECT_EQ(SendMessageW(tabs, TCM_GETCURSEL, 0, 0), 1);
    // An available one is taken.
    form.tabs.SetTabEnabled(0, true);
    SendMessageW(tabs, TCM_SETCURSEL, 0, 0);
    SendMessageW(view.Hwnd(), WM_NOTIFY, change.idFrom, reinterpret_cast<LPARAM>(&change));
    EXPECT_EQ(form.tabs.SelectedTab(), 0);
    EXPECT_TRUE(Shown(view.box_));
}

TEST_F(ViewTest, LogHasOneRowALineAndFollowsRewrites) {
    form.log.SetText("first\r\nsecond");
    TestView view(form);
    EXPECT_EQ(SendMessageW(view.log_, LVM_GETITEMCOUNT, 0, 0), 2);
    form.log.AppendLine("third & last");
    ASSERT_EQ(SendMessageW(view.log_, LVM_GETITEMCOUNT, 0, 0), 3);
    EXPECT_EQ(ItemText(view.log_, 2, 0), L"third & last");
    form.log.SetText("");
    EXPECT_EQ(SendMessageW(view.log_, LVM_GETITEMCOUNT, 0, 0), 0);
}

// The pixels of image `index` of a list, top-down BGRA.
std::vector<std::uint32_t> Pixels(HIMAGELIST list, int index) {
    IMAGEINFO info{};
    ImageList_GetImageInfo(list, index, &info);
    const int w = info.rcImage.right - info.rcImage.left,
              h = info.rcImage.bottom - info.rcImage.top;
    std::vector<std::uint32_t> all;
    BITMAP bitmap{};
    GetObjectW(info.hbmImage, sizeof bitmap, &bitmap);
    std::vector<std::uint32_t> whole(static_cast<std::size_t>(bitmap.bmWidth * bitmap.bmHeight));
    BITMAPINFO bi{};
    bi.bmiHeader = {
        sizeof(BITMAPINFOHEADER), bitmap.bmWidth, -bitmap.bmHeight, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    HDC dc = GetDC(nullptr);
    GetDIBits(dc, info.hbmImage, 0, static_cast<UINT>(bitmap.bmHeight), whole.data(), &bi,
              DIB_RGB_COLORS);
    ReleaseDC(nullptr, dc);
    for (int y = info.rcImage.top; y < info.rcImage.top + h; ++y)
        for (int x = info.rcImage.left; x < info.rcImage.left + w; ++x)
            all.push_back(whole[static_cast<std::size_t>(y * bitmap.bmWidth + x)]);
    return all;
}

int Dark(const std::vector<std::uint32_t>& pixels, int size) {
    // Dark pixels inside the box, away from its border: the tick.
    int dark = 0;
    for (int y = size / 4; y < size * 3 / 4; ++y)
        for (int x = size / 4; x < size * 3 / 4; ++x) {
            const std::uint32_t p = pixels[static_cast<std::size_t>(y * size + x)];
            if ((p >> 24) != 0 && (p & 0xFF) < 0x90 && ((p >> 8) & 0xFF) < 0x90) ++dark;
        }
    return dark;
}

TEST(CheckImagesTest, EachStateHasItsPictureWhereEachViewLooksForIt) {
    HIMAGELIST tree = CheckImages(96, CheckImageUse::TreeView);
    HIMAGELIST list = CheckImages(96, CheckImageUse::ListView);
    ASSERT_EQ(ImageList_GetImageCount(tree), 4);
    ASSERT_EQ(ImageList_GetImageCount(list), 3);
    int cx = 0, cy = 0;
    ImageList_GetIconSize(tree, &cx, &cy);
    EXPECT_EQ(cx, 16);
    // A tree shows state n with image n; its image 0 is nothing at all.
    for (std::uint32_t p : Pixels(tree, 0)) EXPECT_EQ(p >> 24, 0u);
    EXPECT_EQ(Dark(Pixels(tree, kStateClear), 16), 0);
    EXPECT_GT(Dark(Pixels(tree, kStateTicked), 16), 8);
    // A list shows state n with image n - 1.
    EXPECT_EQ(Pixels(list, kStateClear - 1), Pixels(tree, kStateClear));
    EXPECT_EQ(Pixels(list, kStateTicked - 1), Pixels(tree, kStateTicked));
    EXPECT_EQ(Pixels(list, kStateGreyed - 1), Pixels(tree, kStateGreyed));
    // Larger for a larger DPI.
    HIMAGELIST large = CheckImages(144, CheckImageUse::ListView);
    ImageList_GetIconSize(large, &cx, &cy);
    EXPECT_EQ(cx, 24);
    for (HIMAGELIST l : {tree, list, large}) ImageList_Destroy(l);
}

}  // namespace
}  // namespace velloran::win32
