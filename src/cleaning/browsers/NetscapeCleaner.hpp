#pragma once
// The Netscape box group's worker: the Gecko family's traces (Firefox and its
// relatives, SeaMonkey, legacy Netscape and Mozilla Suite profiles), every profile
// on the desktop and in the target Windows environment.
#include <cstdint>
#include <functional>
#include <string>

#include "cleaning/browsers/CookieKeepList.hpp"
#include "cleaning/browsers/GeckoProfiles.hpp"
#include "common/TaskWorker.hpp"
#include "common/Vb.hpp"
#include "common/platform/Platform.hpp"

namespace velloran {

class NetscapeCleaner : public TaskWorker {
public:
    // The presence query's form: where profiles are is read from the environment.
    explicit NetscapeCleaner(Platform& platform);
    NetscapeCleaner(Platform& platform, GeckoLocations where, CookieKeepList keep,
                    std::string versionText);

    // Events: OnProgress with the category "Netscape"; OnError after the failure
    // lines of a task that could not do everything, and for what it cannot explain.

    // True when a Gecko-family profile root exists.
    bool IsInstalled() const;

    // Task 1 typed addresses, 2 cache, 3 cookies, 4 form data, in every profile.
    // Reports through the events; never fails. `unused` is left as it is. Every
    // profile is tried; a task that failed in one raises Error once, at its end.
    VbBool Clean(std::int16_t task, std::string& unused);

private:
    // The first failure of the task, empty when there was none.
    std::string CleanProfile(int task, const GeckoProfile& profile);
    void Raise(const std::string& line);
    Platform& platform_;
    GeckoLocations where_;
    CookieKeepList keep_;
    std::string versionText_;
};

}  // namespace velloran
