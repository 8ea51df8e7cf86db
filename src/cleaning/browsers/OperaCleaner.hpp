#pragma once
// The Opera worker of a cleaning run: today's Chromium-format profiles and Opera
// 9-12 profiles, on the desktop and in the target Windows environment.
#include <cstdint>
#include <functional>
#include <string>

#include "common/Vb.hpp"
#include "common/platform/Platform.hpp"

namespace velloran {

class OperaCleaner {
public:
    // `keepListPath` names the file of sites whose cookies stay.
    explicit OperaCleaner(Platform& platform, std::string keepListPath = {})
        : platform_(platform), keepListPath_(std::move(keepListPath)) {}

    // Asks a running Clean to stop before its next profile.
    VbBool Cancel = vbFalse;
    std::function<void(const std::string& area, const std::string& text)> OnProgress;
    std::function<void(std::int16_t number, const std::string& description,
                       const std::string& location, const std::string& extra)>
        OnError;

    // The Opera profile folder, "" when Opera has none.
    std::string ProfileFolder() const;
    // Task 1 typed addresses, 2 cache, 3 cookies, 4 form data. Reports through
    // OnProgress, and OnError for what it cannot explain; never fails.
    bool Clean(Int16 task);

private:
    void RunTask(int task);
    void Report(const std::string& text);

    Platform& platform_;
    std::string keepListPath_;
};

}  // namespace velloran
