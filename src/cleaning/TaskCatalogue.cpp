#include "cleaning/TaskCatalogue.hpp"

#include <array>

#include "cleaning/Shell.hpp"
#include "cleaning/browsers/ChromiumFamilyCleaner.hpp"
#include "cleaning/browsers/CookieKeepList.hpp"
#include "cleaning/browsers/IECleaner.hpp"
#include "cleaning/browsers/NetscapeCleaner.hpp"
#include "cleaning/browsers/OperaCleaner.hpp"
#include "common/controls/Form.hpp"
#include "traces/programs/ClsPrograms.hpp"
#include "traces/windows/ClsWindows.hpp"

namespace velloran {

namespace {

// A list task of ClsWindows: a by-reference count set to 0 before each call.
template <bool (ClsWindows::*Task)(Int16&)>
void List(TaskWorker& w, ProgramShell&) {
    Int16 found = 0;
    (static_cast<ClsWindows&>(w).*Task)(found);
}
template <bool (ClsWindows::*First)(Int16&), bool (ClsWindows::*Second)(Int16&)>
void ListPair(TaskWorker& w, ProgramShell& s) {
    List<First>(w, s);
    List<Second>(w, s);
}
template <bool (ClsWindows::*Task)()>
void Plain(TaskWorker& w, ProgramShell&) {
    (static_cast<ClsWindows&>(w).*Task)();
}
void RecycleBin(TaskWorker& w, ProgramShell& s) {
    static_cast<ClsWindows&>(w).EmptyRecycleBin(s.MainForm(), true);
}

constexpr std::array<TaskInfo, 13> kWindows{{
    {1, "Erase Desktop Stream History", "desktop-stream-history",
     "Cleaning Desktop Stream history ...", List<&ClsWindows::CleanDesktopStreamHistory>},
    // Boxes 2 and 11 run nothing of their own: 10 and 3 run both lists of each pair.
    {2, "Erase Common Dialog History List", "common-dialog-history", nullptr, nullptr},
    {3, "Erase Find Files History", "find-files-history", "Cleaning Find Files history ...",
     ListPair<&ClsWindows::CleanExFindFilesHistory, &ClsWindows::CleanFindFilesHistory>},
    {4, "Erase Find Computer History", "find-computer-history",
     "Cleaning Find Computer history ...", List<&ClsWindows::CleanFindComputerHistory>},
    {5, "Erase Run History", "run-history", "Cleaning Run history ...",
     List<&ClsWindows::CleanRunHistory>},
    {6, "Erase Recent Document List", "recent-documents", "Cleaning Recent Document list ...",
     Plain<&ClsWindows::CleanRecentDocList>},
    {7, "Erase Find Printer History List", "printer-history", "Cleaning Printer history ...",
     List<&ClsWindows::CleanPrinterHistory>},
    {8, "Empty Recycle Bin", "recycle-bin", "Cleaning Recycle Bin ...", RecycleBin},
    {9, "Empty Clipboard Contents", "clipboard", "Cleaning Clipboard ...",
     Plain<&ClsWindows::CleanClipBoard>},
    // No blank before the dots in this one line; it has always read so.
    {10, "Erase Common Dialog Open/Save List", "common-dialog-open-save",
     "Cleaning Common Dialog history...",
     ListPair<&ClsWindows::CleanCmdlogOpenSaveList, &ClsWindows::CleanCmdlgHistoryList>},
    {11, "Erase Find Files/Folder History", "find-files-folder-history", nullptr, nullptr},
    {12, "Erase Encrypted Hidden Logs", "encrypted-hidden-logs",
     "Cleaning Windows Encrypted Tracks ...", List<&ClsWindows::CleanEncryptedTracks>},
    {13, "Clear Page File (Swap File)", "page-file",
     "Setting Windows Page File for startup deletion ...", Plain<&ClsWindows::ClearPageFile>},
}};
constexpr std::array<int, 13> kWindowsOrder{11, 13, 1, 3, 2, 10, 4, 5, 6, 7, 12, 8, 9};

// The typed-address, hidden-log and password calls take a by-reference count the
// run sets to 0 and never reads.
template <bool (IECleaner::*Task)(Int16&)>
void IECounted(TaskWorker& w, ProgramShell&) {
    Int16 found = 0;
    (static_cast<IECleaner&>(w).*Task)(found);
}
template <bool (IECleaner::*Task)()>
void IEPlain(TaskWorker& w, ProgramShell&) {
    (static_cast<IECleaner&>(w).*Task)();
}
void IECache(TaskWorker& w, ProgramShell& s) {
    RunView* view = s.LoadedRunView();
    static_cast<IECleaner&>(w).CleanCache(view ? view->Window() : s.MainForm());
}

constexpr std::array<TaskInfo, 7> kIE{{
    {1, "Clear Typed URL History", "typed-urls", "Cleaning IE Type Url's history ...",
     IECounted<&IECleaner::CleanTypedUrls>},
    {2, "Clear Autocomplete Forms", "autocomplete-forms", "Cleaning IE Type Autocomplete forms ...",
     IEPlain<&IECleaner::CleanAutoCompleteForms>},
    {3, "Restore Window Position", "window-position", "Restoring IE window position ...",
     IEPlain<&IECleaner::RestoreWindowPosition>},
    {4, "Clear Encrypted Hidden Logs", "encrypted-hidden-logs",
     "Cleaning IE Encrypted Hidden logs ...", IECounted<&IECleaner::CleanHiddenLogs>},
    {5, "Clear Autocomplete Passwords", "autocomplete-passwords",
     "Cleaning IE Autocomplete passwords ...", IECounted<&IECleaner::CleanAutoCompletePasswords>},
    {6, "Clear Cache (Temporary files)", "cache", "Cleaning IE Cache ...", IECache},
    {7, "Clear Browsing History", "history", "Cleaning IE history ...",
     IEPlain<&IECleaner::CleanHistory>},
}};
constexpr std::array<int, 7> kIEOrder{1, 2, 5, 6, 7, 4, 3};

// Every Netscape and Opera box calls the one cleaning operation with its own index.
void NetscapeTask(TaskWorker& w, ProgramShell& s) {
    std::string unused;
    static_cast<NetscapeCleaner&>(w).Clean(s.TaskIndex, unused);
}
void OperaTask(TaskWorker& w, ProgramShell& s) { static_cast<OperaCleaner&>(w).Clean(s.TaskIndex); }

constexpr std::array<TaskInfo, 4> kNetscape{{
    {1, "Clear Typed URL History", "typed-urls", "Cleaning Netscape Type Url's history ...",
     NetscapeTask},
    {2, "Delete Temporary Internet Files", "cache", "Cleaning Netscape Cache ...", NetscapeTask},
    {3, "Clear Cookies", "cookies", "Cleaning Netscape Cookies ...", NetscapeTask},
    {4, "Clear Form Data", "form-data", "Cleaning Netscape form data ...", NetscapeTask},
}};
constexpr std::array<TaskInfo, 4> kOpera{{
    {1, "Clear Typed URL History", "typed-urls", "Cleaning Opera Type Url's history ...",
     OperaTask},
    {2, "Delete Temporary Internet Files", "cache", "Cleaning Opera Cache ...", OperaTask},
    {3, "Clear Cookies", "cookies", "Cleaning Opera Cookies ...", OperaTask},
    {4, "Clear Form Data", "form-data", "Cleaning Opera form data ...", OperaTask},
}};
constexpr std::array<int, 4> kBrowserOrder{1, 2, 3, 4};

// Chrome, Chromium, Edge, Brave and Vivaldi: the same four tasks as Opera's.
void ChromiumTask(TaskWorker& w, ProgramShell& s) {
    static_cast<ChromiumFamilyCleaner&>(w).Clean(s.TaskIndex);
}
constexpr std::array<TaskInfo, 4> kChromium{{
    {1, "Clear Typed URL History", "typed-urls",
     "Cleaning Chromium-based browser Type Url's history ...", ChromiumTask},
    {2, "Delete Temporary Internet Files", "cache", "Cleaning Chromium-based browser Cache ...",
     ChromiumTask},
    {3, "Clear Cookies", "cookies", "Cleaning Chromium-based browser Cookies ...", ChromiumTask},
    {4, "Clear Form Data", "form-data", "Cleaning Chromium-based browser form data ...",
     ChromiumTask},
}};

template <void (ClsPrograms::*Task)()>
void Program(TaskWorker& w, ProgramShell&) {
    (static_cast<ClsPrograms&>(w).*Task)();
}
template <int List>
void Frontpage(TaskWorker& w, ProgramShell&) {
    static_cast<ClsPrograms&>(w).CleanFrontpage(List);
}
template <int Application>
void Office(TaskWorker& w, ProgramShell&) {
    static_cast<ClsPrograms&>(w).CleanMicrosoftOffice(Application);
}

constexpr std::array<TaskInfo, 13> kPrograms{{
    {1, "Clear All Winzip Tracks", "winzip", "Cleaning Winzip Tracks ...",
     Program<&ClsPrograms::CleanWinzipTracks>},
    {2, "Clear Frontpage Recent File History", "frontpage-files",
     "Cleaning Frontpage file history ...", Frontpage<1>},
    {3, "Clear Frontpage Recent Page History", "frontpage-pages",
     "Cleaning Frontpage page history ...", Frontpage<2>},
    {4, "Clear Frontpage Recent Web History", "frontpage-webs",
     "Cleaning Frontpage web history ...", Frontpage<3>},
    {5, "Clear Frontpage Recent Created Servers", "frontpage-servers",
     "Cleaning Frontpage server history ...", Frontpage<4>},
    {6, "Clear Frontpage URL History", "frontpage-urls",
     "Cleaning Frontpage visited url history ...", Frontpage<5>},
    {7, "Clear Management Console Recent File List", "management-console",
     "Cleaning Management console history ...", Program<&ClsPrograms::CleanMMConsole>},
    {8, "Clear Media Player Recent Play List", "media-player", "Cleaning Media Player history ...",
     Program<&ClsPrograms::CleanMediaPlayer>},
    {9, "Clear Microsoft Access Recent File List", "access",
     "Cleaning Microsoft Access history ...", Office<1>},
    {10, "Clear Microsoft Excel Recent File List", "excel", "Cleaning Microsoft Excel history ...",
     Office<2>},
    {11, "Clear Microsoft PowerPoint Recent file List", "powerpoint",
     "Cleaning Microsoft PowerPoint history ...", Office<3>},
    {12, "Clear Microsoft Word Recent file List", "word", "Cleaning Microsoft Word history ...",
     Office<4>},
    {13, "Clear Netmeeting call history", "netmeeting", "Cleaning Netmeeting call history ...",
     Program<&ClsPrograms::CleanNetMeeting>},
}};
constexpr std::array<int, 13> kProgramsOrder{1, 7, 8, 13, 9, 10, 11, 12, 2, 3, 4, 5, 6};

constexpr BrowserWindowCheck kIEWindow{
    "IEFrame", "Microsoft Internet Explorer is open! \"",
    "Please close all windows. Internet Explorer jobs will be cancelled."};
constexpr BrowserWindowCheck kNetscapeWindow{
    "MozillaWindowClass", "Netscape browser is open! \"",
    "Please close all windows. Netscape jobs will be cancelled."};
constexpr BrowserWindowCheck kChromiumWindow{
    "Chrome_WidgetWin_1", "Chromium-based browser is open! \"",
    "Please close all windows. Chromium-based browser jobs will be cancelled."};
constexpr BrowserWindowCheck kOperaWindow{
    "OpWindow", "Opera browser is open! \"",
    "Please close all windows. Opera jobs will be cancelled."};

std::shared_ptr<TaskWorker> MakeWindows(ProgramShell& s) { return std::make_shared<ClsWindows>(s); }
std::shared_ptr<TaskWorker> MakeIE(ProgramShell& s) {
    return std::make_shared<IECleaner>(s.Registry(), s.GetPlatform(), s.VersionText());
}
std::shared_ptr<TaskWorker> MakeNetscape(ProgramShell& s) {
    Platform& platform = s.GetPlatform();
    return std::make_shared<NetscapeCleaner>(
        platform, GeckoLocations::FromEnvironment(platform),
        CookieKeepList::Load(platform, CookieKeepList::DefaultPath()), s.VersionText());
}
std::shared_ptr<TaskWorker> MakeOpera(ProgramShell& s) {
    return std::make_shared<OperaCleaner>(s.GetPlatform(), CookieKeepList::DefaultPath());
}
std::shared_ptr<TaskWorker> MakeChromium(ProgramShell& s) {
    return std::make_shared<ChromiumFamilyCleaner>(s.GetPlatform(), CookieKeepList::DefaultPath(),
                                                   s.VersionText());
}
std::shared_ptr<TaskWorker> MakePrograms(ProgramShell& s) {
    return std::make_shared<ClsPrograms>(s);
}

bool NetscapeAvailable(Platform& p) { return NetscapeCleaner(p).IsInstalled(); }
bool OperaAvailable(Platform& p) { return !OperaCleaner(p).ProfileFolder().empty(); }
bool ChromiumAvailable(Platform& p) { return ChromiumFamilyCleaner(p).IsInstalled(); }

// Run order. Lower-case "opera" in its verifying line: it has always read so. The
// Chromium-based group is our own, after Opera and before Programs.
constexpr std::array<GroupInfo, 6> kGroups{{
    {"win_chk", "win_chks", "Windows System", "windows", kWindows, kWindowsOrder,
     "ClsClean:DoWindows", "Verifying Windows jobs...", "Completed Windows jobs...", nullptr, false,
     true, MakeWindows, nullptr},
    {"ie_Chk", "ie_Chks", "Internet Explorer Browser", "ie", kIE, kIEOrder, "ClsClean:DoIE",
     "Verifying IE jobs...", "Completed IE jobs...", &kIEWindow, true, false, MakeIE, nullptr},
    {"ns_Chk", "ns_Chks", "Netscape Browser 6.x/7.x", "netscape", kNetscape, kBrowserOrder,
     "ClsClean:DoNetscape", "Verifying Netscape jobs...", "Completed Netscape jobs...",
     &kNetscapeWindow, false, false, MakeNetscape, NetscapeAvailable},
    {"op_Chk", "op_Chks", "Opera Browser", "opera", kOpera, kBrowserOrder, "ClsClean:DoOpera",
     "Verifying opera jobs...", "Completed Opera jobs...", &kOperaWindow, false, false, MakeOpera,
     OperaAvailable},
    {"ch_Chk", "ch_Chks", "Chromium-based browsers", "chromium", kChromium, kBrowserOrder,
     "ClsClean:DoChromium", "Verifying Chromium-based browser jobs...",
     "Completed Chromium-based browser jobs...", &kChromiumWindow, false, false, MakeChromium,
     ChromiumAvailable},
    {"oprg_chk", "oprg_chks", "Programs", "programs", kPrograms, kProgramsOrder,
     "ClsClean:DoPrograms", "Verifying program jobs...", "Completed program jobs...", nullptr,
     false, false, MakePrograms, nullptr},
}};

constexpr std::array<OptionInfo, 6> kOptions{{
    {0, "Delete files to recycle bin", "recycle-bin"},
    {1, "Securely delete files", "secure-delete"},
    {3, "Do not notify me when job is completed.", "no-notify"},
    {4, "Exit when done.", "exit-when-done"},
    {5, "Shut down computer when done.", "shut-down"},
    {6, "Restart computer when done.", "restart"},
}};

constexpr std::array<std::string_view, 3> kDeleteMethods{
    "File Zapper [Standard, Slow]",
    "Guttmann Scheme [Supreme, Fast]",
    "Zero And Delete [Supreme, Fast]",
};
constexpr std::array<std::string_view, 3> kDeleteMethodNames{"zapper", "gutmann", "zero"};

}  // namespace

std::span<const GroupInfo> TaskArrays() { return kGroups; }

const GroupInfo* FindGroup(std::string_view arrayOrName) {
    for (const GroupInfo& g : kGroups)
        if (g.array == arrayOrName || g.name == arrayOrName) return &g;
    return nullptr;
}

std::size_t GroupPosition(const GroupInfo& group) {
    return static_cast<std::size_t>(&group - kGroups.data());
}

const TaskInfo* FindTask(const GroupInfo& group, int index) {
    for (const TaskInfo& t : group.tasks)
        if (t.index == index) return &t;
    return nullptr;
}

bool GroupAvailable(const GroupInfo& group, Platform& platform) {
    return group.available == nullptr || group.available(platform);
}

std::span<const OptionInfo> OptionBoxes() { return kOptions; }
std::span<const std::string_view> DeleteMethods() { return kDeleteMethods; }
std::span<const std::string_view> DeleteMethodNames() { return kDeleteMethodNames; }

}  // namespace velloran
