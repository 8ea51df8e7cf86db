#pragma once
// The Host of the Win32 front end: message boxes, the message pump, modal
// windows (the owner disabled, a loop of their own), the file dialog, the folder
// browser and the error report, all on the system's own windows.
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "common/Host.hpp"
#include "win32/View.hpp"

#include <shellapi.h>

namespace velloran::win32 {

class Win32Host : public Host {
public:
    using ViewFactory = std::function<std::unique_ptr<View>(Form&, HWND owner)>;

    // Knows the views of every secondary window.
    Win32Host();
    ~Win32Host() override;

    void RegisterView(const std::string& formName, ViewFactory factory);
    // The main window's view: owner of the others, hidden when its form unloads.
    void SetMainView(Form& form, View* view);
    // The window that shows `form` now; null when none does.
    HWND WindowOf(const Form* form) const;

    int MsgBox(const std::string& prompt, int style, const std::string& title) override;
    void DoEvents() override;
    void ShowModal(Form& form, Form* owner) override;
    void FormUnloaded(Form& form) override;
    std::vector<std::string> OpenFilesDialog(const std::string& title,
                                             const std::string& filter) override;
    std::string BrowseForFolder(const std::string& title) override;
    void ShowErrorReport(const std::string& reportText, const std::string& savedPath) override;

private:
    // The window a new modal window or message box belongs to: the topmost modal
    // one, else the main window.
    HWND TopWindow() const;

    std::map<std::string, ViewFactory> factories_;
    std::map<const Form*, View*> views_;
    std::vector<View*> modal_;
    const Form* mainForm_ = nullptr;
    View* mainView_ = nullptr;
};

// The Windows-style filter "Text (*.txt)|*.txt" as GetOpenFileNameW wants it:
// NUL-separated and ended by two NULs.
std::wstring FileDialogFilter(const std::string& filter);
// The names GetOpenFileNameW wrote: one full path, or a folder and its names.
std::vector<std::string> ChosenFiles(const wchar_t* buffer);
// The paths of files dropped from the shell (WM_DROPFILES).
std::vector<std::string> DroppedPaths(HDROP drop);

}  // namespace velloran::win32
