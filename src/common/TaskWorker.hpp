#pragma once
// The one shape of every cleaning worker (the Windows and program traces, each
// browser family): its events, its Cancel flag, and the outcome of its tasks.
// The run attaches the events once, whatever the worker.
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "common/Outcome.hpp"
#include "common/Vb.hpp"

namespace velloran {

// A worker's Error event: number, description, where ("ClsWindows:CleanRunHistory"),
// the source as reported (the location unless the worker knows better) and the
// version text the worker was given.
struct WorkerFault {
    std::int16_t number = 0;
    std::string description;
    std::string location;
    std::string source;
    std::string version;
};

class TaskWorker {
public:
    TaskWorker() = default;
    virtual ~TaskWorker() = default;

    // Written True by the run when the user cancels; tested for True.
    VbBool Cancel = vbFalse;

    // Area ("Windows", "Netscape") and one finished log line.
    std::function<void(const std::string&, const std::string&)> OnProgress;
    std::function<void(const WorkerFault&)> OnError;
    // Folder being emptied, its file count and the position in it.
    std::function<void(const std::string&, std::int32_t, std::int32_t)> OnFileProgress;
    // A file in use, for the deletion at the next start.
    std::function<void(const std::string&)> OnStartupDelete;
    // Lets pending window messages run (Cancel is handled there).
    std::function<void()> OnDoEvents;

    // What the tasks did since the last take.
    Outcome TakeOutcome() { return std::exchange(outcome_, {}); }

protected:
    Outcome& Result() { return outcome_; }
    void RaiseError(WorkerFault fault) {
        if (fault.source.empty()) fault.source = fault.location;
        if (OnError) OnError(fault);
    }

private:
    Outcome outcome_;
};

}  // namespace velloran
