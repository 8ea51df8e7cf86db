#include "app/FrmCleaner.hpp"

#include "app/Application.hpp"
#include "cleaning/ClsClean.hpp"

namespace velloran {

namespace {
constexpr std::size_t kCaptionLength = 50;
}

FrmCleaner::FrmCleaner(Application& app) : Form(app.GetHost(), "FrmCleaner"), app_(app) {
    SetCaption(app.Title + " - Cleaning");
    txtprogress.SetLocked(true);
    cmdCancel.SetCaption("Cancel");
    cmdCancel.OnClick = [this] { cmdCancel_Click(); };
}

FrmCleaner::~FrmCleaner() = default;

void FrmCleaner::Form_Load() {
    // A reloaded window starts as new.
    txtprogress.SetText("");
    pbar.SetValue(0);
    pbar.SetMax(100);
    pbar.SetCaption("Loading libraries...");
    app_.StopRequested = vbFalse;
}

void FrmCleaner::Form_Activate() {
    if (Tag() != "1") return;
    GetHost().DoEvents();
    Run();
}

void FrmCleaner::Run() {
    cs_ = std::make_shared<ClsClean>(app_, plan_);
    cs_->Progress = [this](const std::string& text, int total, int current) {
        cs_Progress(text, total, current);
    };
    // Cancel releases cs_ re-entrantly while Clean runs; the run keeps its own hold.
    auto run = cs_;
    run->Clean();
    cs_.reset();
}

std::shared_ptr<ClsClean> StartCleaning(Application& app, const Plan& plan, Form* owner) {
    if (app.CleanerLoaded()) app.Cleaner().Unload();
    auto check = std::make_shared<ClsClean>(app, plan);
    if (!check->isJob()) {
        app.MsgBox("Nothing to do, Please select a task by selecting the white boxes.",
                   vbInformation + vbOKOnly);
        return check;
    }
    check.reset();
    FrmCleaner& cleaner = app.Cleaner();
    cleaner.Load();
    cleaner.SetPlan(plan);
    // The mark the cookie manager's button puts on its window too; nothing else reads it.
    cleaner.SetTag("1");
    cleaner.ShowModal(owner);
    return nullptr;
}

void FrmCleaner::cs_Progress(const std::string& text, int total, int current) {
    pbar.SetMax(total);
    pbar.SetValue(current);
    pbar.SetCaption(text.substr(0, kCaptionLength));
}

void FrmCleaner::CancelRun() {
    app_.StopRequested = vbTrue;
    if (cs_) {
        cs_->SetCancel(true);
        cs_.reset();
    }
}

void FrmCleaner::cmdCancel_Click() {
    CancelRun();
    Unload();
}

void FrmCleaner::Form_QueryUnload(int& /*cancel*/, int /*mode*/) { CancelRun(); }

void FrmCleaner::Form_Unload(int& /*cancel*/) {
    app_.ReleaseShared();
    cs_.reset();
}

}  // namespace velloran
