#include "win32/View.hpp"

#include <algorithm>

#include "common/controls/ListView.hpp"
#include "win32/Dispatch.hpp"

namespace velloran::win32 {

namespace {

constexpr UINT kFitColumns = WM_APP + 1;
constexpr wchar_t kNameProperty[] = L"Velloran.Name";
constexpr wchar_t kBarClass[] = L"Velloran.Bar";

HINSTANCE Instance() { return GetModuleHandleW(nullptr); }

void RegisterOnce(const std::wstring& name, WNDPROC procedure, HBRUSH background) {
    WNDCLASSEXW existing{};
    existing.cbSize = sizeof existing;
    if (GetClassInfoExW(Instance(), name.c_str(), &existing)) return;
    WNDCLASSEXW wc{};
    wc.cbSize = sizeof wc;
    wc.lpfnWndProc = procedure;
    wc.hInstance = Instance();
    wc.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    wc.hbrBackground = background;
    wc.lpszClassName = name.c_str();
    // The program's icon when the resources carry one, else the system's.
    wc.hIcon = LoadIconW(Instance(), MAKEINTRESOURCEW(1));
    if (!wc.hIcon) wc.hIcon = LoadIconW(nullptr, IDI_APPLICATION);
    RegisterClassExW(&wc);
}

RECT OuterFor(SIZE client, DWORD style, DWORD exStyle, UINT dpi) {
    RECT r{0, 0, client.cx, client.cy};
    using AdjustFn = BOOL(WINAPI*)(LPRECT, DWORD, BOOL, DWORD, UINT);
    static const auto adjust = reinterpret_cast<AdjustFn>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"user32.dll"), "AdjustWindowRectExForDpi")));
    if (!adjust || !adjust(&r, style, FALSE, exStyle, dpi))
        AdjustWindowRectEx(&r, style, FALSE, exStyle);
    return r;
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> out;
    std::size_t start = 0;
    for (;;) {
        const std::size_t at = text.find("\r\n", start);
        out.push_back(text.substr(start, at == std::string::npos ? std::string::npos : at - start));
        if (at == std::string::npos) return out;
        start = at + 2;
    }
}

// The bar of the KelProgressBar contract: a filled part for value/maximum (full
// above the maximum) and the caption word for word across it.
LRESULT CALLBACK BarProcedure(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    auto* bar = reinterpret_cast<ProgressBar*>(GetWindowLongPtrW(hwnd, GWLP_USERDATA));
    switch (message) {
        case WM_SETFONT:
            SetPropW(hwnd, L"Velloran.Font", reinterpret_cast<HANDLE>(wParam));
            if (LOWORD(lParam)) InvalidateRect(hwnd, nullptr, TRUE);
            return 0;
        case WM_ERASEBKGND:
            return 1;
        case WM_PAINT: {
            PAINTSTRUCT ps;
            HDC dc = BeginPaint(hwnd, &ps);
            RECT all;
            GetClientRect(hwnd, &all);
            FillRect(dc, &all, GetSysColorBrush(COLOR_WINDOW));
            DrawEdge(dc, &all, BDR_SUNKENOUTER, BF_RECT | BF_ADJUST);
            RECT filled = all;
            const double fraction = bar ? bar->Fraction() : 0.0;
            filled.right = all.left + static_cast<LONG>((all.right - all.left) * fraction);
            FillRect(dc, &filled, GetSysColorBrush(COLOR_HIGHLIGHT));
            wchar_t text[512] = {};
            GetWindowTextW(hwnd, text, 512);
            SetBkMode(dc, TRANSPARENT);
            HGDIOBJ old = SelectObject(dc, GetPropW(hwnd, L"Velloran.Font"));
            const UINT format =
                DT_CENTER | DT_VCENTER | DT_SINGLELINE | DT_NOPREFIX | DT_END_ELLIPSIS;
            // The caption reads in the highlight's text colour over the filled part.
            HRGN clip = CreateRectRgnIndirect(&filled);
            SelectClipRgn(dc, clip);
            SetTextColor(dc, GetSysColor(COLOR_HIGHLIGHTTEXT));
            DrawTextW(dc, text, -1, &all, format);
            HRGN rest = CreateRectRgnIndirect(&all);
            CombineRgn(rest, rest, clip, RGN_DIFF);
            SelectClipRgn(dc, rest);
            SetTextColor(dc, GetSysColor(COLOR_WINDOWTEXT));
            DrawTextW(dc, text, -1, &all, format);
            SelectClipRgn(dc, nullptr);
            DeleteObject(clip);
            DeleteObject(rest);
            SelectObject(dc, old);
            EndPaint(hwnd, &ps);
            return 0;
        }
        case WM_NCDESTROY:
            RemovePropW(hwnd, L"Velloran.Font");
            break;
        default:
            break;
    }
    return DefWindowProcW(hwnd, message, wParam, lParam);
}

}  // namespace

std::wstring View::ClassFor(const std::string& formName) { return L"Velloran." + Wide(formName); }

