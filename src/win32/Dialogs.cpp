#include "win32/Dialogs.hpp"

#include <shellapi.h>

#include "about/frmAbout.hpp"
#include "app/FrmCleaner.hpp"
#include "app/FrmCookies.hpp"
#include "app/FrmJunk.hpp"
#include "app/frmErad.hpp"
#include "win32/Dispatch.hpp"
#include "win32/Win32Host.hpp"

namespace velloran::win32 {

namespace {

class CleanerView : public View {
public:
    CleanerView(FrmCleaner& form, HWND owner)
        : View(&form, ClassFor(form.Name()), owner, {520, 360}) {
        AddLog(form.txtprogress, {10, 10, 500, 270});
        AddBar(form.pbar, {10, 288, 500, 22});
        AddButton(form.cmdCancel, {414, 322, 96, 28});
        Place();
    }
};

class JunkView : public View {
public:
    JunkView(FrmJunk& form, HWND owner) : View(&form, ClassFor(form.Name()), owner, {640, 460}) {
        AddFrame(form.Frame1, {8, 4, 624, 334});
        AddTabs(form.sTab, {16, 22, 608, 308});
        const int filters = FrmJunk::kTabFilters, files = FrmJunk::kTabFilesFound;
        AddList(form.lvFilters, {24, 52, 400, 242}, filters);
        AddTree(form.tvDrives, {432, 52, 184, 242}, filters);
        AddCheck(form.chkselfilters, {24, 300, 200, 20}, filters);
        AddCheck(form.chkselDrives, {432, 300, 184, 20}, filters);
        AddList(form.lvFiles, {24, 52, 592, 242}, files);
        AddCheck(form.chkselallfiles, {24, 300, 200, 20}, files);
        AddButton(form.cmddelete, {526, 298, 90, 26}, files);
        AddLabel(form.lblfound, {10, 344, 200, 18});
        AddLabel(form.lblTsize, {220, 344, 300, 18});
        AddLabel(form.lblloc, {10, 366, 620, 18});
        AddBar(form.pbar, {10, 388, 620, 22});
        AddButton(form.cmdFind, {440, 422, 90, 28});
        AddButton(form.cmdExit, {540, 422, 90, 28});
        Place();
    }
};

// Files dropped from the shell on either list go to the form, which sorts files
// from folders. The lists pass the drop on to this window.
LRESULT CALLBACK ForwardDrops(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR,
                              DWORD_PTR) {
    if (message == WM_DROPFILES) return SendMessageW(GetParent(hwnd), message, wParam, lParam);
    if (message == WM_NCDESTROY) RemoveWindowSubclass(hwnd, &ForwardDrops, 1);
    return DefSubclassProc(hwnd, message, wParam, lParam);
}

class EradView : public View {
public:
    EradView(frmErad& form, HWND owner)
        : View(&form, ClassFor(form.Name()), owner, {620, 440}), erad_(form) {
        Add(WC_STATICW, SS_LEFT, {10, 8, 300, 18}, "", kNoPage, 0, L"Files to eradicate:");
        Add(WC_STATICW, SS_LEFT, {10, 208, 300, 18}, "", kNoPage, 0, L"Folders to eradicate:");
        for (HWND list :
             {AddList(form.lview, {10, 28, 480, 172}), AddList(form.lviewF, {10, 228, 480, 172})}) {
            DragAcceptFiles(list, TRUE);
            SetWindowSubclass(list, &ForwardDrops, 1, 0);
        }
        AddButton(form.cmdadd, {500, 28, 110, 28});
        AddButton(form.cmdremove, {500, 62, 110, 28});
        AddButton(form.cmdwipe, {500, 172, 110, 28});
        AddButton(form.cmdaddf, {500, 228, 110, 28});
        AddButton(form.cmdremovef, {500, 262, 110, 28});
        AddButton(form.cmdwipef, {500, 372, 110, 28});
        AddBar(form.pbar, {10, 410, 600, 22});
        Place();
    }

protected:
    LRESULT Handle(UINT message, WPARAM wParam, LPARAM lParam) override {
        if (message != WM_DROPFILES) return View::Handle(message, wParam, lParam);
        auto drop = reinterpret_cast<HDROP>(wParam);
        std::vector<std::string> paths = DroppedPaths(drop);
        DragFinish(drop);
        if (!paths.empty()) Dispatch([this, &paths] { erad_.DropFiles(paths); });
        return 0;
    }

private:
    frmErad& erad_;
};

class CookiesView : public View {
public:
    CookiesView(FrmCookies& form, HWND owner)
        : View(&form, ClassFor(form.Name()), owner, {760, 440}) {
        AddList(form.lvDelete, {10, 10, 320, 330});
        AddList(form.lvKeep, {430, 10, 320, 330});
        AddButton(form.Command1, {340, 140, 80, 28});
        AddButton(form.Command2, {340, 176, 80, 28});
        AddCheck(form.Check1, {10, 346, 300, 20});
        AddCheck(form.Check2, {430, 346, 300, 20});
        AddBar(form.pbar, {10, 372, 740, 22});
        AddButton(form.cmdClean, {530, 404, 120, 28});
        AddButton(form.cmdExit, {660, 404, 90, 28});
        Place();
    }
};

class AboutView : public View {
public:
    AboutView(frmAbout& form, HWND owner) : View(&form, ClassFor(form.Name()), owner, {420, 230}) {
        title_ = MessageFont(Dpi(), FW_BOLD, 160);
        AddLabel(form.lblTitle, {16, 14, 388, 30}, kNoPage, title_);
        AddLabel(form.lblVersion, {16, 48, 388, 18});
        AddLabel(form.lblSystem, {16, 68, 388, 18});
        AddLabel(form.lblTarget, {16, 88, 388, 32});
        Add(WC_STATICW, SS_ETCHEDHORZ, {16, 124, 388, 2}, "");
        AddLabel(form.lblDescription, {16, 132, 388, 52});
        SetDefaultButton(AddButton(form.cmdOK, {316, 192, 88, 28}));
        Place();
    }
    ~AboutView() override {
        Destroy();
        DeleteObject(title_);
    }

private:
    HFONT title_ = nullptr;
};

class ErrorReportView : public View {
public:
    ErrorReportView(const std::string& report, const std::string& savedPath, HWND owner)
        : View(nullptr, L"Velloran.ErrorReport", owner, {560, 400}), report_(Wide(report)) {
        SetWindowTextW(Hwnd(), L"Velloran - Error Report");
        Add(WC_STATICW, SS_LEFT, {10, 10, 540, 34}, "intro", kNoPage, 0,
            L"Velloran met an error it cannot recover from and will close.\r\n"
            L"The report below is kept on this computer; nothing has been sent.");
        HWND text =
            Add(WC_EDITW,
                ES_MULTILINE | ES_READONLY | ES_AUTOVSCROLL | ES_AUTOHSCROLL | WS_VSCROLL |
                    WS_HSCROLL | WS_TABSTOP,
                {10, 48, 540, 270}, "reportText", kNoPage, WS_EX_CLIENTEDGE, WithCrLf(report_));
        (void)text;
        Add(WC_STATICW, SS_LEFT | SS_NOPREFIX, {10, 324, 540, 32}, "savedPath", kNoPage, 0,
            savedPath.empty() ? std::wstring(L"The report could not be saved.")
                              : L"Saved as " + Wide(savedPath));
        HWND copy = Add(WC_BUTTONW, BS_PUSHBUTTON | WS_TABSTOP, {364, 362, 90, 28}, "copy", kNoPage,
                        0, L"&Copy");
        HWND close = Add(WC_BUTTONW, BS_PUSHBUTTON | WS_TABSTOP, {460, 362, 90, 28}, "close",
                         kNoPage, 0, L"Close");
        SetDefaultButton(close);
        OnCommand(copy, [this](int code) {
            if (code == BN_CLICKED) CopyToClipboard();
        });
        OnCommand(close, [this](int code) {
            if (code == BN_CLICKED) Destroy();
        });
        Place();
    }

private:
    static std::wstring WithCrLf(const std::wstring& text) {
        std::wstring out;
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (text[i] == L'\n' && (i == 0 || text[i - 1] != L'\r')) out += L'\r';
            out += text[i];
        }
        return out;
    }
    void CopyToClipboard() const {
        if (!OpenClipboard(Hwnd())) return;
        EmptyClipboard();
        const std::wstring text = WithCrLf(report_);
        const std::size_t bytes = (text.size() + 1) * sizeof(wchar_t);
        if (HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, bytes)) {
            memcpy(GlobalLock(memory), text.c_str(), bytes);
            GlobalUnlock(memory);
            if (!SetClipboardData(CF_UNICODETEXT, memory)) GlobalFree(memory);
        }
        CloseClipboard();
    }
    std::wstring report_;
};

template <class F, class V>
void Register(Win32Host& host, const char* name) {
    host.RegisterView(name, [](Form& form, HWND owner) -> std::unique_ptr<View> {
        return std::make_unique<V>(dynamic_cast<F&>(form), owner);
    });
}

}  // namespace

void RegisterDialogViews(Win32Host& host) {
    Register<FrmCleaner, CleanerView>(host, "FrmCleaner");
    Register<frmAbout, AboutView>(host, "frmAbout");
    Register<FrmCookies, CookiesView>(host, "FrmCookies");
    Register<frmErad, EradView>(host, "frmErad");
    Register<FrmJunk, JunkView>(host, "FrmJunk");
}

std::unique_ptr<View> MakeErrorReportView(const std::string& report, const std::string& savedPath,
                                          HWND owner) {
    return std::make_unique<ErrorReportView>(report, savedPath, owner);
}

}  // namespace velloran::win32
