#pragma once
// The worker of the "Chromium-based browsers" box group: Google Chrome, Chromium,
// Microsoft Edge, Brave and Vivaldi (ChromiumFamilyBrowsers), every profile of
// every folder they use on this system. Each browser is a row of data; the work is
// the Chromium-format engine's, shared with Opera.
#include <cstdint>
#include <functional>
#include <string>

#include "cleaning/browsers/ChromiumProfiles.hpp"
#include "common/Vb.hpp"
#include "common/platform/Platform.hpp"

namespace velloran {

class ChromiumFamilyCleaner {
public:
    // The folders come from the environment. `keepListPath` names the file of sites
    // whose cookies stay; `versionText` is handed to OnError as its last value.
    explicit ChromiumFamilyCleaner(Platform& platform, std::string keepListPath = {},
                                   std::string versionText = {});
    ChromiumFamilyCleaner(Platform& platform, ChromiumLocations where, std::string keepListPath,
                          std::string versionText);

    // Asks a running Clean to stop before its next profile.
    VbBool Cancel = vbFalse;
    // Category ("Chromium") and one finished log line.
    std::function<void(const std::string& area, const std::string& text)> OnProgress;
    // Number, description, location ("ChromiumFamilyCleaner:Clean"), version text.
    std::function<void(std::int16_t number, const std::string& description,
                       const std::string& location, const std::string& version)>
        OnError;

    // True when one of the browsers has a profile here.
    bool IsInstalled() const;
    // Task 1 typed addresses, 2 cache, 3 cookies, 4 form data, in every profile.
    // A profile whose browser runs is left untouched and the log says so. Reports
    // through OnProgress, and OnError for what it cannot explain; never fails.
    bool Clean(Int16 task);

private:
    void RunTask(int task);
    void Report(const std::string& text);

    Platform& platform_;
    ChromiumLocations where_;
    std::string keepListPath_;
    std::string versionText_;
};

}  // namespace velloran
