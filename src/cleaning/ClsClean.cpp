#include "cleaning/ClsClean.hpp"

#include "app/Application.hpp"
#include "app/Completion.hpp"
#include "app/FrmMain.hpp"
#include "app/StartupDelete.hpp"
#include "cleaning/FindAnyWindow.hpp"
#include "cleaning/FrmCleaner.hpp"
#include "cleaning/ReportError.hpp"
#include "cleaning/browsers/CookieKeepList.hpp"
#include "cleaning/browsers/IECleaner.hpp"
#include "cleaning/browsers/NetscapeCleaner.hpp"
#include "cleaning/browsers/OperaCleaner.hpp"
#include "common/ModFunctions.hpp"
#include "traces/programs/ClsPrograms.hpp"
#include "traces/windows/ClsWindows.hpp"

namespace velloran {

std::string RunHeader(const std::string& user, const std::string& winVersion,
                      const std::string& windowsDirectory) {
    return "Current User: " + user + "\r\n" + "Windows Type: Microsoft Windows " + winVersion +
           "\r\n" + "Windows Directory: " + windowsDirectory;
}

const ClsClean::BrowserWindow ClsClean::kIEWindow{
    "IEFrame", "Microsoft Internet Explorer is open! \"",
    "Please close all windows. Internet Explorer jobs will be cancelled."};
const ClsClean::BrowserWindow ClsClean::kNetscapeWindow{
    "MozillaWindowClass", "Netscape browser is open! \"",
    "Please close all windows. Netscape jobs will be cancelled."};
const ClsClean::BrowserWindow ClsClean::kOperaWindow{
    "OpWindow", "Opera browser is open! \"",
    "Please close all windows. Opera jobs will be cancelled."};

ClsClean::ClsClean(Application& app) : app_(app) {}
ClsClean::~ClsClean() = default;

bool ClsClean::isJob() {
    FrmMain& main = app_.Main();
    for (const ControlArray<CheckBox>* array :
         {&main.ie_Chk, &main.ns_Chk, &main.op_Chk, &main.win_chk, &main.oprg_chk}) {
        int count = 0;
        for (int i = 0; i <= array->UBound(); ++i) {
            if (i == 0) i = 1;  // no task array has an index 0
            // A failing member is skipped, so a broken array counts as nothing ticked.
            try {
                if ((*array)(i).Value() == 1) ++count;
            } catch (const VbError&) {
            }
        }
        if (count > 0) return true;
    }
    return false;
}

void ClsClean::SaveRegistry() {
    // Every task's registry changes reach the disk once, when the run ends. A refused
    // write (the prefix's wineserver runs, the file is read-only) is the user's to
    // fix, and the store says how; it is no fault of the run.
    try {
        app_.Registry().Save();
    } catch (const VbError& e) {
        app_.LeftUndone += 1;
        WorkerProgress(
            "", "Failed: the registry changes of this run were not saved: " + e.Description());
    }
}

void ClsClean::RaiseProgress(const std::string& text, int total, int current) {
    if (Progress) Progress(text, total, current);
}

void ClsClean::AddLog(const std::string& text, Int16 total, Int16 current) {
    if (!app_.CleanerLoaded()) return;
    TextBox& log = app_.Cleaner().txtprogress;
    logSnapshot_ = log.Text();
    log.AppendLine(text);
    if (current < 1) return;
    RaiseProgress(text, total, current);
}

void ClsClean::CountTicked(const ControlArray<CheckBox>& array) {
    groupTotal_ = 0;
    groupDone_ = 0;
    Int16& index = app_.TaskIndex;
    for (index = 0; index <= array.UBound(); index += 1) {
        if (index == 0) index = 1;
        if (array(index).Value() == 1) groupTotal_ += 1;
    }
}

void ClsClean::Clean() {
    WithErrorHandler(app_, "ClsClean:Clean", [this] {
        try {
            FrmMain& main = app_.Main();
            if (app_.CleanerLoaded()) {
                Platform& platform = app_.GetPlatform();
                app_.Cleaner().txtprogress.SetText(
                    RunHeader(platform.UserName(), app_.WinVersion,
                              GetSpecialFolder(platform, CSIDL_WINDOWS)));
            }
            main.SetMousePointer(vbHourglass);
            DoWindows();
            DoIE();
            DoNetscape();
            DoOpera();
            DoPrograms();
            SaveRegistry();
            main.SetMousePointer(vbDefault);
            if (!IsTrue(browserOpen_)) {
                SuccessMsgBox(app_,
                              IsTrue(aborted_) ? "Task(s) aborted by user successfully."
                                               : "Selected Task(s) completed successfully.",
                              vbInformation);
            }
            RaiseProgress("Completed All Jobs", 10, 10);
        } catch (const ProgramEnd&) {
            SaveBeforeTheEnd(app_);
            throw;
        } catch (...) {
            // The run is over: its window goes before the report.
            if (app_.CleanerLoaded()) app_.Cleaner().Unload();
            throw;
        }
    });
}

namespace {

// A worker's Error event as the error it reports: the number is the worker's own.
VbError WorkerFault(std::int16_t number, const std::string& description,
                    const std::string& source) {
    return VbError(static_cast<VbErrorNumber>(number), description, source);
}

// Passes the cancel request to a live worker and lets go of it.
template <class Worker>
void CancelAndRelease(std::shared_ptr<Worker>& worker, bool value) {
    if (!worker) return;
    worker->Cancel = ToVb(value);
    worker.reset();
}

}  // namespace

void ClsClean::SetCancel(bool value) {
    // Only the group in progress has a worker; it notices the release at its next call.
    CancelAndRelease(cPrg_, value);
    CancelAndRelease(cwin_, value);
    CancelAndRelease(cIE_, value);
    CancelAndRelease(cNsp_, value);
    CancelAndRelease(cOpr_, value);
}

void ClsClean::WorkerProgress(const std::string& /*area*/, const std::string& text) {
    if (!app_.CleanerLoaded()) return;
    TextBox& log = app_.Cleaner().txtprogress;
    logSnapshot_ = log.Text();
    log.AppendLine(text);
}

void ClsClean::WorkerError(std::int16_t number, const std::string& description,
                           const std::string& location, const std::string& version) {
    // The worker's location stands for its source too.
    ReportError(app_, WorkerFault(number, description, location), location,
                {false, version, vbCritical});
}

void ClsClean::cIE_Error(std::int16_t number, const std::string& description,
                         const std::string& location, const std::string& source,
                         const std::string& version) {
    ReportError(app_, WorkerFault(number, description, source), location,
                {false, version, vbCritical});
}

void ClsClean::cIE_FileProgress(const std::string& folder, std::int32_t total,
                                std::int32_t current) {
    if (!app_.CleanerLoaded()) return;
    ProgressBar& bar = app_.Cleaner().pbar;
    bar.SetCaption("Deleting temp/cache files in \"" + folder + "\" ");
    bar.SetMax(total);
    bar.SetValue(current);
}

void ClsClean::cIE_Progress(const std::string& area, const std::string& text) {
    // Each "Failed:" line of the IE cleaner names something it had to leave.
    if (text.starts_with("Failed:")) app_.LeftUndone += 1;
    WorkerProgress(area, text);
}

void ClsClean::cIE_StartupDelete(const std::string& path) { RequestStartupDelete(app_, path); }

void ClsClean::AttachIE(IECleaner& worker) {
    worker.Progress = [this](const std::string& a, const std::string& t) { cIE_Progress(a, t); };
    worker.Error = [this](std::int16_t n, const std::string& d, const std::string& l,
                          const std::string& s, const std::string& v) { cIE_Error(n, d, l, s, v); };
    worker.FileProgress = [this](const std::string& f, std::int32_t t, std::int32_t c) {
        cIE_FileProgress(f, t, c);
    };
    worker.StartupDelete = [this](const std::string& p) { cIE_StartupDelete(p); };
    // The cache walk lets the window repaint its bar and handle Cancel between folders.
    worker.DoEvents = [this] { app_.GetHost().DoEvents(); };
}

void ClsClean::cNsp_Progress(const std::string& area, const std::string& text) {
    WorkerProgress(area, text);
}

void ClsClean::cNsp_Error(std::int16_t number, const std::string& description,
                          const std::string& location, const std::string& version,
                          const std::string& /*profile*/) {
    WorkerError(number, description, location, version);
}

template <class Worker>
void ClsClean::Attach(Worker& worker) {
    worker.OnProgress = [this](const std::string& area, const std::string& text) {
        WorkerProgress(area, text);
    };
    worker.OnError = [this](std::int16_t n, const std::string& d, const std::string& l,
                            const std::string& v) { WorkerError(n, d, l, v); };
}

namespace {

template <class Worker>
struct Job {
    int index;
    const char* line;  // nullptr: the box has no action of its own
    void (*run)(Worker&, Application&);
};

// A by-reference flag set to False just before each call, as the run always passed it.
template <bool (ClsWindows::*Task)(Int16&)>
void ListTask(ClsWindows& w, Application&) {
    Int16 flag = 0;
    (w.*Task)(flag);
}

using WinJob = Job<ClsWindows>;
constexpr std::array<WinJob, 13> kWindowsJobs{{
    {1, "Cleaning Desktop Stream history ...", ListTask<&ClsWindows::CleanDesktopStreamHistory>},
    {2, nullptr, nullptr},
    {3, "Cleaning Find Files history ...",
     [](ClsWindows& w, Application& a) {
         ListTask<&ClsWindows::CleanExFindFilesHistory>(w, a);
         ListTask<&ClsWindows::CleanFindFilesHistory>(w, a);
     }},
    {4, "Cleaning Find Computer history ...", ListTask<&ClsWindows::CleanFindComputerHistory>},
    {5, "Cleaning Run history ...", ListTask<&ClsWindows::CleanRunHistory>},
    {6, "Cleaning Recent Document list ...",
     [](ClsWindows& w, Application&) { w.CleanRecentDocList(); }},
    {7, "Cleaning Printer history ...", ListTask<&ClsWindows::CleanPrinterHistory>},
    {8, "Cleaning Recycle Bin ...",
     [](ClsWindows& w, Application& a) { w.EmptyRecycleBin(a.Main(), true); }},
    {9, "Cleaning Clipboard ...", [](ClsWindows& w, Application&) { w.CleanClipBoard(); }},
    // No blank before the dots in this one line; it has always read so.
    {10, "Cleaning Common Dialog history...",
     [](ClsWindows& w, Application& a) {
         ListTask<&ClsWindows::CleanCmdlogOpenSaveList>(w, a);
         ListTask<&ClsWindows::CleanCmdlgHistoryList>(w, a);
     }},
    {11, nullptr, nullptr},
    {12, "Cleaning Windows Encrypted Tracks ...", ListTask<&ClsWindows::CleanEncryptedTracks>},
    {13, "Setting Windows Page File for startup deletion ...",
     [](ClsWindows& w, Application&) { w.ClearPageFile(); }},
}};

// The typed-address, hidden-log and password calls take a by-reference count the
// run sets to 0 and never reads.
template <bool (IECleaner::*Task)(Int16&)>
void CountedIETask(IECleaner& c, Application&) {
    Int16 flag = 0;
    (c.*Task)(flag);
}

using IEJob = Job<IECleaner>;
constexpr std::array<IEJob, 7> kIEJobs{{
    {1, "Cleaning IE Type Url's history ...", CountedIETask<&IECleaner::CleanTypedUrls>},
    {2, "Cleaning IE Type Autocomplete forms ...",
     [](IECleaner& c, Application&) { c.CleanAutoCompleteForms(); }},
    {3, "Restoring IE window position ...",
     [](IECleaner& c, Application&) { c.RestoreWindowPosition(); }},
    {4, "Cleaning IE Encrypted Hidden logs ...", CountedIETask<&IECleaner::CleanHiddenLogs>},
    {5, "Cleaning IE Autocomplete passwords ...",
     CountedIETask<&IECleaner::CleanAutoCompletePasswords>},
    {6, "Cleaning IE Cache ...", [](IECleaner& c, Application& a) { c.CleanCache(a.Cleaner()); }},
    {7, "Cleaning IE history ...", [](IECleaner& c, Application&) { c.CleanHistory(); }},
}};

using PrgJob = Job<ClsPrograms>;
constexpr std::array<PrgJob, 13> kProgramJobs{{
    {1, "Cleaning Winzip Tracks ...", [](ClsPrograms& p, Application&) { p.CleanWinzipTracks(); }},
    {2, "Cleaning Frontpage file history ...",
     [](ClsPrograms& p, Application&) { p.CleanFrontpage(1); }},
    {3, "Cleaning Frontpage page history ...",
     [](ClsPrograms& p, Application&) { p.CleanFrontpage(2); }},
    {4, "Cleaning Frontpage web history ...",
     [](ClsPrograms& p, Application&) { p.CleanFrontpage(3); }},
    {5, "Cleaning Frontpage server history ...",
     [](ClsPrograms& p, Application&) { p.CleanFrontpage(4); }},
    {6, "Cleaning Frontpage visited url history ...",
     [](ClsPrograms& p, Application&) { p.CleanFrontpage(5); }},
    {7, "Cleaning Management console history ...",
     [](ClsPrograms& p, Application&) { p.CleanMMConsole(); }},
    {8, "Cleaning Media Player history ...",
     [](ClsPrograms& p, Application&) { p.CleanMediaPlayer(); }},
    {9, "Cleaning Microsoft Access history ...",
     [](ClsPrograms& p, Application&) { p.CleanMicrosoftOffice(1); }},
    {10, "Cleaning Microsoft Excel history ...",
     [](ClsPrograms& p, Application&) { p.CleanMicrosoftOffice(2); }},
    {11, "Cleaning Microsoft PowerPoint history ...",
     [](ClsPrograms& p, Application&) { p.CleanMicrosoftOffice(3); }},
    {12, "Cleaning Microsoft Word history ...",
     [](ClsPrograms& p, Application&) { p.CleanMicrosoftOffice(4); }},
    {13, "Cleaning Netmeeting call history ...",
     [](ClsPrograms& p, Application&) { p.CleanNetMeeting(); }},
}};

// Every Netscape box calls the one cleaning operation with its own index.
void NetscapeTask(NetscapeCleaner& cleaner, Application& app) {
    std::string unused;
    cleaner.Clean(app.TaskIndex, unused);
}

using NspJob = Job<NetscapeCleaner>;
constexpr std::array<NspJob, 4> kNetscapeJobs{{
    {1, "Cleaning Netscape Type Url's history ...", NetscapeTask},
    {2, "Cleaning Netscape Cache ...", NetscapeTask},
    {3, "Cleaning Netscape Cookies ...", NetscapeTask},
    {4, "Cleaning Netscape form data ...", NetscapeTask},
}};

// Every Opera box calls the one cleaning operation with its own index as the task.
void OperaTask(OperaCleaner& o, Application& a) { o.Clean(a.TaskIndex); }

using OprJob = Job<OperaCleaner>;
constexpr std::array<OprJob, 4> kOperaJobs{{
    {1, "Cleaning Opera Type Url's history ...", OperaTask},
    {2, "Cleaning Opera Cache ...", OperaTask},
    {3, "Cleaning Opera Cookies ...", OperaTask},
    {4, "Cleaning Opera form data ...", OperaTask},
}};

}  // namespace

template <class Worker, class JobT, std::size_t N>
void ClsClean::RunJobs(const ControlArray<CheckBox>& array, std::shared_ptr<Worker>& member,
                       const std::array<JobT, N>& jobs, bool pumpEvents) {
    Int16& index = app_.TaskIndex;
    for (index = 0; index <= array.UBound(); index += 1) {
        if (index == 0) index = 1;
        if (array(index).Value() == 1) {
            for (const auto& job : jobs) {
                if (job.index != index || job.line == nullptr) continue;
                groupDone_ += 1;
                AddLog(job.line, groupTotal_, index);
                // Cancel may have released the worker during the last DoEvents:
                // the call then fails like a call on a released object.
                std::shared_ptr<Worker> worker = member;
                job.run(Require(worker), app_);
            }
        }
        if (pumpEvents) app_.GetHost().DoEvents();
    }
}

void ClsClean::DoWindows() {
    WithErrorHandler(app_, "ClsClean:DoWindows", [this] {
        const ControlArray<CheckBox>& boxes = app_.Main().win_chk;
        CountTicked(boxes);
        if (groupTotal_ == 0) return;
        AddLog("Verifying Windows jobs...", groupTotal_, 0);
        cwin_ = std::make_shared<ClsWindows>(app_);
        Attach(*cwin_);
        RunJobs(boxes, cwin_, kWindowsJobs, true);
        cwin_.reset();
        RaiseProgress("Completed Windows jobs...", groupTotal_, groupDone_);
    });
}

bool ClsClean::BrowserWindowOpen(const BrowserWindow& browser) {
    if (!IsTrue(FindAnyWindow(app_, browser.windowClass, windowTitle_, vbFalse))) return false;
    browserOpen_ = vbTrue;
    aborted_ = vbTrue;
    app_.MsgBox(std::string(browser.firstText) + Utf8Left(windowTitle_, 30) + "...\"," + "\r\n" +
                    browser.lastText,
                vbInformation);
    return true;
}

void ClsClean::DoIE() {
    WithErrorHandler(app_, "ClsClean:DoIE", [this] {
        const ControlArray<CheckBox>& boxes = app_.Main().ie_Chk;
        CountTicked(boxes);
        if (groupTotal_ == 0) return;
        if (BrowserWindowOpen(kIEWindow)) return;
        AddLog("Verifying IE jobs...", groupTotal_, 0);
        app_.GetHost().DoEvents();
        cIE_ = std::make_shared<IECleaner>(app_.Registry(), app_.GetPlatform(), app_.VersionText());
        AttachIE(*cIE_);
        RunJobs(boxes, cIE_, kIEJobs, false);
        cIE_.reset();
        RaiseProgress("Completed IE jobs...", groupTotal_, groupDone_);
    });
}

void ClsClean::DoNetscape() {
    WithErrorHandler(app_, "ClsClean:DoNetscape", [this] {
        const ControlArray<CheckBox>& boxes = app_.Main().ns_Chk;
        CountTicked(boxes);
        if (groupTotal_ == 0) return;
        if (BrowserWindowOpen(kNetscapeWindow)) return;
        AddLog("Verifying Netscape jobs...", groupTotal_, 0);
        Platform& platform = app_.GetPlatform();
        cNsp_ = std::make_shared<NetscapeCleaner>(
            platform, GeckoLocations::FromEnvironment(platform),
            CookieKeepList::Load(platform, CookieKeepList::DefaultPath()), app_.VersionText());
        cNsp_->OnProgress = [this](const std::string& a, const std::string& t) {
            cNsp_Progress(a, t);
        };
        cNsp_->OnError = [this](std::int16_t n, const std::string& d, const std::string& l,
                                const std::string& v,
                                const std::string& p) { cNsp_Error(n, d, l, v, p); };
        RunJobs(boxes, cNsp_, kNetscapeJobs, false);
        cNsp_.reset();
        RaiseProgress("Completed Netscape jobs...", groupTotal_, groupDone_);
    });
}

void ClsClean::DoOpera() {
    WithErrorHandler(app_, "ClsClean:DoOpera", [this] {
        const ControlArray<CheckBox>& boxes = app_.Main().op_Chk;
        CountTicked(boxes);
        if (groupTotal_ == 0) return;
        if (BrowserWindowOpen(kOperaWindow)) return;
        // Lower-case "opera": the line has always read so.
        AddLog("Verifying opera jobs...", groupTotal_, 0);
        cOpr_ = std::make_shared<OperaCleaner>(app_.GetPlatform(), CookieKeepList::DefaultPath());
        Attach(*cOpr_);
        RunJobs(boxes, cOpr_, kOperaJobs, false);
        cOpr_.reset();
        RaiseProgress("Completed Opera jobs...", groupTotal_, groupDone_);
    });
}

void ClsClean::DoPrograms() {
    WithErrorHandler(app_, "ClsClean:DoPrograms", [this] {
        const ControlArray<CheckBox>& boxes = app_.Main().oprg_chk;
        CountTicked(boxes);
        if (groupTotal_ == 0) return;
        AddLog("Verifying program jobs...", groupTotal_, 0);
        cPrg_ = std::make_shared<ClsPrograms>(app_);
        Attach(*cPrg_);
        RunJobs(boxes, cPrg_, kProgramJobs, false);
        cPrg_.reset();
        RaiseProgress("Completed program jobs...", groupTotal_, groupDone_);
    });
}

}  // namespace velloran
