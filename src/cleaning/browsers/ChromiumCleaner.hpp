#pragma once
// The four traces of one Chromium-format profile. Each task reports one line per
// profile: what it removed with counts, that there was nothing, or a "Failed:" line
// saying what stayed and why; a task never stops at a profile it cannot clean.
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "cleaning/browsers/ChromiumProfiles.hpp"
#include "common/platform/Platform.hpp"

namespace velloran {

class BrowserDatabase;
class CookieKeepList;

class ChromiumCleaner {
public:
    using Report = std::function<void(const std::string&)>;

    // `failed` hears each failure line again: something the task could not do.
    ChromiumCleaner(Platform& platform, std::string browserName, Report report, Report failed = {})
        : platform_(platform),
          name_(std::move(browserName)),
          report_(std::move(report)),
          failed_(std::move(failed)) {}

    // What the address bar learned from typing: typed visits and counts, typed
    // searches, shortcuts and predictions, and the icons and most-visited entries of
    // addresses that only typing had kept. The rest of the history, bookmarks and
    // search engines stay.
    void CleanTyped(const ChromiumProfile& profile);
    void CleanCache(const ChromiumProfile& profile);
    // The GPU caches that all profiles of a user data folder share; says nothing
    // when there are none.
    void CleanSharedCache(const std::string& userDataFolder);
    // Every cookie except those of the sites in `keep` and their subdomains.
    void CleanCookies(const ChromiumProfile& profile, const CookieKeepList& keep);
    // Entries typed into web forms; saved addresses, cards and passwords stay.
    void CleanFormData(const ChromiumProfile& profile);

private:
    // Runs `task` in one transaction on a database of the profile; the task returns
    // the finished line's text. A missing file yields "".
    std::string OnDatabase(const ChromiumProfile& profile, const std::string& file,
                           const std::function<std::string(BrowserDatabase&)>& task);
    std::string Label(const ChromiumProfile& profile) const;
    // Removes the folders that exist and hold no profile, adding up what they held;
    // reports each that stays, or is a link left alone, under `label`. False when one
    // stayed.
    bool RemoveCacheFolders(const std::vector<std::string>& folders, const std::string& label,
                            std::int64_t& files, std::int64_t& bytes);

    Platform& platform_;
    std::string name_;
    Report report_;
    Report failed_;
    void Fail(const std::string& line) {
        report_(line);
        if (failed_) failed_(line);
    }
};

}  // namespace velloran
