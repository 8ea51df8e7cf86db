// The Win32 host: modal windows with a loop of their own, input that runs
// re-entrantly inside a form's long loop, the end of the program from inside a
// handler, and the file dialog's texts.
#include <gtest/gtest.h>

#include <algorithm>

#include "common/controls/Controls.hpp"
#include "common/controls/Form.hpp"
#include "win32/Dispatch.hpp"
#include "win32/View.hpp"
#include "win32/Win32Host.hpp"

// After the window headers that it builds on.
#include <shlobj.h>

namespace velloran::win32 {
namespace {

// A window whose activation runs a long loop that lets input in between items,
// as a cleaning run does; Cancel stops it and unloads the window.
class LoopForm : public Form {
public:
    explicit LoopForm(Host& host) : Form(host, "LoopForm") {
        cmdCancel.SetCaption("Cancel");
        cmdCancel.OnClick = [this] {
            stop = true;
            Unload();
        };
    }
    CommandButton cmdCancel{"cmdCancel"};
    std::function<void()> onActivate;
    bool stop = false;
    int items = 0;

protected:
    void Form_Activate() override {
        if (onActivate) onActivate();
    }
};

class LoopView : public View {
public:
    LoopView(LoopForm& form, HWND owner) : View(&form, L"Velloran.LoopForm", owner, {200, 80}) {
        cancel = AddButton(form.cmdCancel, {10, 10, 90, 26});
        Place();
    }
    HWND cancel;
};

class Win32HostTest : public ::testing::Test {
protected:
    Win32HostTest() {
        host.RegisterView("LoopForm", [this](Form& f, HWND owner) -> std::unique_ptr<View> {
            auto view = std::make_unique<LoopView>(static_cast<LoopForm&>(f), owner);
            cancel = view->cancel;
            return view;
        });
    }
    ~Win32HostTest() override { ResetEnding(); }
    Win32Host host;
    LoopForm form{host};
    HWND cancel = nullptr;
};

TEST_F(Win32HostTest, CancelClickedMidLoopStopsTheLoopAndEndsTheModalWindow) {
    form.onActivate = [this] {
        PostMessageW(cancel, BM_CLICK, 0, 0);
        for (form.items = 0; form.items < 1000 && !form.stop; ++form.items) host.DoEvents();
    };
    form.ShowModal();
    // The click waited for the first DoEvents, then the loop saw the flag.
    EXPECT_EQ(form.items, 1);
    EXPECT_FALSE(form.IsLoaded());
    EXPECT_EQ(host.WindowOf(&form), nullptr);
}

TEST_F(Win32HostTest, ModalLoopRunsUntilTheFormUnloadsAndFreesItsOwner) {
    LoopForm owner(host);
    owner.Load();
    LoopView ownerView(owner, nullptr);
    ShowWindow(ownerView.Hwnd(), SW_SHOWNA);
    host.SetMainView(owner, &ownerView);
    bool ownerDisabled = false;
    form.onActivate = [&] {
        ownerDisabled = !IsWindowEnabled(ownerView.Hwnd());
        // The title-bar button, after the activation has returned.
        PostMessageW(host.WindowOf(&form), WM_CLOSE, 0, 0);
    };
    form.ShowModal(&owner);
    EXPECT_TRUE(ownerDisabled);
    EXPECT_FALSE(form.IsLoaded());
    EXPECT_TRUE(IsWindowEnabled(ownerView.Hwnd()));
}

TEST_F(Win32HostTest, EndingInsideAHandlerLeavesEveryLoop) {
    form.cmdCancel.OnClick = [] { EndProgram(3); };
    form.onActivate = [this] { PostMessageW(cancel, BM_CLICK, 0, 0); };
    // Dispatch at the click turns the end into the quit; the modal loop rethrows.
    EXPECT_THROW(form.ShowModal(), ProgramEnd);
    EXPECT_TRUE(Ending());
    EXPECT_EQ(EndCode(), 3);
    EXPECT_THROW(host.DoEvents(), ProgramEnd);
    EXPECT_THROW(host.MsgBox("never shown", 0, "Velloran"), ProgramEnd);
}

TEST(FileDialogTest, FilterAndChosenNames) {
    const wchar_t expected[] = L"All Files(*.*)\0*.*\0Text\0*.txt\0";  // and the literal's NUL
    EXPECT_EQ(FileDialogFilter("All Files(*.*)|*.*|Text|*.txt"),
              std::wstring(expected, sizeof expected / sizeof expected[0]));

    EXPECT_TRUE(ChosenFiles(L"").empty());
    // One file: its full path.
    const wchar_t one[] = L"C:\\data\\Caf\u00e9.txt\0";
    EXPECT_EQ(ChosenFiles(one), std::vector<std::string>{"C:\\data\\Caf\xc3\xa9.txt"});
    // Several: the folder, then each name.
    const wchar_t several[] = L"C:\\data\0a.txt\0b.txt\0";
    EXPECT_EQ(ChosenFiles(several),
              (std::vector<std::string>{"C:\\data\\a.txt", "C:\\data\\b.txt"}));
    const wchar_t root[] = L"C:\\\0a.txt\0b.txt\0";
    EXPECT_EQ(ChosenFiles(root), (std::vector<std::string>{"C:\\a.txt", "C:\\b.txt"}));
}

}  // namespace
}  // namespace velloran::win32

namespace velloran::win32 {
namespace {

// A drop as the shell makes it: a DROPFILES header, then NUL-ended wide paths.
HDROP MakeDrop(const std::vector<std::wstring>& paths) {
    std::size_t chars = 1;
    for (const auto& p : paths) chars += p.size() + 1;
    HGLOBAL memory =
        GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, sizeof(DROPFILES) + chars * sizeof(wchar_t));
    auto* files = static_cast<DROPFILES*>(GlobalLock(memory));
    files->pFiles = sizeof(DROPFILES);
    files->fWide = TRUE;
    auto* at = reinterpret_cast<wchar_t*>(files + 1);
    for (const auto& p : paths) {
        std::copy(p.begin(), p.end(), at);
        at += p.size() + 1;
    }
    GlobalUnlock(memory);
    return static_cast<HDROP>(memory);
}

TEST(DropTest, EveryDroppedPathInOrderAsUtf8) {
    HDROP drop = MakeDrop({L"C:\\data\\Caf\u00e9.txt", L"C:\\data\\folder"});
    EXPECT_EQ(DroppedPaths(drop),
              (std::vector<std::string>{"C:\\data\\Caf\xc3\xa9.txt", "C:\\data\\folder"}));
    GlobalFree(drop);
    HDROP one = MakeDrop({L"D:\\"});
    EXPECT_EQ(DroppedPaths(one), std::vector<std::string>{"D:\\"});
    GlobalFree(one);
}

}  // namespace
}  // namespace velloran::win32
