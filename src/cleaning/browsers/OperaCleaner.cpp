#include "cleaning/browsers/OperaCleaner.hpp"

#include <filesystem>
#include <random>

#include "cleaning/browsers/ChromiumCleaner.hpp"
#include "cleaning/browsers/ChromiumProfiles.hpp"
#include "cleaning/browsers/LegacyOpera.hpp"

namespace velloran {

namespace fs = std::filesystem;

namespace {

// A private folder for the database copies a preview edits.
fs::path MakeScratch() {
    std::random_device random;
    const fs::path folder =
        fs::temp_directory_path() / ("velloran-preview-" + std::to_string(random()));
    fs::create_directories(folder);
    return folder;
}

}  // namespace

std::string OperaCleaner::ProfileFolder() const {
    const std::string chromium = ChromiumUserDataFolder(platform_, kOperaBrowser);
    if (!chromium.empty()) return chromium;
    const fs::path home = platform_.HomeDirectory();
    if (platform_.DirectoryExists((home / ".opera").string())) return (home / ".opera").string();
    if (auto appData = platform_.SpecialFolderPath(CSIDL_APPDATA)) {
        fs::path p = fs::path(*appData) / "Opera";
        if (platform_.DirectoryExists(p.string())) return p.string();
    }
    return {};
}

void OperaCleaner::Report(const std::string& text) {
    if (OnProgress) OnProgress("Opera", text);
}

bool OperaCleaner::Clean(Int16 task) {
    const int number = task;
    if (number < 1 || number > 4) return false;
    std::error_code ec;
    fs::path scratch;
    try {
        if (platform_.RecordsOnly()) scratch = MakeScratch();
        RunTask(number, scratch.string());
    } catch (const std::exception& e) {
        // Nothing the cleaner can explain to the user: the run's reporter takes it.
        if (OnError) OnError(5, e.what(), "OperaCleaner:Clean", std::to_string(number));
    }
    if (!scratch.empty()) fs::remove_all(scratch, ec);
    return true;
}

void OperaCleaner::RunTask(int task, const std::string& scratch) {
    const std::vector<ChromiumProfile> profiles = ChromiumProfiles(platform_, kOperaBrowser);
    const std::vector<std::string> legacy = LegacyOperaProfiles(platform_);
    if (profiles.empty() && legacy.empty()) {
        Report("No Opera profile found.");
        return;
    }
    std::vector<std::string> keep;
    if (task == 3)
        if (auto text = platform_.ReadTextFile(keepListPath_)) keep = ParseKeepList(*text);
    ChromiumCleaner chromium(platform_, "Opera", scratch,
                             [this](const std::string& t) { Report(t); });
    for (const ChromiumProfile& profile : profiles) {
        if (IsTrue(Cancel)) return;
        if (auto why = ChromiumFolderInUse(platform_, profile.userDataFolder)) {
            Report("Opera profile " + profile.folder + " left untouched: " + *why + ".");
            continue;
        }
        switch (task) {
            case 1:
                chromium.CleanTyped(profile);
                break;
            case 2:
                chromium.CleanCache(profile);
                break;
            case 3:
                chromium.CleanCookies(profile, keep);
                break;
            default:
                chromium.CleanFormData(profile);
                break;
        }
    }
    LegacyOperaCleaner old(platform_, [this](const std::string& t) { Report(t); });
    for (const std::string& profile : legacy) {
        if (IsTrue(Cancel)) return;
        switch (task) {
            case 1:
                old.CleanTyped(profile);
                break;
            case 2:
                old.CleanCache(profile);
                break;
            case 3:
                old.CleanCookies(profile, !keep.empty());
                break;
            default:
                old.CleanFormData(profile);
                break;
        }
    }
}

}  // namespace velloran