View::View(Form* form, const std::wstring& className, HWND owner, SIZE client, bool mainWindow)
    : form_(form), client_(client) {
    RegisterOnce(className, &View::Procedure, reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1));
    RegisterOnce(kBarClass, &BarProcedure, nullptr);
    const DWORD style = mainWindow ? WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX
                                   : WS_POPUP | WS_CAPTION | WS_SYSMENU;
    const DWORD exStyle = WS_EX_CONTROLPARENT | (mainWindow ? 0 : WS_EX_DLGMODALFRAME);
    hwnd_ = CreateWindowExW(exStyle, className.c_str(), L"", style, CW_USEDEFAULT, CW_USEDEFAULT,
                            client.cx, client.cy, owner, nullptr, Instance(), this);
    if (!hwnd_) throw VbError::ObjectNotSet();
    dpi_ = DpiOf(hwnd_);
    font_ = MessageFont(dpi_);
    const RECT outer = OuterFor({Px(client.cx), Px(client.cy)}, style, exStyle, dpi_);
    const int width = outer.right - outer.left, height = outer.bottom - outer.top;
    // Centred over the owner, or on the screen.
    RECT around;
    if (!owner || !GetWindowRect(owner, &around))
        SystemParametersInfoW(SPI_GETWORKAREA, 0, &around, 0);
    const int x = std::max(0L, around.left + (around.right - around.left - width) / 2);
    const int y = std::max(0L, around.top + (around.bottom - around.top - height) / 2);
    SetWindowPos(hwnd_, nullptr, x, y, width, height, SWP_NOZORDER | SWP_NOACTIVATE);
    if (form_) Mirror(*form_, [this] { SetWindowTextW(hwnd_, Wide(form_->Caption()).c_str()); });
}

View::~View() {
    bindings_.Clear();
    Destroy();
    if (font_) DeleteObject(font_);
    if (paneBrush_) DeleteObject(paneBrush_);
    for (HIMAGELIST list : images_) ImageList_Destroy(list);
}

void View::Destroy() {
    bindings_.Clear();
    if (hwnd_) DestroyWindow(hwnd_);
    hwnd_ = nullptr;
}

void View::Mirror(Control& control, const std::function<void()>& sync) {
    sync();
    bindings_.On<>(control.Changed, sync);
}

LRESULT CALLBACK View::Procedure(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_NCCREATE) {
        auto* create = reinterpret_cast<CREATESTRUCTW*>(lParam);
        auto* view = static_cast<View*>(create->lpCreateParams);
        view->hwnd_ = hwnd;
        SetWindowLongPtrW(hwnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(view));
    }
    auto* view = reinterpret_cast<View*>(GetWindowLongPtrW(hwnd, GWLP_USERDATA));
    if (!view) return DefWindowProcW(hwnd, message, wParam, lParam);
    if (message == WM_NCDESTROY) {
        SetWindowLongPtrW(hwnd, GWLP_USERDATA, 0);
        view->bindings_.Clear();
        view->hwnd_ = nullptr;
        return DefWindowProcW(hwnd, message, wParam, lParam);
    }
    return view->Handle(message, wParam, lParam);
}

LRESULT View::Handle(UINT message, WPARAM wParam, LPARAM lParam) {
    return Default(message, wParam, lParam);
}

LRESULT View::Default(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_COMMAND: {
            const int id = LOWORD(wParam);
            if (lParam == 0 && id == IDOK) {
                // Its own visibility: the window may not be shown yet.
                if (defaultButton_ && IsWindowEnabled(defaultButton_) &&
                    (GetWindowLongW(defaultButton_, GWL_STYLE) & WS_VISIBLE))
                    SendMessageW(defaultButton_, BM_CLICK, 0, 0);
                return 0;
            }
            if (lParam == 0 && id == IDCANCEL) {
                // Escape goes the same way as the title-bar button.
                PostMessageW(hwnd_, WM_CLOSE, 0, 0);
                return 0;
            }
            if (auto it = commands_.find(id); it != commands_.end() && lParam != 0) {
                auto handler = it->second;
                handler(HIWORD(wParam));
            }
            return 0;
        }
        case WM_NOTIFY: {
            auto* header = reinterpret_cast<NMHDR*>(lParam);
            if (auto it = notifies_.find(static_cast<int>(header->idFrom)); it != notifies_.end()) {
                auto handler = it->second;
                return handler(header);
            }
            return 0;
        }
        case DM_GETDEFID:
            return defaultButton_ ? MAKELRESULT(GetDlgCtrlID(defaultButton_), DC_HASDEFID) : 0;
        case WM_CLOSE:
            if (!form_) {
                Destroy();
                return 0;
            }
            Dispatch([this] {
                if (form_->IsLoaded()) form_->Unload(vbFormControlMenu);
            });
            return 0;
        case WM_CTLCOLORSTATIC:
        case WM_CTLCOLORBTN:
            if (const Child* c = Find(reinterpret_cast<HWND>(lParam));
                c && c->onTab && paneBrush_) {
                // On a tab's pane, the pane's colour.
                SetBkColor(reinterpret_cast<HDC>(wParam), paneColour_);
                return reinterpret_cast<LRESULT>(paneBrush_);
            }
            break;
        case WM_SETCURSOR:
            if (form_ && form_->MousePointer() == vbHourglass) {
                SetCursor(LoadCursorW(nullptr, IDC_WAIT));
                return TRUE;
            }
            break;
        case kFitColumns: {
            auto pending = std::move(pendingFits_);
            pendingFits_.clear();
            for (auto& [list, columns] : pending)
                for (int column : columns)
                    if (auto* rows = reinterpret_cast<ListView*>(GetPropW(list, L"Velloran.Rows")))
                        FitColumn(list, *rows, column);
            return 0;
        }
        case WM_DPICHANGED:
            NewDpi(LOWORD(wParam), reinterpret_cast<const RECT*>(lParam));
            return 0;
        case WM_DESTROY:
            for (const Child& child : children_)
                if (auto atom = reinterpret_cast<UINT_PTR>(RemovePropW(child.hwnd, kNameProperty)))
                    GlobalDeleteAtom(static_cast<ATOM>(atom));
            return 0;
        default:
            break;
    }
    return DefWindowProcW(hwnd_, message, wParam, lParam);
}

