#include "traces/windows/ClsWindows.hpp"

#include <array>
#include <string_view>

#include "common/WorkContext.hpp"
#include "common/registry/KelRegistry.hpp"

namespace velloran {

namespace {

constexpr std::string_view kExplorer = "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer";
constexpr std::string_view kComDlg32 =
    "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ComDlg32";
constexpr std::string_view kExplorerBar =
    "Software\\Microsoft\\Internet Explorer\\Explorer Bars\\{C4EE31F3-4768-11D2-BE5C-00A0C9A83DA1}";
constexpr std::string_view kSearchAssistant = "Software\\Microsoft\\Search Assistant";
constexpr std::string_view kUserAssist =
    "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\UserAssist\\"
    "{5E6AB780-7743-11CF-A12B-00AA004AE837}";

struct ListRef {
    std::string_view keyPath;
    std::string_view list;
};

// The ten list tasks: the lists of each, in order, and their log texts. The odd
// spellings ("commong", "Cmdlog", "find printer") are the texts users know.
struct ListTask {
    std::string_view method;
    std::array<ListRef, 3> lists;  // empty keyPath ends the row
    std::string_view success;
    std::string_view failure;
};

constexpr std::array<ListTask, 10> kListTasks{{
    {"CleanRegistryStreams",
     {{{kExplorer, "StreamMRU"}}},
     "Cleared Windows {registry streams} history. (",
     "Failed: Clear Windows {registry streams} history."},
    {"CleanCmdlgHistoryList",
     {{{kComDlg32, "LastVisitedMRU"}}},
     "Cleared Windows {common dialog} history. (",
     "Failed: Clear Windows {commong dialog} history."},
    {"CleanCmdlogOpenSaveList",
     {{{kComDlg32, "OpenSaveMRU"}}},
     "Cleared Windows {common dialog open/save} list. (",
     "Failed: Clear Windows {common dialog open/save} list."},
    {"CleanRunHistory",
     {{{kExplorer, "RunMRU"}}},
     "Cleared Windows {run dialog} history. (",
     "Failed: Clear Windows {run dialog} history."},
    {"CleanExFindFilesHistory",
     {{{kExplorerBar, "FilesNamedMRU"},
       {kExplorerBar, "ContainingTextMRU"},
       {kExplorerBar, "Doc Find Spec MRU"}}},
     "Cleared Windows {find files-Ex} history. (",
     "Failed: Clear Windows {find files-Ex} history."},
    {"CleanFindFilesHistory",
     {{{kExplorer, "Doc Find Spec MRU"}, {kSearchAssistant, "ACMru"}}},
     "Cleared Windows {find files} history. (",
     "Failed: Clear Windows {find files} history."},
    {"CleanFindComputerHistory",
     {{{kExplorerBar, "ComputerNameMRU"},
       {kExplorer, "FindComputerMRU"},
       {kSearchAssistant, "ACMru"}}},
     "Cleared Windows {find computer} history. (",
     "Failed: Clear Windows {find computer} history."},
    {"CleanDesktopStreamHistory",
     {{{kExplorer, "DesktopStreamMRU"}}},
     "Cleared Windows {desktop streams} history. (",
     "Failed: Clear Windows {desktop streams} history."},
    {"CleanPrinterHistory",
     {{{kExplorer, "PrnPortsMRU"}}},
     "Cleared Windows {find printer} history. (",
     "Failed: Clear Windows {find printer} history."},
    {"CleanEncryptedTracks",
     {{{kUserAssist, "Count"}}},
     "Cleared Windows {encrypted tracks} history. (",
     "Failed: Clear Windows {encrypted tracks} history."},
}};

const ListTask& FindTask(std::string_view method) {
    for (const auto& t : kListTasks)
        if (t.method == method) return t;
    throw VbError::InvalidCall();
}

// PagingFiles is a multi-string on every Windows; its entries are shown one after
// the other. Other types convert as any value would.
std::string PagingFilesText(const RegData& data) {
    if (const auto* items = std::get_if<RegData::Strings>(&data.Get())) {
        std::string text;
        for (const auto& item : *items) text += (text.empty() ? "" : " ") + item;
        return text;
    }
    return data.ToString();
}

}  // namespace

bool ClsWindows::RunListTask(const char* method, Int16& Found) {
    const ListTask& task = FindTask(method);
    Int16 count;
    const TaskEnd end = RunTask(method, std::string(task.failure), [&] {
        NewRegistry();
        for (const auto& ref : task.lists) {
            if (ref.keyPath.empty()) break;
            ClearList(std::string(ref.keyPath), std::string(ref.list), count);
        }
        // Only the open/save list loses its per-extension subkeys too.
        if (task.method == "CleanCmdlogOpenSaveList")
            ClearSubkeys(std::string(kComDlg32) + "\\OpenSaveMRU", count);
    });
    if (end == TaskEnd::Done) {
        Found = count;
        RaiseProgress(std::string(task.success) + std::to_string(count) + " Found!)");
    } else if (end == TaskEnd::Failed) {
        Found = 0;
    }
    return end == TaskEnd::Done;
}

bool ClsWindows::CleanRegistryStreams(Int16& f) { return RunListTask("CleanRegistryStreams", f); }
bool ClsWindows::CleanCmdlgHistoryList(Int16& f) { return RunListTask("CleanCmdlgHistoryList", f); }
bool ClsWindows::CleanCmdlogOpenSaveList(Int16& f) {
    return RunListTask("CleanCmdlogOpenSaveList", f);
}
bool ClsWindows::CleanRunHistory(Int16& f) { return RunListTask("CleanRunHistory", f); }
bool ClsWindows::CleanExFindFilesHistory(Int16& f) {
    return RunListTask("CleanExFindFilesHistory", f);
}
bool ClsWindows::CleanFindFilesHistory(Int16& f) { return RunListTask("CleanFindFilesHistory", f); }
bool ClsWindows::CleanFindComputerHistory(Int16& f) {
    return RunListTask("CleanFindComputerHistory", f);
}
bool ClsWindows::CleanDesktopStreamHistory(Int16& f) {
    return RunListTask("CleanDesktopStreamHistory", f);
}
bool ClsWindows::CleanPrinterHistory(Int16& f) { return RunListTask("CleanPrinterHistory", f); }
bool ClsWindows::CleanEncryptedTracks(Int16& f) { return RunListTask("CleanEncryptedTracks", f); }

bool ClsWindows::CleanClipBoard() {
    // The platform's answer is not looked at: the task reports success regardless.
    bool ok = TaskEnd::Done ==
              RunTask("CleanClipBoard", "", [&] { ctx_.GetPlatform().EmptyClipboard(); });
    if (ok) RaiseProgress("Cleared Windows {Clipboard}.");
    return ok;
}

bool ClsWindows::EmptyRecycleBin(Form& /*owner*/, bool Silent) {
    if (IsTrue(Cancel)) return false;
    Leftovers left;
    bool ok = TaskEnd::Done ==
              RunTask("EmptyRecycleBin", "Failed: Empty Windows {recycle bin} file.", [&] {
                  Platform& platform = ctx_.GetPlatform();
                  left = platform.EmptyRecycleBin(Silent ? 7 : 0);
                  platform.UpdateRecycleBinIcon();
              });
    if (ok) RaiseProgress("Emptied Windows {recycle bin} file.");
    ReportLeftovers(left);
    return ok;
}

bool ClsWindows::ClearPageFile() {
    std::string message;
    bool ok =
        TaskEnd::Done ==
        RunTask("ClearPageFile", "Failed: To set Page File/SWAP file to be clear on restart.", [&] {
            KelRegistry& reg = NewRegistry();
            reg.RootKey(kHKeyLocalMachine);
            reg.KeyPath("SYSTEM\\CurrentControlSet\\Control\\Session Manager");
            reg.SubKey("Memory Management");
            if (reg.KeyExists()) {
                const std::string paging = PagingFilesText(reg.ReadValue("PagingFiles"));
                reg.WriteValue("clearpagefileatshutdown", RegData("1"), kRegSz);
                message = "Page/SWAP File will be cleared on restart. (" + paging + ") ";
            } else {
                reg.WriteValue("clearpagefileatshutdown", RegData("1"), kRegSz);
                message = "Page/SWAP File will be cleared on restart.";
            }
            ctx_.SharedRegistry.reset();
        });
    if (ok) RaiseProgress(message);
    return ok;
}

bool ClsWindows::CleanRecentDocList() {
    std::int64_t registryEntries = -1;
    Leftovers left;
    bool ok = TaskEnd::Done == RunTask("CleanRecentDocList",
                                       "Failed: Clear Windows {recent document} history.", [&] {
                                           left = ctx_.GetPlatform().ClearRecentDocs();
                                           registryEntries = RemoveRecentDocsKey();
                                       });
    if (ok) RaiseProgress("Cleared Windows {recent document} history.");
    ReportLeftovers(left);
    // The shell's own clear call also drops the Explorer list of recent documents.
    if (ok && registryEntries >= 0)
        RaiseProgress("Removed the Explorer list of recent documents (" +
                      std::to_string(registryEntries) + " entries).");
    return ok;
}

std::int64_t ClsWindows::RemoveRecentDocsKey() {
    KelRegistry& reg = NewRegistry();
    reg.RootKey(kHKeyCurrentUser);
    reg.KeyPath(std::string(kExplorer));
    reg.SubKey("RecentDocs");
    if (!reg.KeyExists()) return -1;
    // Every value of the key and of its per-extension subkeys, "MRUListEx" included.
    const std::string path = reg.CurrentKey();
    std::int64_t entries =
        static_cast<std::int64_t>(reg.EnumerateValues(kHKeyCurrentUser, path).size());
    for (const std::string& sub : reg.EnumerateKeys(kHKeyCurrentUser, path))
        entries += static_cast<std::int64_t>(
            reg.EnumerateValues(kHKeyCurrentUser, path + "\\" + sub).size());
    reg.DeleteKey("RecentDocs");
    return entries;
}

std::string ClsWindows::SystemDirectory() {
    try {
        return ctx_.GetPlatform().SystemDirectory().substr(0, 255);
    } catch (const std::exception&) {
        return {};
    }
}

std::string ClsWindows::WindowsDirectory() {
    try {
        return ctx_.GetPlatform().WindowsDirectory().substr(0, 255);
    } catch (const std::exception&) {
        return {};
    }
}

std::string ClsWindows::LogonUserName() {
    std::string result;
    try {
        KelRegistry& reg = NewRegistry();
        reg.RootKey(kHKeyCurrentUser);
        reg.KeyPath("Software\\Microsoft\\Windows\\CurrentVersion");
        reg.SubKey("Explorer");
        if (reg.KeyExists()) {
            ctx_.SharedList =
                reg.EnumerateValues(reg.RootKey(), reg.KeyPath() + "\\" + reg.SubKey());
            for (const auto& entry : ctx_.SharedList) {
                if (IsTrue(Cancel)) return result;
                if (entry.first == "Logon User Name") result = entry.second.ToString();
            }
        }
    } catch (const VbError&) {
        // Each failing step is skipped.
    }
    ctx_.SharedRegistry.reset();
    ctx_.SharedList.clear();
    return result;
}

}  // namespace velloran
