#include "cleaning/ClsClean.hpp"

#include <algorithm>

#include "cleaning/Completion.hpp"
#include "cleaning/FindAnyWindow.hpp"
#include "cleaning/ReportError.hpp"
#include "cleaning/Shell.hpp"
#include "cleaning/StartupDelete.hpp"
#include "cleaning/TaskCatalogue.hpp"
#include "common/ModFunctions.hpp"
#include "common/TaskWorker.hpp"
#include "common/controls/Controls.hpp"
#include "common/controls/Form.hpp"

namespace velloran {

std::string RunHeader(const std::string& user, const std::string& winVersion,
                      const std::string& windowsDirectory) {
    return "Current User: " + user + "\r\n" + "Windows Type: Microsoft Windows " + winVersion +
           "\r\n" + "Windows Directory: " + windowsDirectory;
}

ClsClean::ClsClean(ProgramShell& shell, Plan plan) : shell_(shell), plan_(std::move(plan)) {}
ClsClean::~ClsClean() = default;

bool ClsClean::isJob() const { return plan_.AnyTicked(); }

void ClsClean::SaveRegistry() {
    // Every task's registry changes reach the disk once, when the run ends. A refused
    // write (the prefix's wineserver runs, the file is read-only) undoes what the
    // registry tasks reported: it is said in the log, and the error report ends the
    // run instead of the success message. The store's message says how to fix it.
    try {
        shell_.Registry().Save();
    } catch (const VbError& e) {
        Outcome left;
        left.Failed("registry", e.Description());
        shell_.Outcome.AddUntasked(left);
        WorkerProgress(
            "", "Failed: the registry changes of this run were not saved: " + e.Description());
        ReportError(shell_, e, "ClsClean:SaveRegistry");
    }
}

void ClsClean::RaiseProgress(const std::string& text, int total, int current) {
    if (Progress) Progress(text, total, current);
}

void ClsClean::AddLog(const std::string& text, Int16 total, Int16 current) {
    RunView* view = shell_.LoadedRunView();
    if (!view) return;
    TextBox& log = view->Log();
    logSnapshot_ = log.Text();
    log.AppendLine(text);
    if (current < 1) return;
    RaiseProgress(text, total, current);
}

void ClsClean::CountTicked(std::size_t group, int upper) {
    groupTotal_ = 0;
    groupDone_ = 0;
    Int16& index = shell_.TaskIndex;
    for (index = 0; index <= upper; index += 1) {
        if (index == 0) index = 1;
        if (plan_.Value(group, index) == 1) groupTotal_ += 1;
    }
}

void ClsClean::Clean() {
    WithErrorHandler(shell_, "ClsClean:Clean", [this] {
        try {
            if (RunView* view = shell_.LoadedRunView()) {
                Platform& platform = shell_.GetPlatform();
                view->Log().SetText(RunHeader(platform.UserName(), shell_.WinVersion,
                                              GetSpecialFolder(platform, CSIDL_WINDOWS)));
            }
            Form& main = shell_.MainForm();
            main.SetMousePointer(vbHourglass);
            for (const GroupInfo& group : TaskArrays()) RunGroup(group);
            SaveRegistry();
            main.SetMousePointer(vbDefault);
            // After a failure the error report has ended the program; no success follows it.
            if (!IsTrue(browserOpen_)) {
                SuccessMsgBox(shell_,
                              IsTrue(aborted_) ? "Task(s) aborted by user successfully."
                                               : "Selected Task(s) completed successfully.",
                              vbInformation, plan_.options);
            }
            RaiseProgress("Completed All Jobs", 10, 10);
        } catch (const ProgramEnd&) {
            SaveBeforeTheEnd(shell_);
            throw;
        } catch (...) {
            // The run is over: its window goes before the report.
            if (RunView* view = shell_.LoadedRunView()) view->Window().Unload();
            throw;
        }
    });
}

void ClsClean::SetCancel(bool value) {
    // Only the group in progress has a worker; it notices the release at its next call.
    if (!worker_) return;
    worker_->Cancel = ToVb(value);
    worker_.reset();
}

void ClsClean::WorkerProgress(const std::string& /*area*/, const std::string& text) {
    RunView* view = shell_.LoadedRunView();
    if (!view) return;
    TextBox& log = view->Log();
    logSnapshot_ = log.Text();
    log.AppendLine(text);
}

void ClsClean::WorkerError(const WorkerFault& fault) {
    // A worker's Error event as the error it reports: the number is the worker's own.
    ReportError(shell_,
                VbError(static_cast<VbErrorNumber>(fault.number), fault.description,
                        fault.source.empty() ? fault.location : fault.source),
                fault.location, {false, fault.version, vbCritical});
}

void ClsClean::WorkerFileProgress(const std::string& folder, std::int32_t total,
                                  std::int32_t current) {
    RunView* view = shell_.LoadedRunView();
    if (!view) return;
    ProgressBar& bar = view->Bar();
    bar.SetCaption("Deleting temp/cache files in \"" + folder + "\" ");
    bar.SetMax(total);
    bar.SetValue(current);
}

void ClsClean::WorkerStartupDelete(const std::string& path) { RequestStartupDelete(shell_, path); }

void ClsClean::Attach(TaskWorker& worker) {
    worker.OnProgress = [this](const std::string& a, const std::string& t) {
        WorkerProgress(a, t);
    };
    worker.OnError = [this](const WorkerFault& f) { WorkerError(f); };
    worker.OnFileProgress = [this](const std::string& f, std::int32_t t, std::int32_t c) {
        WorkerFileProgress(f, t, c);
    };
    worker.OnStartupDelete = [this](const std::string& p) { WorkerStartupDelete(p); };
    // Long work lets the window repaint its bar and handle Cancel between items.
    worker.OnDoEvents = [this] { shell_.GetHost().DoEvents(); };
}

void ClsClean::RunJobs(const GroupInfo& group, int upper) {
    const std::size_t position = GroupPosition(group);
    Int16& index = shell_.TaskIndex;
    for (index = 0; index <= upper; index += 1) {
        if (index == 0) index = 1;
        const TaskInfo* task = FindTask(group, index);
        if (plan_.Value(position, index) == 1 && task && task->line) {
            groupDone_ += 1;
            AddLog(task->line, groupTotal_, index);
            // Cancel may have released the worker during the last DoEvents: the
            // call then fails like a call on a released object.
            std::shared_ptr<TaskWorker> worker = worker_;
            TaskWorker& alive = Require(worker);
            // A failing task ends the program from inside the call; what it did
            // is counted first.
            struct Collect {
                ProgramShell& shell;
                TaskWorker& worker;
                std::string name;
                ~Collect() { shell.Outcome.Add(name, worker.TakeOutcome()); }
            } collect{shell_, alive, std::string(group.name) + "." + std::string(task->name)};
            task->run(alive, shell_);
        }
        if (group.pumpAfterEachBox) shell_.GetHost().DoEvents();
    }
}

bool ClsClean::BrowserWindowOpen(const GroupInfo& group) {
    const BrowserWindowCheck* browser = group.browser;
    if (!browser) return false;
    if (!IsTrue(FindAnyWindow(shell_, browser->windowClass, windowTitle_, vbFalse))) return false;
    browserOpen_ = vbTrue;
    aborted_ = vbTrue;
    Outcome skipped;
    skipped.Skipped(std::string(group.name), SkipReason::InUse);
    shell_.Outcome.Add(std::string(group.name), skipped);
    shell_.MsgBox(std::string(browser->firstText) + Utf8Left(windowTitle_, 30) + "...\"," + "\r\n" +
                      browser->lastText,
                  vbInformation);
    return true;
}

void ClsClean::RunGroup(const GroupInfo& group) {
    WithErrorHandler(shell_, group.location, [&] {
        int upper = 0;
        for (const TaskInfo& task : group.tasks) upper = std::max(upper, task.index);
        CountTicked(GroupPosition(group), upper);
        if (groupTotal_ == 0) return;
        if (BrowserWindowOpen(group)) return;
        AddLog(group.verifying, groupTotal_, 0);
        if (group.pumpAfterVerifying) shell_.GetHost().DoEvents();
        worker_ = group.makeWorker(shell_);
        Attach(*worker_);
        RunJobs(group, upper);
        worker_.reset();
        RaiseProgress(group.completed, groupTotal_, groupDone_);
    });
}

}  // namespace velloran