HWND View::Add(const wchar_t* windowClass, DWORD style, Box box, const std::string& name, int page,
               DWORD exStyle, const std::wstring& text) {
    const int id = nextId_++;
    HWND child = CreateWindowExW(
        exStyle, windowClass, text.c_str(), WS_CHILD | style, Px(box.x), Px(box.y), Px(box.w),
        Px(box.h), hwnd_, reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), Instance(), nullptr);
    SendMessageW(child, WM_SETFONT, reinterpret_cast<WPARAM>(font_), FALSE);
    // The control's name, for whoever reads the window from outside (the tests' driver).
    if (!name.empty())
        SetPropW(
            child, kNameProperty,
            reinterpret_cast<HANDLE>(static_cast<UINT_PTR>(GlobalAddAtomW(Wide(name).c_str()))));
    // Tab controls and frames are drawn below what they hold.
    wchar_t cls[32] = {};
    GetClassNameW(child, cls, 32);
    const bool backdrop = lstrcmpiW(cls, WC_TABCONTROLW) == 0 ||
                          (lstrcmpiW(cls, WC_BUTTONW) == 0 && (style & 0x0F) == BS_GROUPBOX);
    children_.push_back({child, box, page, true, backdrop});
    ApplyVisibility(children_.back());
    return child;
}

View::Child* View::Find(HWND hwnd) {
    for (Child& c : children_)
        if (c.hwnd == hwnd) return &c;
    return nullptr;
}

void View::ApplyVisibility(Child& child) {
    const bool shown = child.shownByControl && (child.page == kNoPage || child.page == page_);
    if (static_cast<bool>(IsWindowVisible(child.hwnd)) != shown || !shown)
        ShowWindow(child.hwnd, shown ? SW_SHOWNA : SW_HIDE);
}

void View::ShowPage(int page) {
    page_ = page;
    for (Child& c : children_) ApplyVisibility(c);
}

void View::MirrorCommon(Control& control, HWND hwnd) {
    EnableWindow(hwnd, control.Enabled());
    if (Child* c = Find(hwnd); c && c->shownByControl != control.Visible()) {
        c->shownByControl = control.Visible();
        ApplyVisibility(*c);
    }
}

void View::SetDefaultButton(HWND button) {
    if (defaultButton_) SendMessageW(defaultButton_, BM_SETSTYLE, BS_PUSHBUTTON, TRUE);
    defaultButton_ = button;
    SendMessageW(button, BM_SETSTYLE, BS_DEFPUSHBUTTON, TRUE);
}

void View::OnCommand(HWND child, std::function<void(int)> handler) {
    commands_[GetDlgCtrlID(child)] = std::move(handler);
}

void View::OnNotify(HWND child, std::function<LRESULT(NMHDR*)> handler) {
    notifies_[GetDlgCtrlID(child)] = std::move(handler);
}

HWND View::AddButton(CommandButton& button, Box box, int page) {
    HWND h = Add(WC_BUTTONW, BS_PUSHBUTTON | WS_TABSTOP, box, button.Name(), page);
    Mirror(button, [this, &button, h] {
        MirrorCommon(button, h);
        if (!button.Caption().empty()) SetWindowTextW(h, ButtonText(button.Caption()).c_str());
    });
    OnCommand(h, [&button](int code) {
        if (code == BN_CLICKED) Dispatch([&button] { button.UserClick(); });
    });
    return h;
}

