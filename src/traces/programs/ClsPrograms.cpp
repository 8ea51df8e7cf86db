#include "traces/programs/ClsPrograms.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <string>
#include <string_view>

#include "common/Text.hpp"
#include "common/WorkContext.hpp"
#include "common/registry/KelRegistry.hpp"

namespace velloran {

struct ClsPrograms::ListRow {
    std::string_view keyPath;
    std::string_view list;
    std::string_view text;     // the count follows
    std::string_view closing;  // after the count
    std::string_view failure;
};

namespace {

using Row = std::array<std::string_view, 5>;

constexpr std::string_view kWinZip = "Software\\Nico Mak Computing\\WinZip";
constexpr std::string_view kWinZipFailure = "Failed: To clean Winzip {extract to} history.";
constexpr std::string_view kFrontPage =
    "Software\\Microsoft\\FrontPage\\Explorer\\FrontPage Explorer";
constexpr std::string_view kFrontPageFailure = "Failed: Erase Clean frontpage tracks";

// Office: the key tail and subkey of each application, and which values go.
struct OfficeApp {
    std::string_view tail;
    std::string_view subKey;
    std::string_view message;
    bool withCount;
    bool (*selects)(const std::string& name);
};

bool AnyValue(const std::string&) { return true; }
bool AccessMru(const std::string& name) { return AsciiUpper(name.substr(0, 3)) == "MRU"; }
bool WordSettings(const std::string& name) { return AsciiLower(name) == "settings"; }

constexpr std::array<OfficeApp, 4> kOffice{{
    {".0\\Access", "Settings", "Erased Microsoft Access history (", true, AccessMru},
    {".0\\Excel", "Recent Files", "Erased Microsoft Excel history (", true, AnyValue},
    {".0\\PowerPoint", "Recent File List", "Erased Microsoft PowerPoint history (", true, AnyValue},
    {".0\\Word", "Data", "Erased Microsoft Word history", false, WordSettings},
}};

}  // namespace

void ClsPrograms::ClearLists(const char* method, const ListRow* rows, int n) {
    RunTask(method, std::string(rows[0].failure), [&] {
        NewRegistry();
        for (int i = 0; i < n; ++i) {
            Int16 count;
            ClearList(std::string(rows[i].keyPath), std::string(rows[i].list), count);
            RaiseProgress(std::string(rows[i].text) + std::to_string(count) +
                          std::string(rows[i].closing));
        }
    });
}

void ClsPrograms::CleanWinzipTracks() {
    static constexpr ListRow rows[] = {
        {kWinZip, "extract", "Cleared Winzip {extract to} history. (", " Found!)", kWinZipFailure},
        {kWinZip, "filemenu", "Cleared Winzip {file} history. (", " Found!)", kWinZipFailure},
        {kWinZip, "select", "Cleared Winzip {selected folder} history. (", " Found!)",
         kWinZipFailure},
    };
    ClearLists("CleanWinzipTracks", rows, 3);
}

void ClsPrograms::CleanMMConsole() {
    static constexpr ListRow row{"Software\\Microsoft\\Microsoft Management Console",
                                 "Recent File List", "Cleaned Management console history (", ")",
                                 "Failed: Management console history"};
    ClearLists("CleanMMConsole", &row, 1);
}

void ClsPrograms::CleanMediaPlayer() {
    static constexpr ListRow row{"Software\\Microsoft\\MediaPlayer\\Player", "RecentFileList",
                                 "Cleared Media player file history (", ")",
                                 "Failed: Clear Media player file history"};
    ClearLists("CleanMediaPlayer", &row, 1);
}

void ClsPrograms::CleanNetMeeting() {
    static constexpr ListRow row{"Software\\Microsoft\\Conferencing\\UI", "CallMRU",
                                 "Cleared Netmeeting call history (", ")",
                                 "Failed: Clear Netmeeting call history"};
    ClearLists("CleanNetMeeting", &row, 1);
}

void ClsPrograms::CleanFrontpage(float list) {
    static constexpr std::array<ListRow, 5> rows{{
        {kFrontPage, "Recent File List", "Erased Frontpage recent file history (", ")",
         kFrontPageFailure},
        {kFrontPage, "Recent Page List", "Erased Frontpage recent page history (", ")",
         kFrontPageFailure},
        {kFrontPage, "Recent Web List", "Erased Frontpage recent web history (", ")",
         kFrontPageFailure},
        {kFrontPage, "Recently Created Servers",
         "Erased Frontpage recently created servers history (", ")", kFrontPageFailure},
        {"Software\\Microsoft\\FrontPage\\Explorer\\Navigation", "MRUList",
         "Erased Frontpage visited URL history (", ")", kFrontPageFailure},
    }};
    for (int i = 1; i <= 5; ++i)
        if (list == static_cast<float>(i)) ClearLists("CleanFrontpage", &rows[i - 1], 1);
}

void ClsPrograms::CleanMicrosoftOffice(float application) {
    RunTask("CleanMicrosoftOffice", "Failed: Clean Microsoft Office tracks.", [&] {
        KelRegistry& reg = NewRegistry();
        reg.RootKey(kHKeyCurrentUser);
        const OfficeApp* office = nullptr;
        for (int i = 1; i <= 4; ++i)
            if (application == static_cast<float>(i)) office = &kOffice[i - 1];
        if (!office) return;
        Int16 count;
        for (int version = 8; version <= 10; ++version) {
            const std::string keyPath = "Software\\Microsoft\\Office\\" + std::to_string(version) +
                                        std::string(office->tail);
            ClearList(keyPath, std::string(office->subKey), count, office->selects);
        }
        RaiseProgress(office->withCount ? std::string(office->message) + std::to_string(count) + ")"
                                        : std::string(office->message));
    });
}

}  // namespace velloran
