#pragma once
// The worker of the "Chromium-based browsers" box group: Google Chrome, Chromium,
// Microsoft Edge, Brave and Vivaldi (ChromiumFamilyBrowsers), every profile of
// every folder they use on this system. Each browser is a row of data; the work is
// the Chromium-format engine's, shared with Opera.
#include <cstdint>
#include <functional>
#include <string>

#include "cleaning/browsers/ChromiumProfiles.hpp"
#include "common/TaskWorker.hpp"
#include "common/Vb.hpp"
#include "common/platform/Platform.hpp"

namespace velloran {

class ChromiumFamilyCleaner : public TaskWorker {
public:
    // The folders come from the environment. `keepListPath` names the file of sites
    // whose cookies stay; `versionText` is handed to OnError as its last value.
    explicit ChromiumFamilyCleaner(Platform& platform, std::string keepListPath = {},
                                   std::string versionText = {});
    ChromiumFamilyCleaner(Platform& platform, ChromiumLocations where, std::string keepListPath,
                          std::string versionText);

    // Events: OnProgress with the category "Chromium"; OnError after the failure
    // lines of a task that could not do everything, and for what it cannot explain.
    // Cancel stops a running Clean before its next profile.

    // True when one of the browsers has a profile here.
    bool IsInstalled() const;
    // Task 1 typed addresses, 2 cache, 3 cookies, 4 form data, in every profile.
    // A profile whose browser runs is left untouched and the log says so. Reports
    // through OnProgress, and OnError for what it cannot explain; never fails.
    bool Clean(Int16 task);

private:
    void RunTask(int task);
    void Report(const std::string& text);
    void Failed(const std::string& text);
    std::string firstFailure_;

    Platform& platform_;
    ChromiumLocations where_;
    std::string keepListPath_;
    std::string versionText_;
};

}  // namespace velloran