HWND View::AddCheck(CheckBox& box, Box place, int page) {
    const std::string name =
        box.Index() >= 0 ? box.Name() + "(" + std::to_string(box.Index()) + ")" : box.Name();
    HWND h = Add(WC_BUTTONW, BS_3STATE | WS_TABSTOP, place, name, page);
    Mirror(box, [this, &box, h] {
        MirrorCommon(box, h);
        SetWindowTextW(h, ButtonText(box.Caption()).c_str());
        SendMessageW(h, BM_SETCHECK,
                     box.Value() == 1   ? BST_CHECKED
                     : box.Value() == 2 ? BST_INDETERMINATE
                                        : BST_UNCHECKED,
                     0);
    });
    // The control decides the tick: a click asks it, and its change paints it.
    OnCommand(h, [&box](int code) {
        if (code == BN_CLICKED) Dispatch([&box] { box.UserClick(); });
    });
    return h;
}

HWND View::AddLabel(Label& label, Box box, int page, HFONT font) {
    HWND h = Add(WC_STATICW, SS_LEFT | SS_NOPREFIX, box, label.Name(), page);
    if (font) SendMessageW(h, WM_SETFONT, reinterpret_cast<WPARAM>(font), FALSE);
    Mirror(label, [this, &label, h] {
        MirrorCommon(label, h);
        SetWindowTextW(h, Wide(label.Caption()).c_str());
    });
    return h;
}

HWND View::AddFrame(Frame& frame, Box box, int page) {
    HWND h = Add(WC_BUTTONW, BS_GROUPBOX | WS_CLIPSIBLINGS, box, frame.Name(), page);
    Mirror(frame, [this, &frame, h] {
        MirrorCommon(frame, h);
        SetWindowTextW(h, ButtonText(frame.Caption()).c_str());
    });
    return h;
}

HWND View::AddCombo(ComboBox& combo, Box box, int page) {
    HWND h = Add(WC_COMBOBOXW, CBS_DROPDOWNLIST | WS_VSCROLL | WS_TABSTOP, box, combo.Name(), page);
    Mirror(combo, [this, &combo, h] {
        MirrorCommon(combo, h);
        bool same = SendMessageW(h, CB_GETCOUNT, 0, 0) == combo.ListCount();
        for (int i = 0; same && i < combo.ListCount(); ++i) {
            wchar_t item[256] = {};
            if (SendMessageW(h, CB_GETLBTEXTLEN, i, 0) < 256)
                SendMessageW(h, CB_GETLBTEXT, i, reinterpret_cast<LPARAM>(item));
            same = Wide(combo.List(i)) == item;
        }
        if (!same) {
            SendMessageW(h, CB_RESETCONTENT, 0, 0);
            for (int i = 0; i < combo.ListCount(); ++i)
                SendMessageW(h, CB_ADDSTRING, 0,
                             reinterpret_cast<LPARAM>(Wide(combo.List(i)).c_str()));
        }
        SendMessageW(h, CB_SETCURSEL, combo.ListIndex(), 0);
    });
    OnCommand(h, [&combo, h](int code) {
        if (code != CBN_SELCHANGE) return;
        const int index = static_cast<int>(SendMessageW(h, CB_GETCURSEL, 0, 0));
        Dispatch([&combo, index] { combo.SetListIndex(index); });
        // A refused choice shows the control's own index again.
        SendMessageW(h, CB_SETCURSEL, combo.ListIndex(), 0);
    });
    return h;
}

HWND View::AddBar(ProgressBar& bar, Box box, int page) {
    HWND h = Add(kBarClass, 0, box, bar.Name(), page);
    SetWindowLongPtrW(h, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&bar));
    Mirror(bar, [this, &bar, h] {
        MirrorCommon(bar, h);
        SetWindowTextW(h, Wide(bar.Caption()).c_str());
        InvalidateRect(h, nullptr, FALSE);
    });
    return h;
}

HWND View::AddLog(TextBox& text, Box box) {
    HWND h = Add(WC_LISTVIEWW,
                 LVS_REPORT | LVS_NOCOLUMNHEADER | LVS_SINGLESEL | LVS_SHOWSELALWAYS | WS_TABSTOP,
                 box, text.Name(), kNoPage, WS_EX_CLIENTEDGE);
    SendMessageW(h, LVM_SETEXTENDEDLISTVIEWSTYLE, 0, LVS_EX_FULLROWSELECT | LVS_EX_DOUBLEBUFFER);
    LVCOLUMNW column{};
    column.mask = LVCF_WIDTH;
    column.cx = Px(box.w - 24);
    SendMessageW(h, LVM_INSERTCOLUMNW, 0, reinterpret_cast<LPARAM>(&column));
    auto shown = std::make_shared<unsigned long long>(~0ull);
    auto append = [h](const std::string& line) {
        std::wstring w = Wide(line);
        LVITEMW item{};
        item.mask = LVIF_TEXT;
        item.iItem = static_cast<int>(SendMessageW(h, LVM_GETITEMCOUNT, 0, 0));
        item.pszText = w.data();
        const int at =
            static_cast<int>(SendMessageW(h, LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item)));
        SendMessageW(h, LVM_ENSUREVISIBLE, at, FALSE);
    };
    Mirror(text, [this, &text, h, shown, append] {
        MirrorCommon(text, h);
        if (*shown == text.TextRevision()) return;
        *shown = text.TextRevision();
        SendMessageW(h, WM_SETREDRAW, FALSE, 0);
        SendMessageW(h, LVM_DELETEALLITEMS, 0, 0);
        if (!text.Text().empty())
            for (const std::string& line : Lines(text.Text())) append(line);
        SendMessageW(h, WM_SETREDRAW, TRUE, 0);
        SendMessageW(h, LVM_SETCOLUMNWIDTH, 0, LVSCW_AUTOSIZE);
    });
    // A new line is added at the end; the whole text is never read again.
    bindings_.On(text.LineAdded, std::function<void(const std::string&)>(
                                     [&text, h, shown, append](const std::string& line) {
                                         *shown = text.TextRevision();
                                         append(line);
                                         SendMessageW(h, LVM_SETCOLUMNWIDTH, 0, LVSCW_AUTOSIZE);
                                     }));
    return h;
}

