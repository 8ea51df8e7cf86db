#include "app/FrmJunk.hpp"

#include <algorithm>
#include <cctype>

#include "app/Application.hpp"
#include "cleaning/Completion.hpp"
#include "common/ErrorHandler.hpp"
#include "common/ModFunctions.hpp"
#include "common/Text.hpp"
#include "common/controls/ModListView.hpp"
#include "tools/eradicator/SecureDeleter.hpp"
#include "tools/junk/FilterCollection.hpp"
#include "tools/junk/JunkSearch.hpp"
#include "tools/junk/ModGeneral.hpp"

namespace velloran {

namespace {

const Font kVerdana{"Verdana", 8.25};
const Font kArial{"Arial", 8.25};

constexpr std::int16_t kLocationLength = 70;

// Errors of a drive that cannot be searched (gone, unreadable, not a real file
// system): the drive just yields nothing.
bool IsUnreadableDrive(const VbError& e) {
    return e.Number() == vbErrPermissionDenied || e.Number() == vbErrPathFileAccess ||
           e.Number() == vbErrPathNotFound;
}

}  // namespace

FrmJunk::FrmJunk(Application& app) : Form(app.GetHost(), "FrmJunk"), app_(app) { BuildControls(); }

FrmJunk::~FrmJunk() = default;

void FrmJunk::BuildControls() {
    SetCaption("Junk Files");
    SetFont(kVerdana);
    for (Control* c : std::initializer_list<Control*>{
             &cmdFind, &cmdExit, &pbar, &Frame1, &sTab, &lvFilters, &tvDrives, &chkselDrives,
             &chkselfilters, &lvFiles, &cmddelete, &lblfound, &lblTsize})
        c->SetFont(kVerdana);
    chkselallfiles.SetFont(Font{});  // the one box in the classic face
    lblloc.SetFont(kArial);

    cmdFind.SetCaption("Search");
    cmdExit.SetCaption("Exit");
    sTab.AddTab("Filters");
    sTab.AddTab("Files Found");
    lvFilters.AddColumn("Filter");
    lvFilters.AddColumn("Description");
    lvFilters.SetCheckboxes(true);
    tvDrives.SetCheckboxes(true);
    chkselDrives.SetCaption("Select All Drives");
    chkselfilters.SetCaption("Select All Filters");
    lvFiles.AddColumn("Name");
    lvFiles.AddColumn("Size");
    lvFiles.AddColumn("Folder");
    lvFiles.SetCheckboxes(true);
    chkselallfiles.SetCaption("Select All Files");
    cmddelete.SetCaption("Delete");

    cmdFind.OnClick = [this] { cmdFind_Click(); };
    cmdExit.OnClick = [this] { Unload(); };
    cmddelete.OnClick = [this] { cmddelete_Click(); };
    chkselDrives.OnClick = [this] { chkselDrives_Click(); };
    chkselfilters.OnClick = [this] { chkselfilters_Click(); };
    chkselallfiles.OnClick = [this] { chkselallfiles_Click(); };
}

void FrmJunk::Form_Load() {
    // The object lives on between openings: a new opening starts from scratch.
    lvFilters.Clear();
    tvDrives.Clear();
    lvFiles.Clear();
    for (CheckBox* box : {&chkselDrives, &chkselfilters, &chkselallfiles}) box->SetValue(1);
    for (Control* c : std::initializer_list<Control*>{&cmdFind, &cmdExit, &cmddelete, &chkselDrives,
                                                      &chkselfilters, &lblloc})
        c->SetEnabled(true);
    chkselallfiles.SetEnabled(false);
    cmdFind.SetCaption("Search");
    cmddelete.SetCaption("Delete");
    sTab.SetTabEnabled(kTabFilters, true);
    sTab.SetTabEnabled(kTabFilesFound, true);
    sTab.SetSelectedTab(kTabFilters);
    lblfound.SetCaption("Files Found: 0");
    lblTsize.SetCaption("Total Size: 0 Bytes");
    lblloc.SetCaption("");
    lblloc.SetVisible(true);
    pbar.SetVisible(false);
    pbar.SetValue(0);
    pbar.SetMax(100);
    pbar.SetCaption("");
    Scanning = false;
    JunkTotal = 0;
    SetMousePointer(vbDefault);

    app_.StopRequested = vbFalse;
    ScanAborted = false;
    PrepareMyself();
}

void FrmJunk::PrepareMyself() {
    WithErrorHandler(app_, "FrmJunk:PrepareMyself", [this] {
        Findallfiles(app_, tvDrives, *this, true);
        getGarbageFilters(lvFilters, *this);
    });
}

// ------------------------------------------------------------------ filters

void FrmJunk::getGarbageFilters(ListView& /*lv*/, Form& /*owner*/) {
    WithErrorHandler(app_, "FrmJunk:getgarbagefilters", [this] {
        cFilCol_ = FilterSources.empty() ? std::make_unique<FilterCollection>()
                                         : std::make_unique<FilterCollection>(FilterSources);
        cFilCol_->Populated.Connect([this] { cFilCol_Populated(); });
        lblloc.SetCaption("Retreiving filters...");
        cFilCol_->Populate();
        lblloc.SetCaption("Done");
        GetHost().DoEvents();
        cFilCol_.reset();
    });
}

void FrmJunk::cFilCol_Populated() {
    const StringCollection& lines = cFilCol_->Lines();
    const int count = lines.Count();
    lvFilters.Reserve(static_cast<std::size_t>(count));
    for (int i = 1; i <= count; ++i) {
        const std::string& line = lines.Item(i);
        if (!line.empty() && line[0] != '#') {
            const std::vector<std::string> fields = SplitFields(line, ";");
            // A line without its three fields fails on the first one missing.
            auto field = [&fields](std::size_t n) -> const std::string& {
                if (n >= fields.size()) throw VbError::SubscriptOutOfRange();
                return fields[n];
            };
            const int row = lvFilters.Add({}, field(0));
            lvFilters.SetSubItem(row, 1, field(1));
            lvFilters.SetTag(row, field(2));
        } else if (line.starts_with("#&&")) {
            // Directives are the filter source's business; the window only splits them.
            (void)SplitFields(line, ";");
        }
        GetHost().DoEvents();
    }
    for (int i = 0; i < lvFilters.Count(); ++i) lvFilters.SetChecked(i, true);
    FitColumns(lvFilters);
}

// ------------------------------------------------------------------ select all

void FrmJunk::chkselDrives_Click() {
    const bool on = chkselDrives.Value() != 0;
    for (int i = 0; i < tvDrives.Count(); ++i) {
        try {
            tvDrives.SetChecked(i, on);
        } catch (const VbError&) {
        }
    }
}

void FrmJunk::chkselfilters_Click() {
    const bool on = chkselfilters.Value() != 0;
    for (int i = 0; i < lvFilters.Count(); ++i) {
        try {
            lvFilters.SetChecked(i, on);
        } catch (const VbError&) {
        }
    }
}

void FrmJunk::chkselallfiles_Click() {
    const bool on = chkselallfiles.Value() != 0;
    for (int i = 0; i < lvFiles.Count(); ++i) {
        try {
            lvFiles.SetChecked(i, on);
        } catch (const VbError&) {
        }
    }
}

// ------------------------------------------------------------------ scan

void FrmJunk::cmdFind_Click() {
    WithErrorHandler(app_, "FrmJunk:cmdFind:Click", [this] {
        try {
            if (AsciiLower(cmdFind.Caption()) == "stop") {
                app_.StopRequested = vbTrue;
                if (cs_) {
                    cs_->SetCancel(true);
                    ScanAborted = true;
                    FinishScan();
                    return;
                }
            }
            StartScan();
        } catch (const ProgramEnd&) {
            throw;
        } catch (...) {
            app_.StopRequested = vbTrue;
            throw;
        }
    });
}

void FrmJunk::StartScan() {
    bool anyDrive = false, anyFilter = false;
    for (int i = 0; i < tvDrives.Count() && !anyDrive; ++i) anyDrive = tvDrives.Node(i).checked;
    for (int i = 0; i < lvFilters.Count() && !anyFilter; ++i) anyFilter = lvFilters.Row(i).checked;
    if (!anyDrive || !anyFilter) return;

    cmdFind.SetCaption("Stop");
    SetMousePointer(vbHourglass);
    lvFiles.Clear();

    cs_ = std::make_shared<JunkSearch>(app_.GetPlatform());
    cs_->FoundFile.Connect([this](const std::string& path, std::int32_t) { cs_FoundFile(path); });
    cs_->FoundJunkFile.Connect([this](const std::string& folder, const std::string& name,
                                      const std::string& tag, std::int32_t size, double total) {
        cs_FoundJunkFile(folder, name, tag, size, total);
    });
    cs_->SetPump([this] { GetHost().DoEvents(); });
    for (int i = 0; i < lvFilters.Count(); ++i) {
        const ListRow& row = lvFilters.Row(i);
        if (!row.checked) continue;
        cs_->Patterns().Add(row.text, std::to_string(i + 1));
        cs_->Tags().Add(row.tag);
    }
    cs_->SetRecordSeparator("#&&");
    cs_->SetFieldSeparator(";");
    cs_->PrepareFilters();

    JunkTotal = 0;
    Scanning = true;
    cmdExit.SetEnabled(false);
    sTab.SetTabEnabled(kTabFilesFound, false);
    sTab.SetSelectedTab(kTabFilters);
    chkselDrives.SetEnabled(false);
    chkselfilters.SetEnabled(false);

    for (int i = 0; i < tvDrives.Count(); ++i) {
        if (tvDrives.Node(i).checked) {
            std::string folder = tvDrives.Node(i).text;
            std::string mask = "*.*";
            std::vector<std::string> found, unreadable;
            std::int32_t count = 0;
            // Keep the engine alive: a Stop click releases the window's hold meanwhile.
            std::shared_ptr<JunkSearch> search = cs_;
            try {
                Require(search).Search(folder, mask, found, unreadable, count);
            } catch (const VbError& e) {
                if (!IsUnreadableDrive(e)) throw;
            }
            if (cs_) cs_->SetCancel(ScanAborted);
        }
        if (ScanAborted) break;
    }

    sTab.SetTabEnabled(kTabFilesFound, true);
    chkselallfiles.SetEnabled(true);
    chkselDrives.SetEnabled(true);
    // chkselfilters stays disabled until the window is opened again.
    const std::string count = std::to_string(lvFiles.Count());
    const std::string summary =
        ScanAborted ? "Scan successfully aborted by user!      \r" + std::string(54, '-') + "\r" +
                          count + " Junk Files Found.\rYou will save: " + SetBytes(JunkTotal)
                    : "Garbage Scanning completed successfully!\r" + std::string(55, '-') + "\r" +
                          count + " Junk Files Found.\rYou will save: " + SetBytes(JunkTotal);
    // Files the system's packages installed matched a filter but are not junk.
    const std::int32_t skipped = cs_ ? cs_->PackageFilesSkipped() : 0;
    app_.MsgBox(skipped == 0 ? summary
                             : summary + "\r" + std::to_string(skipped) +
                                   " file(s) installed by the system's packages were left out.",
                vbInformation);
    sTab.SetSelectedTab(kTabFilesFound);
    cmdExit.SetEnabled(true);
    ScanAborted = false;
    SetMousePointer(vbDefault);
    FinishScan();
}

void FrmJunk::FinishScan() {
    Scanning = false;
    cmdFind.SetCaption("Search");
    FitColumns(lvFiles);
    cs_.reset();
}

void FrmJunk::cs_FoundFile(const std::string& path) {
    lblloc.SetCaption(ShortenPath(path, kLocationLength));
}

void FrmJunk::cs_FoundJunkFile(const std::string& folder, const std::string& name,
                               const std::string& tag, std::int32_t size, double total) {
    if (app_.StopRequested != vbFalse) return;
    lvFiles.Add({}, name, {SetBytes(static_cast<double>(size)), folder}, tag);
    const int found = lvFiles.Count();
    lblfound.SetCaption("Files Found: " + std::to_string(found));
    lblTsize.SetCaption("Total Size: " + SetBytes(total));
    lvFiles.SetChecked(found - 1, true);
    FitLastColumn(lvFiles);
    JunkTotal = total;
}

// ------------------------------------------------------------------ deletion

void FrmJunk::cmddelete_Click() {
    WithErrorHandler(app_, "FrmJunk:cmdDelete:Click", [this] {
        if (AsciiUpper(cmddelete.Caption()) == "STOP") {
            ScanAborted = true;
            app_.StopRequested = vbTrue;
            if (csDel_) csDel_->SetAbortDelete(true);
            return;
        }
        if (Scanning) {
            app_.MsgBox("Scanning is currently in progess, please wait or stop the scanning!",
                        vbInformation);
            return;
        }
        if (lvFiles.Count() == 0) {
            app_.MsgBox("Nothing to delete, Please search for files or make a selection.",
                        vbExclamation);
            return;
        }
        int checked = 0;
        for (int i = 0; i < lvFiles.Count(); ++i) checked += lvFiles.Row(i).checked ? 1 : 0;
        if (checked == 0) return;
        if (app_.MsgBox("Please confirm that you will like to delete the selected file(s).",
                        vbQuestion | vbYesNo) == vbNo)
            return;

        lblloc.SetVisible(false);
        pbar.SetVisible(true);
        cmdFind.SetEnabled(false);
        cmdExit.SetEnabled(false);
        chkselallfiles.SetEnabled(false);
        cmddelete.SetCaption("STOP");
        app_.StopRequested = vbFalse;
        NotDone.clear();

        StartCleaning();

        cmddelete.SetCaption("Delete");
        chkselallfiles.SetEnabled(true);
        cmdFind.SetEnabled(true);
        cmdExit.SetEnabled(true);
        pbar.SetCaption("Eradicating process completed.");
        pbar.SetValue(pbar.Max());
        lblloc.SetVisible(true);
        ReportNotDone();

        SuccessMsgBox(app_, "Selected Task(s) Completed Successfully!", vbInformation,
                      app_.CurrentOptions());
        Unload();
    });
}

void FrmJunk::StartCleaning() {
    WithErrorHandler(app_, "FrmJunk:StartCleaning", [this] {
        csDel_ = std::make_shared<SecureDeleter>(app_.GetPlatform());
        csDel_->SetPump([this] { GetHost().DoEvents(); });
        csDel_->SetBatching(true);
        // The run's hold on the deleter: the window's may be released by a stop.
        std::shared_ptr<SecureDeleter> run = csDel_;
        // The overwriting is queued and done in batches: what is queued is wiped
        // before the run ends, a stop included.
        auto finish = [&] {
            run->FinishBatch();
            for (SecureDeleter::Left& left : run->TakeBatchReport())
                NotDone.push_back({left.path, left.line, !left.error});
        };
        if (lvFiles.Count() == 0) return;
        long checked = 0;
        for (int i = 0; i < lvFiles.Count(); ++i) checked += lvFiles.Row(i).checked ? 1 : 0;
        pbar.SetMax(checked);

        const Options options = app_.CurrentOptions();
        for (;;) {
            int row = -1;
            for (int i = 0; i < lvFiles.Count(); ++i) {
                // Left with the deletion object still held, as a stop always did.
                if (app_.StopRequested != vbFalse) return finish();
                if (lvFiles.Row(i).checked && !ScanAborted) {
                    row = i;
                    break;
                }
            }
            if (row < 0) {
                finish();
                csDel_.reset();
                return;
            }
            const ListRow& item = lvFiles.Row(row);
            const std::string name = item.text;
            const std::string path =
                (item.subItems.size() >= 2 ? item.subItems[1] : std::string()) + name;
            pbar.SetValue(pbar.Value() + 1);
            pbar.SetCaption("Deleting " + name + " ...");

            try {
                bool complete = true;
                if (options.Ticked(Option::SecureDelete))
                    complete = run->DeleteWith(options.deleteMethod, path, true);
                else
                    complete = run->DeletePlain(path, options.Value(Option::RecycleBin) != 0);
                // A stopped overwrite is the user's choice; anything else left is told.
                if (!complete)
                    for (const std::string& line : run->Report())
                        NotDone.push_back({path, line, true});
            } catch (const VbError& e) {
                // A file that cannot be deleted leaves the list all the same, and is told.
                NotDone.push_back({path, e.Description(), false});
            }
            // A batch that filled up during the call has its lines ready.
            for (SecureDeleter::Left& left : run->TakeBatchReport())
                NotDone.push_back({left.path, left.line, !left.error});
            lvFiles.Remove(row);
        }
    });
}

void FrmJunk::ReportNotDone() {
    std::vector<std::string> lines;
    for (const Leftover& left : NotDone) lines.push_back(left.line);
    TellWhatWasLeft(app_, "Some files were not deleted or not fully overwritten:", lines);
}

// ------------------------------------------------------------------ closing

void FrmJunk::Form_QueryUnload(int& /*cancel*/, int /*mode*/) {
    app_.StopRequested = vbTrue;
    ScanAborted = true;
    if (cs_) cs_->SetCancel(true);
    if (csDel_) csDel_->SetAbortDelete(true);
    app_.ReleaseShared();
}

void FrmJunk::Form_Unload(int& /*cancel*/) {
    csDel_.reset();
    cs_.reset();
    cFilCol_.reset();
}

}  // namespace velloran
