#pragma once
// The Opera worker of a cleaning run: today's Chromium-format profiles and Opera
// 9-12 profiles, on the desktop and in the target Windows environment.
#include <cstdint>
#include <functional>
#include <string>

#include "common/TaskWorker.hpp"
#include "common/Vb.hpp"
#include "common/platform/Platform.hpp"

namespace velloran {

class OperaCleaner : public TaskWorker {
public:
    // `keepListPath` names the file of sites whose cookies stay.
    explicit OperaCleaner(Platform& platform, std::string keepListPath = {})
        : platform_(platform), keepListPath_(std::move(keepListPath)) {}

    // Events: OnProgress with the category "Opera"; OnError after the failure
    // lines of a task that could not do everything, and for what it cannot explain.
    // Cancel stops a running Clean before its next profile.

    // The Opera profile folder, "" when Opera has none.
    std::string ProfileFolder() const;
    // Task 1 typed addresses, 2 cache, 3 cookies, 4 form data. Reports through
    // OnProgress, and OnError for what it cannot explain; never fails.
    bool Clean(Int16 task);

private:
    void RunTask(int task);
    void Report(const std::string& text);
    void Failed(const std::string& text);
    std::string firstFailure_;

    Platform& platform_;
    std::string keepListPath_;
};

}  // namespace velloran
