#pragma once
// The progress window: runs one cleaning run on activation and shows its log,
// progress bar and Cancel.
#include <memory>
#include <string>

#include "cleaning/Plan.hpp"
#include "cleaning/Shell.hpp"
#include "common/controls/Controls.hpp"
#include "common/controls/Form.hpp"

namespace velloran {

class Application;
class ClsClean;

class FrmCleaner : public Form, public RunView {
public:
    explicit FrmCleaner(Application& app);
    ~FrmCleaner() override;

    TextBox txtprogress{"txtprogress"};
    ProgressBar pbar{"pbar"};
    CommandButton cmdCancel{"cmdCancel"};

    // What the next activation runs.
    void SetPlan(Plan plan) { plan_ = std::move(plan); }

    TextBox& Log() override { return txtprogress; }
    ProgressBar& Bar() override { return pbar; }
    Form& Window() override { return *this; }

    void cs_Progress(const std::string& text, int total, int current);
    void cmdCancel_Click();
    // The run driver of the run in progress; null between runs.
    std::shared_ptr<ClsClean> cs() const { return cs_; }

protected:
    void Form_Load() override;
    void Form_Activate() override;
    void Form_QueryUnload(int& cancel, int mode) override;
    void Form_Unload(int& cancel) override;

private:
    void Run();
    void CancelRun();
    Application& app_;
    Plan plan_;
    std::shared_ptr<ClsClean> cs_;
};

// The Clean button's work on a plan: unloads a progress window that is still
// loaded, says "Nothing to do" when no task is ticked, else shows the progress
// window modally over `owner`, which runs the plan. Returns the run driver that
// found nothing to do, for the caller to keep; null when a run was shown.
std::shared_ptr<ClsClean> StartCleaning(Application& app, const Plan& plan, Form* owner);

}  // namespace velloran
