// Error locations are the program's own and kept as written, including the run's
// "FrmCleaner:FileERadicator", which names another window.
#include "app/frmErad.hpp"

#include <cmath>
#include <set>

#include "app/Application.hpp"
#include "cleaning/Completion.hpp"
#include "cleaning/StartupDelete.hpp"
#include "common/ErrorHandler.hpp"
#include "common/ModFunctions.hpp"
#include "common/Text.hpp"
#include "common/controls/ModListView.hpp"
#include "common/platform/FolderSize.hpp"
#include "common/platform/Paths.hpp"
#include "tools/eradicator/FileFinder.hpp"
#include "tools/eradicator/SecureDeleter.hpp"

namespace velloran {

namespace {

constexpr std::int16_t kShownPath = 42;

std::string NameOf(const std::string& path) { return SplitAtLastSeparator(path).second; }

// A percentage as a rounded 16-bit integer; an empty total counts as all done.
std::int16_t Percent(double done, double total) {
    if (total <= 0) return 100;
    return static_cast<std::int16_t>(std::lround(done * 100.0 / total));
}

}  // namespace

frmErad::frmErad(Application& app) : Form(app.GetHost(), "frmErad"), app_(app) { BuildControls(); }

frmErad::~frmErad() = default;

void frmErad::BuildControls() {
    SetCaption("File Eradicator");
    lview.AddColumn("File");
    lviewF.AddColumn("Folder");
    cmdadd.SetCaption("Add File");
    cmdaddf.SetCaption("Add Folder");
    cmdremove.SetCaption("Remove");
    cmdremovef.SetCaption("Remove");
    cmdwipe.SetCaption("Eradicate Files");
    cmdwipef.SetCaption("Eradicate Folders");
    pbar.SetMax(100);
    cmdadd.OnClick = [this] { cmdadd_Click(); };
    cmdaddf.OnClick = [this] { cmdaddf_Click(); };
    cmdremove.OnClick = [this] { cmdremove_Click(); };
    cmdremovef.OnClick = [this] { cmdremovef_Click(); };
    cmdwipe.OnClick = [this] { cmdwipe_Click(); };
    cmdwipef.OnClick = [this] { cmdwipef_Click(); };
}

void frmErad::Form_Load() {
    lview.Clear();
    lviewF.Clear();
    pbar.SetCaption("");
    pbar.SetValue(0);
    SetTag("");
    FitLastColumn(lview);
    FitLastColumn(lviewF);
}

// ------------------------------------------------------------------ the lists

void frmErad::AddToEradicator(const std::string& path) {
    WithErrorHandler(app_, "FrmErad:AddToEradicator", [&] {
        Platform& platform = app_.GetPlatform();
        try {
            if (platform.FileExists(path) || platform.FileSize(path)) {
                lview.Add(path, NameOf(path));
                FitColumns(lview);
            } else if (platform.DirectoryExists(path)) {
                lviewF.Add(path, path);
            }
        } catch (const VbError& e) {
            if (e.Number() != vbErrKeyNotUnique) throw;
            app_.MsgBox("File or Folder already exist in the list!", vbExclamation);
        }
    });
}

void frmErad::DropFiles(const std::vector<std::string>& paths) {
    for (const std::string& p : paths) AddToEradicator(p);
}

void frmErad::cmdadd_Click() {
    WithErrorHandler(app_, "FrmErad:cmdadd:Click", [&] {
        try {
            for (const std::string& file :
                 GetHost().OpenFilesDialog("Select a file to eradicate", "All Files(*.*)|*.*"))
                if (!file.empty()) AddToEradicator(file);
        } catch (const VbError& e) {
            if (e.Number() != vbErrKeyNotUnique) throw;
            app_.MsgBox("File already exist in the list.", vbExclamation);
        }
    });
}

void frmErad::cmdaddf_Click() {
    WithErrorHandler(app_, "FrmErad:cmdaddf:Click", [&] {
        const std::string folder = GetHost().BrowseForFolder("Select a folder to eradicate.");
        if (folder.empty()) return;
        try {
            lviewF.Add(folder, folder);
            FitLastColumn(lviewF);
        } catch (const VbError& e) {
            if (e.Number() != vbErrKeyNotUnique) throw;
            app_.MsgBox("Folder already exist in the list.", vbExclamation);
        }
    });
}

void frmErad::cmdremove_Click() {
    if (lview.Count() > 0 && lview.SelectedIndex() >= 0) lview.Remove(lview.SelectedIndex());
}

void frmErad::cmdremovef_Click() {
    if (lviewF.Count() > 0 && lviewF.SelectedIndex() >= 0) lviewF.Remove(lviewF.SelectedIndex());
}

// ------------------------------------------------------------------ the run

void frmErad::cmdwipe_Click() {
    WithErrorHandler(app_, "FrmErad:cmdwipe:Click", [&] {
        if (lview.Count() == 0) {
            app_.MsgBox("Nothing to delete! Please add a file to the list.", vbExclamation);
            return;
        }
        if (app_.MsgBox("Please confirm that you will like to delete the selected file(s).",
                        vbQuestion | vbYesNo) == vbNo)
            return;
        SetTag(std::to_string(kModeFiles));
        FileERadicator(kModeFiles);
    });
}

void frmErad::cmdwipef_Click() {
    WithErrorHandler(app_, "FrmErad:cmdwipef:Click", [&] {
        // Folders go whole: the same question as for files, once there is something.
        if (lviewF.Count() > 0 &&
            app_.MsgBox("Please confirm that you will like to delete the selected folder(s).",
                        vbQuestion | vbYesNo) == vbNo)
            return;
        SetTag(std::to_string(kModeFolders));
        FileERadicator(kModeFolders);
    });
}

void frmErad::FileERadicator(int mode) {
    WithErrorHandler(app_, "FrmCleaner:FileERadicator", [&] {
        app_.StopRequested = vbFalse;
        NotDone.clear();
        warnedCopyOnWrite_ = false;
        if (mode == kModeFolders)
            RunFolders();
        else if (mode == kModeFiles)
            RunFiles();
        EndRun();
    });
}

void frmErad::RunFiles() {
    pbar.SetCaption("Preparing & loading libraries ....");
    const int n = lview.Count();
    std::vector<std::string> paths;
    for (int i = 0; i < n; ++i) paths.push_back(lview.Row(i).key);
    WarnOncePerRun(paths);
    pbar.SetMax(n);
    pbar.SetVisible(true);
    long erased = 0;
    Platform& platform = app_.GetPlatform();
    for (;;) {
        if (IsTrue(app_.StopRequested)) return;
        if (lview.Count() == 0) break;
        const std::string path = lview.Row(0).key;
        if (platform.FileExists(path) || platform.FileSize(path)) {
            ++erased;
            pbar.SetCaption("Erasing " + NameOf(path) + "...");
            EradicateFile(path);
            GetHost().DoEvents();
        }
        lview.Remove(0);
        pbar.SetValue(erased);
    }
    // The rows there were at the start, not the files found: kept so.
    pbar.SetCaption(std::to_string(n) + " file(s) eradicated.\r\n");
}

void frmErad::RunFolders() {
    Platform& platform = app_.GetPlatform();
    fF_ = std::make_shared<FileFinder>(platform);
    fF_->FoundFile.Connect(
        [this](const std::string& folder, const std::string& name) { fF_FoundFile(folder, name); });
    pbar.SetCaption("Preparing & loading libraries ....");
    const int n = lviewF.Count();
    std::vector<std::string> folders;
    for (int i = 0; i < n; ++i) folders.push_back(lviewF.Row(i).key);
    WarnOncePerRun(folders);
    const std::int16_t recycle =
        app_.CurrentOptions().Ticked(Option::RecycleBin) ? vbTrue : vbFalse;
    for (;;) {
        if (lviewF.Count() == 0) break;
        if (IsTrue(app_.StopRequested)) return;
        std::string folder = lviewF.Row(0).key;
        folderSize_ = static_cast<double>(MeasureFolder(platform, folder).bytes);
        erasedBytes_ = 0;
        pbar.SetMax(static_cast<long>(folderSize_));
        fF_->Search(folder, "*.*");
        const std::string shown = folder;
        ShellDelete(app_, kShellOpDelete, folder, recycle);
        if (platform.DirectoryExists(folder))
            NotDone.push_back(shown + ": the folder could not be removed (something in it stayed)");
        GetHost().DoEvents();
        lviewF.Remove(0);
    }
    fF_.reset();
    pbar.SetCaption(std::to_string(n) + " folder(s) eradicated.\r\n");
}

void frmErad::EndRun() {
    const bool files = Tag() == std::to_string(kModeFiles);
    TellWhatWasLeft(app_, "Some files were not removed or not overwritten:", NotDone);
    if (IsTrue(app_.StopRequested)) {
        SuccessMsgBox(app_, "Selected task(s) aborted by user successfully!", vbInformation,
                      app_.CurrentOptions());
        if (files) pbar.SetCaption("File(s) Eradication Aborted by user.");
        if (Tag() == std::to_string(kModeFolders))
            pbar.SetCaption("Folder(s) Eradication Aborted by user.");
    } else {
        SuccessMsgBox(app_, "Selected task(s) completed successfully!", vbInformation,
                      app_.CurrentOptions());
        if (files) pbar.SetCaption("File(s) Eradication Completed.");
        if (Tag() == std::to_string(kModeFolders))
            pbar.SetCaption("Folder(s) Eradication Completed.");
    }
    Unload();
}

// Overwriting in place cannot reach old copies on some file systems: said once,
// before anything is wiped.
void frmErad::WarnOncePerRun(const std::vector<std::string>& paths) {
    if (!app_.CurrentOptions().Ticked(Option::SecureDelete) || warnedCopyOnWrite_) return;
    std::set<std::string> notes;
    for (const std::string& p : paths)
        if (std::string note = app_.GetPlatform().OverwriteCaveat(p); !note.empty())
            notes.insert(note);
    if (notes.empty()) return;
    warnedCopyOnWrite_ = true;
    std::string text =
        "Overwriting cannot promise that the old contents are gone from the disk here:";
    for (const std::string& n : notes) text += "\r\n" + n;
    app_.MsgBox(text, vbInformation);
}

void frmErad::EradicateFile(const std::string& path) {
    Platform& platform = app_.GetPlatform();
    const Options options = app_.CurrentOptions();
    csDel_ = std::make_shared<SecureDeleter>(platform);
    std::shared_ptr<SecureDeleter> deleter = csDel_;
    deleter->SetPump([this] { GetHost().DoEvents(); });
    deleter->DeleteProgress.Connect([this](const std::string& p, double total, double done) {
        csDel_DeleteProgress(p, total, done);
    });
    try {
        bool complete = true;
        const bool secure = options.Ticked(Option::SecureDelete);
        const int recycle = options.Value(Option::RecycleBin);
        // A link is removed itself, never overwritten through.
        if (secure && !platform.FileSize(path))
            platform.DeleteFileEntry(path);
        else if (secure)
            complete = deleter->DeleteWith(options.deleteMethod, path, false);
        else if (recycle == 0 || recycle == 1)
            complete = deleter->DeletePlain(path, recycle == 1);
        if (!complete && !deleter->AbortDelete())
            for (const std::string& line : deleter->Report()) NotDone.push_back(line);
    } catch (const VbError& e) {
        NotDone.push_back(e.Description());
    }
    csDel_.reset();
}

void frmErad::fF_FoundFile(const std::string& folder, const std::string& name) {
    if (Tag() != std::to_string(kModeFolders)) return;
    pbar.SetVisible(true);
    const std::string path = JoinPath(folder, name);
    Platform& platform = app_.GetPlatform();
    if (const auto size = platform.FileSize(path)) {
        EradicateFile(path);
        GetHost().DoEvents();
        erasedBytes_ += static_cast<double>(*size);
    }
    lastPercent_ = Percent(erasedBytes_, folderSize_);
    SetProgressText(path, erasedBytes_, folderSize_);
}

void frmErad::csDel_DeleteProgress(const std::string& path, double total, double done) {
    if (Tag() == std::to_string(kModeFolders)) return;
    SetProgressText(path, done, total);
}

void frmErad::SetProgressText(const std::string& path, double done, double total) {
    pbar.SetCaption(" Eradicating " + ShortenPath(path, kShownPath) + " - " +
                    std::to_string(Percent(done, total)) + "%");
}

// ------------------------------------------------------------------ closing

void frmErad::Form_QueryUnload(int& /*cancel*/, int /*mode*/) {
    app_.StopRequested = vbTrue;
    if (fF_) fF_->Cancel = vbTrue;
    if (csDel_) csDel_->SetAbortDelete(true);
}

void frmErad::Form_Unload(int& /*cancel*/) {
    fF_.reset();
    csDel_.reset();
}

}  // namespace velloran
