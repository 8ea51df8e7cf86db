#pragma once
// The file eradicator: a list of files and a list of folders to wipe with the
// delete method of the settings page, with progress on the bar. Toolkit-free; the
// Qt view and the console drive it through its controls.
#include <memory>
#include <string>
#include <vector>

#include "common/controls/Controls.hpp"
#include "common/controls/Form.hpp"
#include "common/controls/ListView.hpp"

namespace velloran {

class Application;
class FileFinder;
class SecureDeleter;

class frmErad : public Form {
public:
    explicit frmErad(Application& app);
    ~frmErad() override;

    ListView lview{"lview"};    // files: key = path, text = name
    ListView lviewF{"lviewF"};  // folders: key = path, text = path
    CommandButton cmdadd{"cmdadd"};
    CommandButton cmdaddf{"cmdaddf"};
    CommandButton cmdremove{"cmdremove"};
    CommandButton cmdremovef{"cmdremovef"};
    CommandButton cmdwipe{"cmdwipe"};
    CommandButton cmdwipef{"cmdwipef"};
    ProgressBar pbar{"pbar"};

    static constexpr int kModeFiles = 2;
    static constexpr int kModeFolders = 3;

    void AddToEradicator(const std::string& path);
    // Files and folders dropped from a file manager, on either list.
    void DropFiles(const std::vector<std::string>& paths);
    void cmdadd_Click();
    void cmdaddf_Click();
    void cmdremove_Click();
    void cmdremovef_Click();
    void cmdwipe_Click();
    void cmdwipef_Click();
    void FileERadicator(int mode);
    void EradicateFile(const std::string& path);
    void fF_FoundFile(const std::string& folder, const std::string& name);
    void csDel_DeleteProgress(const std::string& path, double total, double done);

    // What the last run did not remove or did not overwrite, one line each; told in
    // a message of its own before the completion message.
    std::vector<std::string> NotDone;

protected:
    void Form_Load() override;
    void Form_QueryUnload(int& cancel, int mode) override;
    void Form_Unload(int& cancel) override;

private:
    void BuildControls();
    void RunFiles();
    void RunFolders();
    void EndRun();
    void WarnOncePerRun(const std::vector<std::string>& report);
    void SetProgressText(const std::string& path, double done, double total);

    Application& app_;
    std::shared_ptr<FileFinder> fF_;
    std::shared_ptr<SecureDeleter> csDel_;
    // The run's deleter: it queues the files and wipes them in batches, so it
    // lives for the whole run (csDel_ may be released by a closing window).
    std::shared_ptr<SecureDeleter> runDeleter_;
    void FinishBatch();
    double folderSize_ = 0;
    double erasedBytes_ = 0;
    std::int16_t lastPercent_ = 0;
    bool warnedCopyOnWrite_ = false;
};

}  // namespace velloran
