#pragma once
// The progress window: runs one cleaning run on activation and shows its log,
// progress bar and Cancel.
#include <memory>
#include <string>

#include "common/controls/Controls.hpp"
#include "common/controls/Form.hpp"

namespace velloran {

class Application;
class ClsClean;

class FrmCleaner : public Form {
public:
    explicit FrmCleaner(Application& app);
    ~FrmCleaner() override;

    TextBox txtprogress{"txtprogress"};
    ProgressBar pbar{"pbar"};
    CommandButton cmdCancel{"cmdCancel"};

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
    std::shared_ptr<ClsClean> cs_;
};

}  // namespace velloran
