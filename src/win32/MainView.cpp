#include "win32/MainView.hpp"

#include "app/Application.hpp"
#include "app/FrmMain.hpp"
#include "cleaning/TaskCatalogue.hpp"
#include "win32/Dispatch.hpp"

namespace velloran::win32 {

namespace {

constexpr int kRow = 18;  // one check box line

const GroupInfo* FindArray(std::string_view name) {
    for (const auto& info : TaskArrays())
        if (info.array == name) return &info;
    return nullptr;
}

}  // namespace

MainView::MainView(FrmMain& form)
    : View(&form, ClassFor(form.Name()), nullptr, {526, 436}, true), form_(form) {
    BuildPages();
    SetDefaultButton(AddButton(form.cmdClean, {336, 376, 86, 28}));
    AddButton(form.cmdExit, {430, 376, 86, 28});
    BuildStatusBar();
    for (Frame* page : form.Pages()) Mirror(*page, [this] { ShowFrontPage(); });
    Mirror(form, [this] {
        if (form_.MousePointer() == vbHourglass) SetCursor(LoadCursorW(nullptr, IDC_WAIT));
        ApplyFixedSize();
    });
    Place();
    ApplyFixedSize();
}

void MainView::PageButton(PictureBox& picture, Frame* page, Box box) {
    // A picture button: its tool tip is the only text it carries.
    HWND h = Add(WC_BUTTONW, BS_PUSHBUTTON | WS_TABSTOP | (page ? BS_PUSHLIKE | BS_CHECKBOX : 0),
                 box, picture.Name());
    Mirror(picture, [&picture, h] {
        EnableWindow(h, picture.Enabled());
        SetWindowTextW(h, ButtonText(picture.ToolTipText()).c_str());
    });
    OnCommand(h, [&picture](int code) {
        if (code == BN_CLICKED) Dispatch([&picture] { picture.UserClick(); });
    });
    if (page) pageButtons_[page] = h;
}

void MainView::TaskGroup(Frame& frame, const char* array, Box box, int page) {
    AddFrame(frame, box, page);
    const GroupInfo* info = FindArray(array);
    ControlArray<CheckBox>& boxes = *form_.TaskArray(array);
    const int x = box.x + 10, w = box.w - 20;
    int y = box.y + 18;
    AddCheck(*form_.SelectAllBox(array), {x, y, w, kRow}, page);
    y += kRow + 2;
    Add(WC_STATICW, SS_ETCHEDHORZ, {x, y, w, 2}, "", page);
    y += 4;
    for (int index : info->displayOrder) {
        AddCheck(boxes(index), {x, y, w, kRow}, page);
        y += kRow;
    }
}

void MainView::BuildPages() {
    // Page buttons down the left; About and Help at the foot of the column.
    const struct {
        PictureBox* picture;
        Frame* page;
        int y;
    } buttons[] = {
        {&form_.Picture1, &form_.frameWin, 8},  {&form_.Picture2, &form_.frameOTH, 42},
        {&form_.Picture3, &form_.FrameIE, 76},  {&form_.Picture8, &form_.FramePG, 110},
        {&form_.Picture4, &form_.FrameST, 144}, {&form_.Picture7, nullptr, 304},
        {&form_.cmdhelp, nullptr, 338},
    };
    for (const auto& b : buttons) PageButton(*b.picture, b.page, {6, b.y, 100, 30});

    const std::pair<Frame*, int> pages[] = {{&form_.frameWin, 0},
                                            {&form_.frameOTH, 1},
                                            {&form_.FrameIE, 2},
                                            {&form_.FramePG, 4},
                                            {&form_.FrameST, 5}};
    int page = 0;
    for (auto [frame, tab] : pages) {
        pages_[frame] = page;
        HWND tabs = Add(WC_TABCONTROLW, WS_CLIPSIBLINGS, {112, 6, 408, 362},
                        form_.sTab(tab).Name() + "(" + std::to_string(tab) + ")", page);
        TabStrip& strip = form_.sTab(tab);
        Mirror(strip, [&strip, tabs] {
            for (int i = 0; i < strip.TabCount(); ++i) {
                std::wstring text = ButtonText(strip.Tab(i));
                TCITEMW item{};
                item.mask = TCIF_TEXT;
                item.pszText = text.data();
                const bool exists =
                    i < static_cast<int>(SendMessageW(tabs, TCM_GETITEMCOUNT, 0, 0));
                SendMessageW(tabs, exists ? TCM_SETITEMW : TCM_INSERTITEMW, i,
                             reinterpret_cast<LPARAM>(&item));
            }
        });
        ++page;
    }
    // Windows
    TaskGroup(form_.fraWinSystem, "win_chk", {120, 34, 256, 326}, 0);
    AddFrame(form_.fraOtherTools, {382, 34, 130, 88}, 0);
    AddButton(form_.cmdjunk, {390, 54, 114, 28}, 0);
    AddButton(form_.cmderad, {390, 86, 114, 28}, 0);
    // Other Browsers
    TaskGroup(form_.fraOpera, "op_Chk", {120, 34, 194, 122}, 1);
    TaskGroup(form_.fraNetscape, "ns_Chk", {318, 34, 194, 122}, 1);
    TaskGroup(form_.fraChromium, "ch_Chk", {120, 160, 194, 122}, 1);
    // Internet Explorer
    TaskGroup(form_.fraIE, "ie_Chk", {120, 34, 256, 176}, 2);
    AddFrame(form_.fraIETools, {382, 34, 130, 56}, 2);
    AddButton(form_.cmdMCookies, {390, 54, 114, 28}, 2);
    // Programs
    TaskGroup(form_.fraPrograms, "oprg_chk", {120, 34, 392, 300}, 3);
    // Settings
    AddFrame(form_.fraSettings, {120, 34, 392, 234}, 4);
    AddFrame(form_.fraEradicator, {130, 54, 372, 98}, 4);
    AddCheck(form_.stChk(0), {140, 72, 350, kRow}, 4);
    AddCheck(form_.stChk(1), {140, 92, 350, kRow}, 4);
    AddCombo(form_.cmbsDelType, {160, 116, 250, 160}, 4);
    AddFrame(form_.fraGeneral, {130, 158, 372, 100}, 4);
    for (int i : {3, 4, 5, 6}) AddCheck(form_.stChk(i), {140, 176 + (i - 3) * 20, 350, kRow}, 4);
}

void MainView::BuildStatusBar() {
    status_ = Add(STATUSCLASSNAMEW, 0, {0, 414, 526, 22}, form_.sBar.Name());
    Mirror(form_.sBar, [this] { SyncStatusBar(); });
}

void MainView::SyncStatusBar() {
    // An empty panel takes no room; the last one takes what is left.
    HDC dc = GetDC(status_);
    HGDIOBJ old = SelectObject(dc, Font());
    std::vector<int> rights;
    int right = 0;
    const int n = form_.sBar.PanelCount();
    for (int i = 1; i <= n; ++i) {
        const std::wstring text = Wide(form_.sBar.Panel(i));
        SIZE size{};
        if (!text.empty())
            GetTextExtentPoint32W(dc, text.c_str(), static_cast<int>(text.size()), &size);
        right += text.empty() ? 0 : size.cx + Px(16);
        rights.push_back(i == n ? -1 : right);
    }
    SelectObject(dc, old);
    ReleaseDC(status_, dc);
    SendMessageW(status_, SB_SETPARTS, rights.size(), reinterpret_cast<LPARAM>(rights.data()));
    for (int i = 1; i <= n; ++i)
        SendMessageW(status_, SB_SETTEXTW, i - 1,
                     reinterpret_cast<LPARAM>(Wide(form_.sBar.Panel(i)).c_str()));
}

void MainView::ShowFrontPage() {
    const Frame& front = form_.FrontPage();
    if (auto it = pages_.find(&front); it != pages_.end()) ShowPage(it->second);
    for (auto& [page, button] : pageButtons_)
        SendMessageW(button, BM_SETCHECK, page == &front ? BST_CHECKED : BST_UNCHECKED, 0);
}

SIZE MainView::OuterSize() const {
    return {MulDiv(form_.Width(), static_cast<int>(Dpi()), 1440),
            MulDiv(form_.Height(), static_cast<int>(Dpi()), 1440)};
}

void MainView::ApplyFixedSize() {
    if (form_.WindowState() == vbMinimized || form_.Width() <= 0 || IsIconic(Hwnd())) return;
    if (form_.WindowState() == vbNormal && IsZoomed(Hwnd())) ShowWindow(Hwnd(), SW_RESTORE);
    const SIZE want = OuterSize();
    RECT now;
    GetWindowRect(Hwnd(), &now);
    if (now.right - now.left == want.cx && now.bottom - now.top == want.cy) return;
    SetWindowPos(Hwnd(), nullptr, 0, 0, want.cx, want.cy,
                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
}

void MainView::Relaid() {
    SyncStatusBar();
    ApplyFixedSize();
}

LRESULT MainView::Handle(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_COMMAND:
            // Escape does not close the main window; only its close button and Exit do.
            if (lParam == 0 && LOWORD(wParam) == IDCANCEL) return 0;
            return View::Handle(message, wParam, lParam);
        case WM_CLOSE:
            // The form decides; ending the program closes this window with it.
            Dispatch([this] {
                if (!form_.IsLoaded() || form_.Unload(vbFormControlMenu)) EndProgram(0);
            });
            return 0;
        case WM_SIZE: {
            if (status_) SendMessageW(status_, WM_SIZE, 0, 0);
            const int state = wParam == SIZE_MINIMIZED   ? vbMinimized
                              : wParam == SIZE_MAXIMIZED ? vbMaximized
                                                         : vbNormal;
            Dispatch([this, state] {
                form_.SetWindowState(state);
                form_.Resize();
            });
            ApplyFixedSize();
            return 0;
        }
        case WM_GETMINMAXINFO: {
            // The border cannot be dragged: the form's size is the only one.
            auto* info = reinterpret_cast<MINMAXINFO*>(lParam);
            const SIZE want = OuterSize();
            if (want.cx > 0) info->ptMinTrackSize = info->ptMaxTrackSize = {want.cx, want.cy};
            return 0;
        }
        default:
            return View::Handle(message, wParam, lParam);
    }
}

}  // namespace velloran::win32