// ---------------------------------------------------------------- lists

HWND View::AddList(ListView& list, Box box, int page) {
    HWND h = Add(WC_LISTVIEWW,
                 LVS_REPORT | LVS_OWNERDATA | LVS_SHOWSELALWAYS | LVS_SINGLESEL | WS_TABSTOP, box,
                 list.Name(), page, WS_EX_CLIENTEDGE);
    SetPropW(h, L"Velloran.Rows", &list);
    SendMessageW(h, LVM_SETEXTENDEDLISTVIEWSTYLE, 0, LVS_EX_FULLROWSELECT | LVS_EX_DOUBLEBUFFER);
    if (list.Checkboxes()) {
        images_.push_back(CheckImages(dpi_, CheckImageUse::ListView));
        SendMessageW(h, LVM_SETIMAGELIST, LVSIL_STATE, reinterpret_cast<LPARAM>(images_.back()));
        SendMessageW(h, LVM_SETCALLBACKMASK, LVIS_STATEIMAGEMASK, 0);
    }
    for (int c = 0; c < list.ColumnCount(); ++c) {
        std::wstring title = Wide(list.Column(c).text);
        LVCOLUMNW column{};
        column.mask = LVCF_TEXT | LVCF_WIDTH;
        column.pszText = title.data();
        column.cx = list.Column(c).width > 0 ? Px(list.Column(c).width) : Px(100);
        SendMessageW(h, LVM_INSERTCOLUMNW, c, reinterpret_cast<LPARAM>(&column));
        // Columns without a width of their own fit the rows the form already holds.
        if (list.Column(c).width <= 0) pendingFits_[h].push_back(c);
    }
    if (pendingFits_.count(h)) PostMessageW(hwnd_, kFitColumns, 0, 0);
    auto count = [h, &list] {
        SendMessageW(h, LVM_SETITEMCOUNT, list.Count(), LVSICF_NOINVALIDATEALL | LVSICF_NOSCROLL);
        InvalidateRect(h, nullptr, FALSE);
    };
    count();
    auto syncing = std::make_shared<bool>(false);
    Mirror(list, [this, &list, h] { MirrorCommon(list, h); });
    bindings_.On(list.RowsInserted, std::function<void(int, int)>([count](int, int) { count(); }));
    bindings_.On(list.RowRemoved, std::function<void(int)>([count](int) { count(); }));
    bindings_.On(list.Reset, std::function<void()>(count));
    bindings_.On(list.RowChanged, std::function<void(int)>([h, &list, syncing](int i) {
                     if (i >= static_cast<int>(SendMessageW(h, LVM_GETITEMCOUNT, 0, 0))) return;
                     LVITEMW state{};
                     state.stateMask = LVIS_SELECTED;
                     state.state = list.Row(i).selected ? LVIS_SELECTED : 0;
                     *syncing = true;
                     SendMessageW(h, LVM_SETITEMSTATE, i, reinterpret_cast<LPARAM>(&state));
                     *syncing = false;
                     SendMessageW(h, LVM_REDRAWITEMS, i, i);
                 }));
    bindings_.On(list.ColumnWidthRequested,
                 std::function<void(int, int)>([this, h](int column, int width) {
                     if (width > 0) {
                         SendMessageW(h, LVM_SETCOLUMNWIDTH, column, Px(width));
                         return;
                     }
                     // Fitted once the current burst of rows is in: a scan asks after every file.
                     auto& pending = pendingFits_[h];
                     if (std::find(pending.begin(), pending.end(), column) == pending.end())
                         pending.push_back(column);
                     PostMessageW(hwnd_, kFitColumns, 0, 0);
                 }));
    OnNotify(h, [this, &list, syncing](NMHDR* header) -> LRESULT {
        if (*syncing) return 0;
        return ListNotify(list, header);
    });
    return h;
}

