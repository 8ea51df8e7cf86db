#pragma once
// The program-wide context: the work context every window and worker shares, and
// the windows themselves.
#include <functional>
#include <memory>
#include <string>

#include "common/WorkContext.hpp"

namespace velloran {

class FrmMain;
class FrmCleaner;
class frmAbout;
class FrmJunk;
class frmErad;
class FrmCookies;
class ClsClean;
class Form;

class Application : public WorkContext {
public:
    Application(Host& host, Platform& platform);
    ~Application() override;

    std::string HelpFile;
    std::string CommandLine;
    // Which Windows environment the program works on, for the status bar.
    std::string TargetDescription;
    // Set while an error is being reported; the program ends after it.
    bool Reporting = false;

    // The windows, created on first use and kept for the program's life; unloading
    // resets a window, as reloading would.
    FrmMain& Main();
    FrmCleaner& Cleaner();
    frmAbout& About();
    FrmJunk& Junk();
    frmErad& Erad();
    FrmCookies& Cookies();
    bool CleanerLoaded() const;
    // Every secondary window that exists, in the order the main window unloads them.
    std::vector<Form*> SecondaryForms();

    // The release routine: sets the stop flag and releases the shared objects.
    // Closes and saves nothing, and may run any number of times.
    void ReleaseShared();

    // Shortcut for a message box under the application title.
    int MsgBox(const std::string& text, int style) { return GetHost().MsgBox(text, style, Title); }

    [[noreturn]] void ReportError(const VbError& error, const std::string& location,
                                  const ReportOptions& options = {}) override;

private:
    std::unique_ptr<FrmMain> main_;
    std::unique_ptr<FrmCleaner> cleaner_;
    std::unique_ptr<frmAbout> about_;
    std::unique_ptr<FrmJunk> junk_;
    std::unique_ptr<frmErad> erad_;
    std::unique_ptr<FrmCookies> cookies_;
};

}  // namespace velloran
