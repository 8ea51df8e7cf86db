#pragma once
// Opera 9-12 profiles: plain files, each of which is wholly a trace, so a task
// removes the file; the browser recreates it empty.
#include <functional>
#include <string>
#include <vector>

#include "common/platform/Platform.hpp"

namespace velloran {

// Folders holding an Opera 9-12 profile: ~/.opera and the Windows environment's
// Opera folders.
std::vector<std::string> LegacyOperaProfiles(Platform& platform);

class LegacyOperaCleaner {
public:
    using Report = std::function<void(const std::string&)>;
    // `failed` hears each failure line again: something the task could not do.
    LegacyOperaCleaner(Platform& platform, Report report, Report failed = {})
        : platform_(platform), report_(std::move(report)), failed_(std::move(failed)) {}

    void CleanTyped(const std::string& profile);
    void CleanCache(const std::string& profile);
    void CleanCookies(const std::string& profile, bool keepListGiven);
    void CleanFormData(const std::string& profile);

private:
    // Removes one file of the profile; says what went, or why it stayed.
    void RemoveTrace(const std::string& profile, const std::string& file, const std::string& what);
    Platform& platform_;
    Report report_;
    Report failed_;
    void Fail(const std::string& line) {
        report_(line);
        if (failed_) failed_(line);
    }
};

}  // namespace velloran
