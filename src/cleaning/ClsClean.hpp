#pragma once
// One cleaning run over a plan: the header, every group of the catalogue in its
// fixed order, the closing message and the final progress event. The run sees
// the windows only through the shell; what each task did adds up in the shell's
// outcome.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "cleaning/Plan.hpp"
#include "common/Vb.hpp"

namespace velloran {

class ProgramShell;
class TaskWorker;
struct GroupInfo;
struct WorkerFault;

class ClsClean {
public:
    ClsClean(ProgramShell& shell, Plan plan);
    ~ClsClean();

    // Text, Total, Current; handled by the progress window as cs_Progress.
    std::function<void(const std::string&, int, int)> Progress;

    // Whether any task box of the plan is ticked.
    bool isJob() const;
    void Clean();
    // Passes a cancel request to the worker that is alive and releases it.
    void SetCancel(bool value);

    // One group: counts its ticked boxes, checks its browser, runs its tasks.
    void RunGroup(const GroupInfo& group);

    // Appends one line to the log; a current position above 0 also moves the bar.
    void AddLog(const std::string& text, Int16 total, Int16 current);

    Int16 GroupTotal() const { return groupTotal_; }
    Int16 GroupDone() const { return groupDone_; }
    const std::string& LogSnapshot() const { return logSnapshot_; }
    VbBool Aborted() const { return aborted_; }
    VbBool BrowserOpen() const { return browserOpen_; }
    // The worker of the group in progress; null between groups and after a cancel.
    std::shared_ptr<TaskWorker> Worker() const { return worker_; }
    const Plan& GetPlan() const { return plan_; }

    // Worker event handlers.
    void WorkerProgress(const std::string& area, const std::string& text);
    void WorkerError(const WorkerFault& fault);
    // Shows the cache folder being emptied in the progress bar; the log is not touched.
    void WorkerFileProgress(const std::string& folder, std::int32_t total, std::int32_t current);
    // Puts the path on the start-up deletion list; nothing is logged.
    void WorkerStartupDelete(const std::string& path);

private:
    bool BrowserWindowOpen(const GroupInfo& group);
    void SaveRegistry();
    // Steps 1-2 of every group: count the ticked boxes, index 0 never examined.
    void CountTicked(std::size_t group, int upper);
    void RaiseProgress(const std::string& text, int total, int current);
    void Attach(TaskWorker& worker);
    // The log line and the worker call of each ticked box.
    void RunJobs(const GroupInfo& group, int upper);

    ProgramShell& shell_;
    Plan plan_;
    std::shared_ptr<TaskWorker> worker_;
    Int16 groupTotal_;
    Int16 groupDone_;
    std::string logSnapshot_;
    VbBool aborted_ = vbFalse;
    VbBool browserOpen_ = vbFalse;
    std::string windowTitle_;
};

// The run header: user, Windows type and Windows directory, three lines.
std::string RunHeader(const std::string& user, const std::string& winVersion,
                      const std::string& windowsDirectory);

}  // namespace velloran
