#pragma once
// What the two trace workers share: their events, their Cancel flag, and the list
// procedure that clears a registry most-recently-used list.
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/TaskWorker.hpp"
#include "common/Vb.hpp"

namespace velloran {

class WorkContext;
class KelRegistry;

// Ends a task by its cancelled path: nothing more is written, no event is raised.
struct TaskCancelled {};

enum class TaskEnd { Done, Cancelled, Failed };

class TraceWorker : public TaskWorker {
public:
    TraceWorker(WorkContext& context, std::string className, std::string area)
        : ctx_(context), className_(std::move(className)), area_(std::move(area)) {}
    ~TraceWorker() override;

protected:
    // A fresh registry object for the task, held module-wide until the next task.
    KelRegistry& NewRegistry();
    KelRegistry& Registry();
    // Clears the values of KeyPath\list under HKEY_CURRENT_USER, "(Default)" kept;
    // `select` chooses which values count (all when empty). Adds to `count`.
    void ClearList(const std::string& keyPath, const std::string& list, Int16& count,
                   const std::function<bool(const std::string&)>& select = {});
    // Removes every subkey of `keyPath` whole, adding to `count`.
    void ClearSubkeys(const std::string& keyPath, Int16& count);
    void RaiseProgress(const std::string& text);
    // One "Not removed:" line for each thing left, and the run counts them.
    void ReportLeftovers(const std::vector<std::string>& left);
    // The failure path: the failure line (when there is one), then Error.
    void Fail(const std::string& method, const std::string& failureText, int number,
              const std::string& description);
    // Runs one task body with the worker's error path: a failure raises the
    // failure line and Error; a cancel raises nothing.
    TaskEnd RunTask(const std::string& method, const std::string& failureText,
                    const std::function<void()>& body);

    WorkContext& ctx_;

private:
    std::string className_;
    std::string area_;
};

}  // namespace velloran