void View::FitColumn(HWND h, ListView& rows, int column) {
    if (column < 0 || column >= rows.ColumnCount()) return;
    HDC dc = GetDC(h);
    HGDIOBJ old = SelectObject(dc, reinterpret_cast<HFONT>(SendMessageW(h, WM_GETFONT, 0, 0)));
    auto width = [dc](const std::string& text) {
        const std::wstring w = Wide(text);
        SIZE size{};
        GetTextExtentPoint32W(dc, w.c_str(), static_cast<int>(w.size()), &size);
        return static_cast<int>(size.cx);
    };
    int widest = width(rows.Column(column).text) + Px(16);
    // A sample of a long list, as its start and its end: measuring every row of
    // 100,000 each time one is added would make a scan quadratic.
    const int n = rows.Count();
    auto measure = [&](int i) {
        const ListRow& row = rows.Row(i);
        static const std::string none;
        const std::size_t sub = static_cast<std::size_t>(column);
        const std::string& text = sub == 0                        ? row.text
                                  : sub - 1 < row.subItems.size() ? row.subItems[sub - 1]
                                                                  : none;
        int extra = Px(12);
        if (column == 0 && rows.Checkboxes()) extra += Px(20);
        widest = std::max(widest, width(text) + extra);
    };
    for (int i = 0; i < std::min(n, 250); ++i) measure(i);
    for (int i = std::max(250, n - 250); i < n; ++i) measure(i);
    SelectObject(dc, old);
    ReleaseDC(h, dc);
    SendMessageW(h, LVM_SETCOLUMNWIDTH, column, widest);
}

LRESULT View::ListNotify(ListView& list, NMHDR* header) {
    switch (header->code) {
        case LVN_GETDISPINFOW: {
            LVITEMW& item = reinterpret_cast<NMLVDISPINFOW*>(header)->item;
            if (item.iItem < 0 || item.iItem >= list.Count()) return 0;
            const ListRow& row = list.Row(item.iItem);
            if ((item.mask & LVIF_TEXT) && item.pszText && item.cchTextMax > 0) {
                const std::size_t sub = static_cast<std::size_t>(item.iSubItem);
                textBuffer_ = Wide(sub == 0                        ? row.text
                                   : sub - 1 < row.subItems.size() ? row.subItems[sub - 1]
                                                                   : std::string());
                lstrcpynW(item.pszText, textBuffer_.c_str(), item.cchTextMax);
            }
            if ((item.mask & LVIF_STATE) && list.Checkboxes()) {
                item.state = INDEXTOSTATEIMAGEMASK(row.checked ? kStateTicked : kStateClear);
                item.stateMask |= LVIS_STATEIMAGEMASK;
            }
            return 0;
        }
        case NM_CLICK: {
            LVHITTESTINFO hit{};
            hit.pt = reinterpret_cast<NMITEMACTIVATE*>(header)->ptAction;
            SendMessageW(header->hwndFrom, LVM_HITTEST, 0, reinterpret_cast<LPARAM>(&hit));
            if (hit.iItem >= 0 && (hit.flags & LVHT_ONITEMSTATEICON) && list.Checkboxes())
                Dispatch([&list, i = hit.iItem] {
                    if (i < list.Count()) list.SetChecked(i, !list.Row(i).checked);
                });
            return 0;
        }
        case LVN_KEYDOWN: {
            if (reinterpret_cast<NMLVKEYDOWN*>(header)->wVKey != VK_SPACE || !list.Checkboxes())
                return 0;
            const int i = static_cast<int>(
                SendMessageW(header->hwndFrom, LVM_GETNEXTITEM, -1, LVNI_SELECTED));
            if (i >= 0)
                Dispatch([&list, i] {
                    if (i < list.Count()) list.SetChecked(i, !list.Row(i).checked);
                });
            return 0;
        }
        case LVN_ITEMCHANGED: {
            auto* change = reinterpret_cast<NMLISTVIEW*>(header);
            if (change->iItem >= 0 && (change->uChanged & LVIF_STATE) &&
                (change->uNewState & LVIS_SELECTED) && !(change->uOldState & LVIS_SELECTED))
                Dispatch([&list, i = change->iItem] {
                    if (i < list.Count()) list.Select(i);
                });
            return 0;
        }
        default:
            return 0;
    }
}

// ---------------------------------------------------------------- tree

