#include "cleaning/browsers/NetscapeCleaner.hpp"

#include <exception>

#include "cleaning/browsers/GeckoTasks.hpp"
#include "common/VbError.hpp"

namespace velloran {

NetscapeCleaner::NetscapeCleaner(Platform& platform)
    : NetscapeCleaner(platform, GeckoLocations::FromEnvironment(platform), {}, {}) {}

NetscapeCleaner::NetscapeCleaner(Platform& platform, GeckoLocations where, CookieKeepList keep,
                                 std::string versionText)
    : platform_(platform),
      where_(std::move(where)),
      keep_(std::move(keep)),
      versionText_(std::move(versionText)) {}

bool NetscapeCleaner::IsInstalled() const { return AnyGeckoRoot(platform_, where_); }

void NetscapeCleaner::Raise(const std::string& line) {
    if (OnProgress) OnProgress("Netscape", line);
}

void NetscapeCleaner::CleanProfile(int task, const GeckoProfile& profile) {
    if (std::string why = GeckoProfileInUse(platform_, profile.path); !why.empty()) {
        Raise("Skipped profile " + profile.path + ": " + why +
              "; close the browser and clean again.");
        return;
    }
    GeckoTaskContext context{platform_, keep_};
    GeckoTaskResult result;
    try {
        result = RunGeckoTask(task, profile, context);
    } catch (const VbError& e) {
        result.lines.push_back("Failed: profile " + profile.path + ": " + e.Description() + ".");
    } catch (const std::exception& e) {
        result.lines.push_back("Failed: profile " + profile.path + ": " + e.what() + ".");
    }
    for (const std::string& line : result.lines) Raise(line);
    if (result.lines.empty()) Raise("Nothing to remove in profile " + profile.path + ".");
}

VbBool NetscapeCleaner::Clean(std::int16_t task, std::string& /*unused*/) {
    try {
        const auto profiles = FindGeckoProfiles(where_);
        if (profiles.empty()) Raise("No Netscape-family profile found.");
        for (const GeckoProfile& profile : profiles) {
            if (Cancel != vbFalse) break;
            CleanProfile(task, profile);
        }
        return vbTrue;
    } catch (const std::exception& e) {
        if (OnError) OnError(ErrorNumberOf(e), e.what(), "NetscapeCleaner:Clean", versionText_, "");
        return vbFalse;
    }
}

}  // namespace velloran
