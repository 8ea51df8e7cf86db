#include "cleaning/browsers/OperaCleaner.hpp"

#include <algorithm>
#include <filesystem>

#include "cleaning/browsers/ChromiumCleaner.hpp"
#include "cleaning/browsers/ChromiumProfiles.hpp"
#include "cleaning/browsers/CookieKeepList.hpp"
#include "cleaning/browsers/LegacyOpera.hpp"
#include "common/platform/Paths.hpp"

namespace velloran {

namespace fs = std::filesystem;

namespace {

// What each task number does to a profile of either format.
struct TaskRow {
    void (*chromium)(ChromiumCleaner&, const ChromiumProfile&, const CookieKeepList&);
    void (*legacy)(LegacyOperaCleaner&, const std::string&, const CookieKeepList&);
};

constexpr TaskRow kTasks[] = {
    {[](ChromiumCleaner& c, const ChromiumProfile& p, const CookieKeepList&) { c.CleanTyped(p); },
     [](LegacyOperaCleaner& c, const std::string& p, const CookieKeepList&) { c.CleanTyped(p); }},
    {[](ChromiumCleaner& c, const ChromiumProfile& p, const CookieKeepList&) { c.CleanCache(p); },
     [](LegacyOperaCleaner& c, const std::string& p, const CookieKeepList&) { c.CleanCache(p); }},
    {[](ChromiumCleaner& c, const ChromiumProfile& p, const CookieKeepList& k) {
         c.CleanCookies(p, k);
     },
     [](LegacyOperaCleaner& c, const std::string& p, const CookieKeepList& k) {
         c.CleanCookies(p, !k.Empty());
     }},
    {[](ChromiumCleaner& c, const ChromiumProfile& p, const CookieKeepList&) {
         c.CleanFormData(p);
     },
     [](LegacyOperaCleaner& c, const std::string& p, const CookieKeepList&) {
         c.CleanFormData(p);
     }},
};

}  // namespace

std::string OperaCleaner::ProfileFolder() const {
    const std::string chromium = ChromiumUserDataFolder(platform_, kOperaBrowser);
    if (!chromium.empty()) return chromium;
    const fs::path home = PathFromUtf8(platform_.HomeDirectory());
    if (platform_.DirectoryExists((home / ".opera").string())) return (home / ".opera").string();
    if (auto appData = platform_.SpecialFolderPath(CSIDL_APPDATA)) {
        fs::path p = PathFromUtf8(*appData) / "Opera";
        if (platform_.DirectoryExists(p.string())) return p.string();
    }
    return {};
}

void OperaCleaner::Report(const std::string& text) {
    if (OnProgress) OnProgress("Opera", text);
}

void OperaCleaner::Failed(const std::string& text) {
    Result().Failed("Opera", text);
    if (firstFailure_.empty()) firstFailure_ = text;
}

bool OperaCleaner::Clean(Int16 task) {
    const int number = task;
    if (number < 1 || number > 4) return false;
    firstFailure_.clear();
    try {
        RunTask(number);
        // Every profile was tried; what one of them could not do ends the task.
        if (!firstFailure_.empty())
            RaiseError(
                {vbErrInternal, firstFailure_, "OperaCleaner:Clean", {}, std::to_string(number)});
    } catch (const std::exception& e) {
        // Nothing the cleaner can explain to the user: the run's reporter takes it.
        RaiseError({static_cast<std::int16_t>(ErrorNumberOf(e)),
                    e.what(),
                    "OperaCleaner:Clean",
                    {},
                    std::to_string(number)});
    }
    return true;
}

void OperaCleaner::RunTask(int task) {
    const std::vector<ChromiumProfile> profiles = ChromiumProfiles(platform_, kOperaBrowser);
    const std::vector<std::string> legacy = LegacyOperaProfiles(platform_);
    if (profiles.empty() && legacy.empty()) {
        Report("No Opera profile found.");
        Result().Skipped("Opera profiles", SkipReason::NothingThere);
        return;
    }
    const TaskRow& row = kTasks[task - 1];
    const CookieKeepList keep =
        task == 3 ? CookieKeepList::Load(platform_, keepListPath_) : CookieKeepList();
    ChromiumCleaner chromium(
        platform_, "Opera", [this](const std::string& t) { Report(t); },
        [this](const std::string& t) { Failed(t); });
    std::vector<std::string> freeFolders;
    for (const ChromiumProfile& profile : profiles) {
        if (IsTrue(Cancel)) return;
        if (auto why = ChromiumProfileInUse(platform_, profile)) {
            Report("Opera profile " + profile.folder + " left untouched: " + *why + ".");
            Result().Skipped(profile.folder, SkipReason::InUse);
            continue;
        }
        row.chromium(chromium, profile, keep);
        if (std::find(freeFolders.begin(), freeFolders.end(), profile.userDataFolder) ==
            freeFolders.end())
            freeFolders.push_back(profile.userDataFolder);
    }
    if (task == 2)
        for (const std::string& folder : freeFolders) chromium.CleanSharedCache(folder);
    LegacyOperaCleaner old(
        platform_, [this](const std::string& t) { Report(t); },
        [this](const std::string& t) { Failed(t); });
    for (const std::string& profile : legacy) {
        if (IsTrue(Cancel)) return;
        row.legacy(old, profile, keep);
    }
}

}  // namespace velloran