HWND View::AddTree(TreeView& tree, Box box, int page) {
    HWND h = Add(WC_TREEVIEWW, TVS_SHOWSELALWAYS | TVS_DISABLEDRAGDROP | WS_TABSTOP, box,
                 tree.Name(), page, WS_EX_CLIENTEDGE);
    images_.push_back(CheckImages(dpi_, CheckImageUse::TreeView));
    SendMessageW(h, TVM_SETIMAGELIST, TVSIL_STATE, reinterpret_cast<LPARAM>(images_.back()));
    auto items = std::make_shared<std::vector<HTREEITEM>>();
    auto setState = [h, &tree, items](int i) {
        if (i < 0 || static_cast<std::size_t>(i) >= items->size()) return;
        TVITEMW item{};
        item.mask = TVIF_STATE | TVIF_HANDLE;
        item.hItem = (*items)[static_cast<std::size_t>(i)];
        item.stateMask = TVIS_STATEIMAGEMASK;
        item.state = INDEXTOSTATEIMAGEMASK(tree.Node(i).checked ? kStateTicked : kStateClear);
        SendMessageW(h, TVM_SETITEMW, 0, reinterpret_cast<LPARAM>(&item));
    };
    auto rebuild = [h, &tree, items, setState] {
        SendMessageW(h, TVM_DELETEITEM, 0, reinterpret_cast<LPARAM>(TVI_ROOT));
        items->clear();
        for (int i = 0; i < tree.Count(); ++i) {
            const TreeNode& node = tree.Node(i);
            std::wstring text = Wide(node.text);
            TVINSERTSTRUCTW insert{};
            const int parent = node.parentKey.empty() ? -1 : tree.FindKey(node.parentKey);
            insert.hParent =
                parent >= 0 && parent < i ? (*items)[static_cast<std::size_t>(parent)] : TVI_ROOT;
            insert.hInsertAfter = TVI_LAST;
            insert.item.mask = TVIF_TEXT | TVIF_PARAM;
            insert.item.pszText = text.data();
            insert.item.lParam = i;
            items->push_back(reinterpret_cast<HTREEITEM>(
                SendMessageW(h, TVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&insert))));
            setState(i);
        }
    };
    rebuild();
    Mirror(tree, [this, &tree, h] { MirrorCommon(tree, h); });
    bindings_.On(tree.Reset, std::function<void()>(rebuild));
    bindings_.On(tree.NodeAdded, std::function<void(int)>([rebuild](int) { rebuild(); }));
    bindings_.On(tree.NodeChanged, std::function<void(int)>(setState));
    OnNotify(h, [this, &tree](NMHDR* header) { return TreeNotify(tree, header); });
    return h;
}

LRESULT View::TreeNotify(TreeView& tree, NMHDR* header) {
    auto toggle = [&tree](HWND h, HTREEITEM handle) {
        if (!handle) return;
        TVITEMW item{};
        item.mask = TVIF_PARAM | TVIF_HANDLE;
        item.hItem = handle;
        SendMessageW(h, TVM_GETITEMW, 0, reinterpret_cast<LPARAM>(&item));
        const int i = static_cast<int>(item.lParam);
        Dispatch([&tree, i] {
            if (i >= 0 && i < tree.Count()) tree.SetChecked(i, !tree.Node(i).checked);
        });
    };
    if (header->code == NM_CLICK) {
        TVHITTESTINFO hit{};
        GetCursorPos(&hit.pt);
        ScreenToClient(header->hwndFrom, &hit.pt);
        SendMessageW(header->hwndFrom, TVM_HITTEST, 0, reinterpret_cast<LPARAM>(&hit));
        if (hit.flags & TVHT_ONITEMSTATEICON) toggle(header->hwndFrom, hit.hItem);
    } else if (header->code == TVN_KEYDOWN &&
               reinterpret_cast<NMTVKEYDOWN*>(header)->wVKey == VK_SPACE) {
        toggle(header->hwndFrom, reinterpret_cast<HTREEITEM>(SendMessageW(
                                     header->hwndFrom, TVM_GETNEXTITEM, TVGN_CARET, 0)));
        return 1;
    }
    return 0;
}

// ---------------------------------------------------------------- tabs

HWND View::AddTabs(TabStrip& strip, Box box) {
    HWND h = Add(WC_TABCONTROLW, WS_TABSTOP | WS_CLIPSIBLINGS, box, strip.Name());
    Mirror(strip, [this, &strip, h] {
        MirrorCommon(strip, h);
        for (int i = 0; i < strip.TabCount(); ++i) {
            std::wstring text = ButtonText(strip.Tab(i));
            TCITEMW item{};
            item.mask = TCIF_TEXT;
            item.pszText = text.data();
            const bool exists = i < static_cast<int>(SendMessageW(h, TCM_GETITEMCOUNT, 0, 0));
            SendMessageW(h, exists ? TCM_SETITEMW : TCM_INSERTITEMW, i,
                         reinterpret_cast<LPARAM>(&item));
        }
        SendMessageW(h, TCM_SETCURSEL, strip.SelectedTab(), 0);
        ShowPage(strip.SelectedTab());
    });
    OnNotify(h, [this, &strip, h](NMHDR* header) -> LRESULT {
        if (header->code != TCN_SELCHANGE) return 0;
        const int i = static_cast<int>(SendMessageW(h, TCM_GETCURSEL, 0, 0));
        // An unavailable tab cannot be chosen: the strip stays where the form has it.
        if (i >= 0 && i < strip.TabCount() && strip.TabEnabled(i))
            Dispatch([&strip, i] { strip.SetSelectedTab(i); });
        SendMessageW(h, TCM_SETCURSEL, strip.SelectedTab(), 0);
        ShowPage(strip.SelectedTab());
        return 0;
    });
    return h;
}

