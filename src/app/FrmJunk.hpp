#pragma once
// The junk file finder: junk filters and drives to choose from, a scan that lists
// the matching files, and the deletion of the checked ones. Toolkit-free; the Qt
// view and the console drive it through its controls.
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "common/controls/Controls.hpp"
#include "common/controls/Form.hpp"
#include "common/controls/ListView.hpp"

namespace velloran {

class Application;
class FilterCollection;
class JunkSearch;
class SecureDeleter;

class FrmJunk : public Form {
public:
    explicit FrmJunk(Application& app);
    ~FrmJunk() override;

    CommandButton cmdFind{"cmdFind"};
    CommandButton cmdExit{"cmdExit"};
    ProgressBar pbar{"pbar"};
    Frame Frame1{"Frame1"};
    TabStrip sTab{"sTab", -1};
    // On the "Filters" tab.
    ListView lvFilters{"lvFilters"};
    TreeView tvDrives{"tvDrives"};
    CheckBox chkselDrives{"chkselDrives"};
    CheckBox chkselfilters{"chkselfilters"};
    // On the "Files Found" tab.
    ListView lvFiles{"lvFiles"};
    CheckBox chkselallfiles{"chkselallfiles"};
    CommandButton cmddelete{"cmddelete"};
    Label lblfound{"lblfound"};
    Label lblTsize{"lblTsize"};
    Label lblloc{"lblloc"};

    static constexpr int kTabFilters = 0;
    static constexpr int kTabFilesFound = 1;

    // The scan's own stop flag: the user stopped it, or the window is closing.
    bool ScanAborted = false;
    // Bytes of junk found by the current scan, as the engine last reported.
    double JunkTotal = 0;
    // True while a scan runs.
    bool Scanning = false;

    // Filter files to read instead of the shipped and user ones (empty: those).
    std::vector<std::filesystem::path> FilterSources;

    // Handlers.
    void PrepareMyself();
    void getGarbageFilters(ListView& lv, Form& owner);
    void cFilCol_Populated();
    void chkselDrives_Click();
    void chkselfilters_Click();
    void chkselallfiles_Click();
    void cmdFind_Click();
    void cs_FoundFile(const std::string& path);
    void cs_FoundJunkFile(const std::string& folder, const std::string& name,
                          const std::string& tag, std::int32_t size, double total);
    void cmddelete_Click();
    void StartCleaning();
    // Files the last deletion did not remove or did not overwrite, with the line
    // that says what and why. Told in a message of their own after the run.
    struct Leftover {
        std::string path;
        std::string line;
        bool removed;  // the name is gone, but its data was not overwritten
    };
    std::vector<Leftover> NotDone;
    void ReportNotDone();

    // The search object of the scan in progress; null between scans.
    std::shared_ptr<JunkSearch> cs() const { return cs_; }
    // The deletion object while a deletion runs.
    std::shared_ptr<SecureDeleter> csDel() const { return csDel_; }

protected:
    void Form_Load() override;
    void Form_QueryUnload(int& cancel, int mode) override;
    void Form_Unload(int& cancel) override;

private:
    void BuildControls();
    void FinishScan();
    void StartScan();
    Application& app_;
    std::shared_ptr<JunkSearch> cs_;
    std::shared_ptr<SecureDeleter> csDel_;
    std::unique_ptr<FilterCollection> cFilCol_;
};

}  // namespace velloran
