#include "cleaning/browsers/ChromiumFamilyCleaner.hpp"

#include <algorithm>
#include <filesystem>
#include <set>
#include <vector>

#include "cleaning/browsers/ChromiumCleaner.hpp"
#include "cleaning/browsers/CookieKeepList.hpp"
#include "common/VbError.hpp"

namespace velloran {

namespace fs = std::filesystem;

namespace {

using ProfileTask = void (*)(ChromiumCleaner&, const ChromiumProfile&, const CookieKeepList&);

// What each task number does to one profile.
constexpr ProfileTask kTasks[] = {
    [](ChromiumCleaner& c, const ChromiumProfile& p, const CookieKeepList&) { c.CleanTyped(p); },
    [](ChromiumCleaner& c, const ChromiumProfile& p, const CookieKeepList&) { c.CleanCache(p); },
    [](ChromiumCleaner& c, const ChromiumProfile& p, const CookieKeepList& k) {
        c.CleanCookies(p, k);
    },
    [](ChromiumCleaner& c, const ChromiumProfile& p, const CookieKeepList&) { c.CleanFormData(p); },
};

struct BrowserProfiles {
    const ChromiumBrowser* browser;
    std::vector<ChromiumProfile> profiles;
};

std::string Canonical(const std::string& path) {
    std::error_code ec;
    const fs::path p = fs::weakly_canonical(path, ec);
    return ec ? path : p.string();
}

}  // namespace

ChromiumFamilyCleaner::ChromiumFamilyCleaner(Platform& platform, std::string keepListPath,
                                             std::string versionText)
    : ChromiumFamilyCleaner(platform, ChromiumLocations::FromEnvironment(platform),
                            std::move(keepListPath), std::move(versionText)) {}

ChromiumFamilyCleaner::ChromiumFamilyCleaner(Platform& platform, ChromiumLocations where,
                                             std::string keepListPath, std::string versionText)
    : platform_(platform),
      where_(std::move(where)),
      keepListPath_(std::move(keepListPath)),
      versionText_(std::move(versionText)) {}

bool ChromiumFamilyCleaner::IsInstalled() const {
    for (const ChromiumBrowser& browser : ChromiumFamilyBrowsers())
        if (!ChromiumProfiles(platform_, where_, browser).empty()) return true;
    return false;
}

void ChromiumFamilyCleaner::Report(const std::string& text) {
    if (OnProgress) OnProgress("Chromium", text);
}

void ChromiumFamilyCleaner::Failed(const std::string& text) {
    Result().Failed("Chromium-based browsers", text);
    if (firstFailure_.empty()) firstFailure_ = text;
}

bool ChromiumFamilyCleaner::Clean(Int16 task) {
    const int number = task;
    if (number < 1 || number > 4) return false;
    firstFailure_.clear();
    try {
        RunTask(number);
        // Every profile was tried; what one of them could not do ends the task.
        if (!firstFailure_.empty())
            RaiseError(
                {vbErrInternal, firstFailure_, "ChromiumFamilyCleaner:Clean", {}, versionText_});
    } catch (const std::exception& e) {
        // Nothing the cleaner can explain to the user: the run's reporter takes it.
        RaiseError({static_cast<std::int16_t>(ErrorNumberOf(e)),
                    e.what(),
                    "ChromiumFamilyCleaner:Clean",
                    {},
                    versionText_});
    }
    return true;
}

void ChromiumFamilyCleaner::RunTask(int task) {
    std::vector<BrowserProfiles> found;
    // A folder that two rows reach (a link, a shared home) is cleaned once.
    std::set<std::string> seen;
    for (const ChromiumBrowser& browser : ChromiumFamilyBrowsers()) {
        BrowserProfiles entry{&browser, {}};
        for (ChromiumProfile& profile : ChromiumProfiles(platform_, where_, browser))
            if (seen.insert(Canonical(profile.folder)).second)
                entry.profiles.push_back(std::move(profile));
        if (!entry.profiles.empty()) found.push_back(std::move(entry));
    }
    if (found.empty()) {
        Report("No Chromium-based browser profile found.");
        Result().Skipped("Chromium-based browser profiles", SkipReason::NothingThere);
        return;
    }
    const CookieKeepList keep =
        task == 3 ? CookieKeepList::Load(platform_, keepListPath_) : CookieKeepList();
    for (const BrowserProfiles& entry : found) {
        const std::string name = entry.browser->name;
        ChromiumCleaner engine(
            platform_, name, [this](const std::string& t) { Report(t); },
            [this](const std::string& t) { Failed(t); });
        std::vector<std::string> freeFolders;
        for (const ChromiumProfile& profile : entry.profiles) {
            if (IsTrue(Cancel)) return;
            if (auto why = ChromiumProfileInUse(platform_, profile)) {
                Report(name + " profile " + profile.folder + " left untouched: " + *why + ".");
                Result().Skipped(profile.folder, SkipReason::InUse);
                continue;
            }
            kTasks[task - 1](engine, profile, keep);
            if (std::find(freeFolders.begin(), freeFolders.end(), profile.userDataFolder) ==
                freeFolders.end())
                freeFolders.push_back(profile.userDataFolder);
        }
        if (task != 2) continue;
        for (const std::string& folder : freeFolders) {
            if (IsTrue(Cancel)) return;
            engine.CleanSharedCache(folder);
        }
    }
}

}  // namespace velloran