// ---------------------------------------------------------------- placing

namespace {

bool IsTab(HWND hwnd) {
    wchar_t cls[32] = {};
    GetClassNameW(hwnd, cls, 32);
    return lstrcmpiW(cls, WC_TABCONTROLW) == 0;
}

bool Inside(const Box& inner, const Box& outer) {
    return outer.x <= inner.x && outer.y <= inner.y && outer.x + outer.w >= inner.x + inner.w &&
           outer.y + outer.h >= inner.y + inner.h;
}

// The colour a tab control gives its pane, read from a picture of it: a theme
// may make it anything.
COLORREF PaneColour(HWND tab) {
    RECT all;
    GetClientRect(tab, &all);
    if (all.right <= 0 || all.bottom <= 0) return GetSysColor(COLOR_BTNFACE);
    HDC screen = GetDC(tab);
    HDC memory = CreateCompatibleDC(screen);
    HBITMAP bitmap = CreateCompatibleBitmap(screen, all.right, all.bottom);
    HGDIOBJ old = SelectObject(memory, bitmap);
    FillRect(memory, &all, GetSysColorBrush(COLOR_BTNFACE));
    SendMessageW(tab, WM_PRINTCLIENT, reinterpret_cast<WPARAM>(memory),
                 PRF_CLIENT | PRF_ERASEBKGND);
    RECT pane = all;
    SendMessageW(tab, TCM_ADJUSTRECT, FALSE, reinterpret_cast<LPARAM>(&pane));
    const COLORREF colour =
        GetPixel(memory, (pane.left + pane.right) / 2, (pane.top + pane.bottom) / 2);
    SelectObject(memory, old);
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(tab, screen);
    return colour == CLR_INVALID ? GetSysColor(COLOR_BTNFACE) : colour;
}

}  // namespace

void View::Place() {
    // Whatever holds others goes below them: the larger backdrop the lower.
    std::vector<const Child*> backdrops;
    for (const Child& c : children_)
        if (c.backdrop) backdrops.push_back(&c);
    std::stable_sort(backdrops.begin(), backdrops.end(), [](const Child* a, const Child* b) {
        return a->box.w * a->box.h < b->box.w * b->box.h;
    });
    for (const Child* c : backdrops)
        SetWindowPos(c->hwnd, HWND_BOTTOM, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
    HWND anyTab = nullptr;
    for (Child& c : children_) {
        SetWindowPos(c.hwnd, nullptr, Px(c.box.x), Px(c.box.y), Px(c.box.w), Px(c.box.h),
                     SWP_NOZORDER | SWP_NOACTIVATE);
        if (IsTab(c.hwnd)) anyTab = c.hwnd;
    }
    for (Child& c : children_) {
        c.onTab = false;
        for (const Child& t : children_)
            if (&t != &c && IsTab(t.hwnd) && (t.page == c.page || t.page == kNoPage) &&
                Inside(c.box, t.box))
                c.onTab = true;
    }
    if (anyTab) {
        if (paneBrush_) DeleteObject(paneBrush_);
        paneColour_ = PaneColour(anyTab);
        paneBrush_ = CreateSolidBrush(paneColour_);
    }
}

void View::NewDpi(UINT dpi, const RECT* suggested) {
    dpi_ = dpi;
    HFONT old = font_;
    font_ = MessageFont(dpi_);
    for (const Child& c : children_)
        SendMessageW(c.hwnd, WM_SETFONT, reinterpret_cast<WPARAM>(font_), TRUE);
    if (old) DeleteObject(old);
    for (const Child& c : children_) {
        wchar_t cls[32] = {};
        GetClassNameW(c.hwnd, cls, 32);
        const bool list = lstrcmpiW(cls, WC_LISTVIEWW) == 0,
                   tree = lstrcmpiW(cls, WC_TREEVIEWW) == 0;
        if (!list && !tree) continue;
        if (list && !SendMessageW(c.hwnd, LVM_GETIMAGELIST, LVSIL_STATE, 0)) continue;
        images_.push_back(
            CheckImages(dpi_, list ? CheckImageUse::ListView : CheckImageUse::TreeView));
        SendMessageW(c.hwnd, list ? LVM_SETIMAGELIST : TVM_SETIMAGELIST,
                     list ? LVSIL_STATE : TVSIL_STATE, reinterpret_cast<LPARAM>(images_.back()));
    }
    if (suggested)
        SetWindowPos(hwnd_, nullptr, suggested->left, suggested->top,
                     suggested->right - suggested->left, suggested->bottom - suggested->top,
                     SWP_NOZORDER | SWP_NOACTIVATE);
    Place();
    Relaid();
}

}  // namespace velloran::win32
