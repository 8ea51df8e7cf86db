#include "win32/Win32Host.hpp"

#include <commdlg.h>
#include <shellapi.h>
#include <shlobj.h>

#include <stdexcept>

#include "common/Vb.hpp"
#include "common/platform/Paths.hpp"
#include "win32/Dialogs.hpp"
#include "win32/Dispatch.hpp"

namespace velloran::win32 {

Win32Host::Win32Host() { RegisterDialogViews(*this); }

Win32Host::~Win32Host() = default;

void Win32Host::RegisterView(const std::string& formName, ViewFactory factory) {
    factories_[formName] = std::move(factory);
}

void Win32Host::SetMainView(Form& form, View* view) {
    mainForm_ = &form;
    mainView_ = view;
}

HWND Win32Host::WindowOf(const Form* form) const {
    if (!form) return nullptr;
    if (form == mainForm_) return mainView_ ? mainView_->Hwnd() : nullptr;
    auto it = views_.find(form);
    return it == views_.end() ? nullptr : it->second->Hwnd();
}

HWND Win32Host::TopWindow() const {
    for (auto it = modal_.rbegin(); it != modal_.rend(); ++it)
        if (!(*it)->Destroyed()) return (*it)->Hwnd();
    if (mainView_ && !mainView_->Destroyed() && IsWindowVisible(mainView_->Hwnd()))
        return mainView_->Hwnd();
    return nullptr;
}

int Win32Host::MsgBox(const std::string& prompt, int style, const std::string& title) {
    ThrowIfEnding();
    HWND owner = TopWindow();
    // The styles are the system's own numbers: icon, buttons and default button.
    const int answer = MessageBoxW(owner, Wide(prompt).c_str(), Wide(title).c_str(),
                                   static_cast<UINT>(style) | (owner ? 0u : MB_TASKMODAL));
    ThrowIfEnding();
    // No answer: the box went with its owner; a notice counts as read.
    if (answer == 0) return (style & 0x0F) == vbOKOnly ? vbOK : vbCancel;
    return answer;
}

void Win32Host::DoEvents() {
    ThrowIfEnding();
    PumpPending();
    ThrowIfEnding();
}

namespace {

// The owner usable again before the modal window goes, so that it is the one
// the system activates next.
struct ModalScope {
    HWND owner;
    std::unique_ptr<View>& view;
    ~ModalScope() {
        if (owner) EnableWindow(owner, TRUE);
        if (view) view->Destroy();
        if (owner && IsWindowVisible(owner)) SetActiveWindow(owner);
    }
};

}  // namespace

void Win32Host::ShowModal(Form& form, Form* ownerForm) {
    ThrowIfEnding();
    auto factory = factories_.find(form.Name());
    if (factory == factories_.end())
        throw std::logic_error("no view for the window " + form.Name());
    HWND owner = WindowOf(ownerForm);
    if (!owner || !IsWindowVisible(owner)) owner = TopWindow();
    std::unique_ptr<View> view = factory->second(form, owner);
    View* shown = view.get();
    views_[&form] = shown;
    modal_.push_back(shown);
    {
        ModalScope scope{owner, view};
        if (owner) EnableWindow(owner, FALSE);
        ShowWindow(shown->Hwnd(), SW_SHOW);
        UpdateWindow(shown->Hwnd());
        if (HWND first = GetNextDlgTabItem(shown->Hwnd(), nullptr, FALSE)) SetFocus(first);
        form.Activate();
        MSG msg;
        while (form.IsLoaded() && !Ending() && !shown->Destroyed()) {
            if (GetMessageW(&msg, nullptr, 0, 0) <= 0) {
                PostQuitMessage(static_cast<int>(msg.wParam));
                break;
            }
            PumpOne(msg);
        }
    }
    std::erase(modal_, shown);
    // A nested ShowModal of the same form may have taken the slot meanwhile.
    if (auto it = views_.find(&form); it != views_.end() && it->second == shown) views_.erase(it);
    view.reset();
    ThrowIfEnding();
}

void Win32Host::FormUnloaded(Form& form) {
    if (&form == mainForm_) {
        if (mainView_ && !mainView_->Destroyed()) ShowWindow(mainView_->Hwnd(), SW_HIDE);
        return;
    }
    if (auto it = views_.find(&form); it != views_.end()) {
        // The window that goes first hands activation back to its owner.
        HWND owner = GetWindow(it->second->Hwnd(), GW_OWNER);
        if (owner) EnableWindow(owner, TRUE);
        it->second->Destroy();
    }
}

std::wstring FileDialogFilter(const std::string& filter) {
    std::wstring out = Wide(filter);
    for (wchar_t& c : out)
        if (c == L'|') c = L'\0';
    out.push_back(L'\0');
    out.push_back(L'\0');
    return out;
}

std::vector<std::string> ChosenFiles(const wchar_t* buffer) {
    std::vector<std::string> out;
    if (!buffer || !*buffer) return out;
    const std::wstring first = buffer;
    const wchar_t* next = buffer + first.size() + 1;
    if (!*next) return {Narrow(first)};
    for (; *next; next += wcslen(next) + 1) out.push_back(JoinPath(Narrow(first), Narrow(next)));
    return out;
}

std::vector<std::string> DroppedPaths(HDROP drop) {
    std::vector<std::string> out;
    const UINT count = DragQueryFileW(drop, 0xFFFFFFFF, nullptr, 0);
    for (UINT i = 0; i < count; ++i) {
        std::wstring path(DragQueryFileW(drop, i, nullptr, 0) + 1, L'\0');
        DragQueryFileW(drop, i, path.data(), static_cast<UINT>(path.size()));
        path.resize(wcslen(path.c_str()));
        out.push_back(Narrow(path));
    }
    return out;
}

std::vector<std::string> Win32Host::OpenFilesDialog(const std::string& title,
                                                    const std::string& filter) {
    ThrowIfEnding();
    std::wstring names(64 * 1024, L'\0');
    const std::wstring filters = FileDialogFilter(filter);
    const std::wstring caption = Wide(title);
    OPENFILENAMEW ofn{};
    ofn.lStructSize = sizeof ofn;
    ofn.hwndOwner = TopWindow();
    ofn.lpstrFilter = filters.c_str();
    ofn.lpstrFile = names.data();
    ofn.nMaxFile = static_cast<DWORD>(names.size());
    ofn.lpstrTitle = caption.c_str();
    ofn.Flags = OFN_ALLOWMULTISELECT | OFN_EXPLORER | OFN_FILEMUSTEXIST | OFN_HIDEREADONLY |
                OFN_NOCHANGEDIR;
    const bool chosen = GetOpenFileNameW(&ofn) != FALSE;
    ThrowIfEnding();
    return chosen ? ChosenFiles(names.c_str()) : std::vector<std::string>{};
}

std::string Win32Host::BrowseForFolder(const std::string& title) {
    ThrowIfEnding();
    const std::wstring caption = Wide(title);
    wchar_t display[MAX_PATH] = {};
    BROWSEINFOW info{};
    info.hwndOwner = TopWindow();
    info.pszDisplayName = display;
    info.lpszTitle = caption.c_str();
    info.ulFlags = BIF_RETURNONLYFSDIRS | BIF_NEWDIALOGSTYLE;
    PIDLIST_ABSOLUTE chosen = SHBrowseForFolderW(&info);
    ThrowIfEnding();
    if (!chosen) return {};
    wchar_t path[MAX_PATH] = {};
    const bool ok = SHGetPathFromIDListW(chosen, path) != FALSE;
    CoTaskMemFree(chosen);
    return ok ? Narrow(path) : std::string();
}

void Win32Host::ShowErrorReport(const std::string& reportText, const std::string& savedPath) {
    // While ending, every loop returns at once: there is nobody left to read it.
    if (Ending()) return;
    HWND owner = TopWindow();
    auto view = MakeErrorReportView(reportText, savedPath, owner);
    ModalScope scope{owner, view};
    if (owner) EnableWindow(owner, FALSE);
    ShowWindow(view->Hwnd(), SW_SHOW);
    MSG msg;
    while (!view->Destroyed() && !Ending()) {
        if (GetMessageW(&msg, nullptr, 0, 0) <= 0) {
            PostQuitMessage(static_cast<int>(msg.wParam));
            break;
        }
        PumpOne(msg);
    }
}

}  // namespace velloran::win32
