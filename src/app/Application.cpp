#include "app/Application.hpp"

#include "about/frmAbout.hpp"
#include "app/FrmCleaner.hpp"
#include "app/FrmCookies.hpp"
#include "app/FrmJunk.hpp"
#include "app/FrmMain.hpp"
#include "app/frmErad.hpp"
#include "cleaning/ReportError.hpp"
#include "cleaning/Settings.hpp"
#include "common/ErrorHandler.hpp"
#include "common/registry/KelRegistry.hpp"

namespace velloran {

Application::Application(Host& host, Platform& platform) : ProgramShell(host, platform) {}
Application::~Application() = default;

void Application::ReportError(const VbError& error, const std::string& location,
                              const ReportOptions& options) {
    velloran::ReportError(*this, error, location, options);
}

FrmMain& Application::Main() {
    if (!main_) main_ = std::make_unique<FrmMain>(*this);
    return *main_;
}

FrmCleaner& Application::Cleaner() {
    if (!cleaner_) cleaner_ = std::make_unique<FrmCleaner>(*this);
    return *cleaner_;
}

frmAbout& Application::About() {
    if (!about_) about_ = std::make_unique<frmAbout>(*this);
    return *about_;
}

FrmJunk& Application::Junk() {
    if (!junk_) junk_ = std::make_unique<FrmJunk>(*this);
    return *junk_;
}

frmErad& Application::Erad() {
    if (!erad_) erad_ = std::make_unique<frmErad>(*this);
    return *erad_;
}

FrmCookies& Application::Cookies() {
    if (!cookies_) cookies_ = std::make_unique<FrmCookies>(*this);
    return *cookies_;
}

bool Application::CleanerLoaded() const { return cleaner_ && cleaner_->IsLoaded(); }

std::vector<Form*> Application::SecondaryForms() {
    std::vector<Form*> out;
    if (about_) out.push_back(about_.get());
    if (cleaner_) out.push_back(cleaner_.get());
    if (cookies_) out.push_back(cookies_.get());
    if (erad_) out.push_back(erad_.get());
    if (junk_) out.push_back(junk_.get());
    return out;
}

Form& Application::MainForm() { return Main(); }

RunView* Application::LoadedRunView() { return CleanerLoaded() ? cleaner_.get() : nullptr; }

void Application::SetStatusText(const std::string& text) {
    if (main_) main_->sBar.SetPanel(7, text);
}

Options Application::CurrentOptions() {
    if (main_) return main_->CurrentOptions();
    const Options stored = StoredOptionsValue(*this);
    if (!LoadedOptions) LoadedOptions = stored;
    return stored;
}

void Application::SaveSettings(const Options& options) {
    WithErrorHandler(*this, "ModControls:SaveSettings", [&] {
        SetStatusText("Saving program settings...");
        WriteStoredOptions(*this, options, LoadedOptions ? &*LoadedOptions : nullptr);
        SetStatusText("Done.");
    });
}

}  // namespace velloran
