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

std::string NetscapeCleaner::CleanProfile(int task, const GeckoProfile& profile) {
    if (std::string why = GeckoProfileInUse(platform_, profile.path); !why.empty()) {
        Raise("Skipped profile " + profile.path + ": " + why +
              "; close the browser and clean again.");
        Result().Skipped(profile.path, SkipReason::InUse);
        return {};
    }
    GeckoTaskContext context{platform_, keep_};
    GeckoTaskResult result;
    try {
        result = RunGeckoTask(task, profile, context);
    } catch (const VbError& e) {
        result.Fail("Failed: profile " + profile.path + ": " + e.Description() + ".");
    } catch (const std::exception& e) {
        result.Fail("Failed: profile " + profile.path + ": " + e.what() + ".");
    }
    for (const std::string& line : result.lines) Raise(line);
    if (result.lines.empty()) {
        Raise("Nothing to remove in profile " + profile.path + ".");
        Result().Skipped(profile.path, SkipReason::NothingThere);
    }
    if (result.removedAny) Result().Removed(1);
    for (const std::string& failure : result.failures) Result().Failed(profile.path, failure);
    return result.failures.empty() ? std::string() : result.failures.front();
}

VbBool NetscapeCleaner::Clean(std::int16_t task, std::string& /*unused*/) {
    try {
        const auto profiles = FindGeckoProfiles(where_);
        if (profiles.empty()) {
            Raise("No Netscape-family profile found.");
            Result().Skipped("Netscape-family profiles", SkipReason::NothingThere);
        }
        std::string firstFailure;
        for (const GeckoProfile& profile : profiles) {
            if (Cancel != vbFalse) break;
            std::string failure = CleanProfile(task, profile);
            if (firstFailure.empty()) firstFailure = std::move(failure);
        }
        if (firstFailure.empty()) return vbTrue;
        RaiseError({vbErrInternal, firstFailure, "NetscapeCleaner:Clean", {}, versionText_});
        return vbFalse;
    } catch (const std::exception& e) {
        RaiseError({static_cast<std::int16_t>(ErrorNumberOf(e)),
                    e.what(),
                    "NetscapeCleaner:Clean",
                    {},
                    versionText_});
        return vbFalse;
    }
}

}  // namespace velloran
