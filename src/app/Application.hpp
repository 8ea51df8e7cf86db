#pragma once
// The program-wide context: the work context every window and worker shares, and
// the windows themselves.
#include <functional>
#include <memory>
#include <string>

#include "cleaning/Shell.hpp"

namespace velloran {

class FrmMain;
class FrmCleaner;
class frmAbout;
class FrmJunk;
class frmErad;
class FrmCookies;
class ClsClean;
class Form;

class Application : public ProgramShell {
public:
    Application(Host& host, Platform& platform);
    ~Application() override;

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

    // The options as the Settings page holds them now; the stored ones when there
    // is no main window (the console).
    Options CurrentOptions();

    Form& MainForm() override;
    RunView* LoadedRunView() override;
    void SetStatusText(const std::string& text) override;
    void SaveSettings(const Options& options) override;

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
