#include "app/Application.hpp"

#include "about/frmAbout.hpp"
#include "app/FrmMain.hpp"
#include "cleaning/FrmCleaner.hpp"
#include "cleaning/ReportError.hpp"
#include "common/registry/KelRegistry.hpp"
#include "tools/cookies/FrmCookies.hpp"
#include "tools/eradicator/frmErad.hpp"
#include "tools/junk/FrmJunk.hpp"

namespace velloran {

Application::Application(Host& host, Platform& platform) : WorkContext(host, platform) {}
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

void Application::ReleaseShared() {
    StopRequested = vbTrue;
    SharedRegistry.reset();
    SharedList.clear();
}

}  // namespace velloran
