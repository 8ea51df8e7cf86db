#pragma once
// The Netscape box group's worker: the Gecko family's traces (Firefox and its
// relatives, SeaMonkey, legacy Netscape and Mozilla Suite profiles), every profile
// on the desktop and in the target Windows environment.
#include <cstdint>
#include <functional>
#include <string>

#include "cleaning/browsers/CookieKeepList.hpp"
#include "cleaning/browsers/GeckoProfiles.hpp"
#include "common/Vb.hpp"
#include "common/platform/Platform.hpp"

namespace velloran {

class NetscapeCleaner {
public:
    // The presence query's form: where profiles are is read from the environment.
    explicit NetscapeCleaner(Platform& platform);
    NetscapeCleaner(Platform& platform, GeckoLocations where, CookieKeepList keep,
                    std::string versionText);

    // Category ("Netscape") and one finished log line.
    std::function<void(const std::string&, const std::string&)> OnProgress;
    // Number, description, location, version text, and the profile being cleaned.
    std::function<void(std::int16_t, const std::string&, const std::string&, const std::string&,
                       const std::string&)>
        OnError;

    // Written True to stop before the next profile.
    VbBool Cancel = vbFalse;

    // True when a Gecko-family profile root exists.
    bool IsInstalled() const;

    // Task 1 typed addresses, 2 cache, 3 cookies, 4 form data, in every profile.
    // Reports through the events; never fails. `unused` is left as it is.
    VbBool Clean(std::int16_t task, std::string& unused);

private:
    void CleanProfile(int task, const GeckoProfile& profile);
    void Raise(const std::string& line);
    Platform& platform_;
    GeckoLocations where_;
    CookieKeepList keep_;
    std::string versionText_;
};

}  // namespace velloran
