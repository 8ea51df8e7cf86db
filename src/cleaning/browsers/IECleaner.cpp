#include "cleaning/browsers/IECleaner.hpp"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

#include "common/Text.hpp"
#include "common/VbError.hpp"
#include "common/platform/Paths.hpp"
#include "common/platform/Platform.hpp"
#include "common/registry/KelRegistry.hpp"

namespace velloran {

namespace fs = std::filesystem;

namespace {

constexpr const char* kCategory = "Internet Explorer";
constexpr std::string_view kTypedUrls = "Software\\Microsoft\\Internet Explorer\\TypedURLs";
constexpr std::string_view kTypedUrlsTime = "Software\\Microsoft\\Internet Explorer\\TypedURLsTime";
constexpr std::string_view kForms =
    "Software\\Microsoft\\Internet Explorer\\IntelliForms\\Storage1";
constexpr std::string_view kPasswords =
    "Software\\Microsoft\\Internet Explorer\\IntelliForms\\Storage2";
constexpr std::string_view kMain = "Software\\Microsoft\\Internet Explorer\\Main";
constexpr std::string_view kProtectedStorage =
    "Software\\Microsoft\\Protected Storage System Provider";
// IE 4-6 kept its autocomplete entries, forms and passwords alike, under this
// type and subtype of every user's protected-storage data.
constexpr std::string_view kAutoCompleteItems =
    "Data\\e161255a-37c3-11d2-bcaa-00c04fd929db\\e161255a-37c3-11d2-bcaa-00c04fd929db";

// A password item is named after the page it was typed on ("http://site/:StringData");
// a form item after its field ("username:StringData").
bool IsPasswordItem(const std::string& name) { return name.find("://") != std::string::npos; }
bool IsFormItem(const std::string& name) { return !IsPasswordItem(name); }
bool IsWindowPlacement(const std::string& name) {
    return name == "Window_Placement" || name == "Window Placement";
}

std::string Plural(std::int64_t n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

std::string Join(const fs::path& base, const char* leaf) { return (base / leaf).string(); }
std::string Join(const std::string& base, const char* leaf) { return JoinPath(base, leaf); }

constexpr std::int32_t kFilesPerPump = 256;

// The folders directly in `dir`, links to folders left out, sorted.
std::vector<std::string> Subfolders(const std::string& dir) {
    std::vector<std::string> out;
    std::error_code ec;
    for (fs::directory_iterator it(PathFromUtf8(dir), ec), end; !ec && it != end; it.increment(ec))
        if (it->symlink_status(ec).type() == fs::file_type::directory)
            out.push_back(it->path().string());
    std::sort(out.begin(), out.end());
    return out;
}

bool IsFolder(const std::string& path) {
    std::error_code ec;
    return fs::symlink_status(PathFromUtf8(path), ec).type() == fs::file_type::directory;
}

}  // namespace

// Where a task's values are: a key, or, with `underEachProtectedUser`, a key below
// every user of the protected storage.
struct IEValueSource {
    std::string_view key;
    bool underEachProtectedUser = false;
    bool (*select)(const std::string&) = nullptr;  // every value when null
};

// The four registry tasks and how their lines read. The keys stay; their values go.
struct IERegistryTask {
    const char* method;
    const char* label;
    const char* verb;
    std::array<IEValueSource, 2> sources;
};

namespace {

using VS = IEValueSource;
const std::array<IERegistryTask, 4> kRegistryTasks{{
    {"CleanTypedUrls", "typed addresses", "Cleared", {{VS{kTypedUrls}, VS{kTypedUrlsTime}}}},
    {"CleanAutoCompletePasswords",
     "autocomplete passwords",
     "Cleared",
     {{VS{kPasswords}, VS{kAutoCompleteItems, true, IsPasswordItem}}}},
    {"CleanAutoCompleteForms",
     "autocomplete forms",
     "Cleared",
     {{VS{kForms}, VS{kAutoCompleteItems, true, IsFormItem}}}},
    {"RestoreWindowPosition",
     "window position",
     "Reset",
     {{VS{kMain, false, IsWindowPlacement}, VS{}}}},
}};

const IERegistryTask& FindRegistryTask(std::string_view method) {
    for (const auto& t : kRegistryTasks)
        if (method == t.method) return t;
    throw VbError::InvalidCall();
}

}  // namespace

IECleaner::IECleaner(RegistryStore& registry, Platform& platform, std::string versionText)
    : registry_(registry), platform_(platform), versionText_(std::move(versionText)) {}

void IECleaner::Raise(const std::string& text) {
    if (OnProgress) OnProgress(kCategory, text);
}

bool IECleaner::Guard(const char* method, const std::string& label,
                      const std::function<void()>& body) {
    try {
        body();
        return true;
    } catch (const VbError& e) {
        Raise("Failed: Clear IE {" + label + "}.");
        Result().Failed("IE {" + label + "}", e.Description());
        RaiseError({static_cast<std::int16_t>(e.Number()), e.Description(),
                    std::string("IECleaner:") + method, "IECleaner", versionText_});
    } catch (const std::exception& e) {
        Raise("Failed: Clear IE {" + label + "}.");
        Result().Failed("IE {" + label + "}", e.what());
        RaiseError({vbErrInternal, e.what(), std::string("IECleaner:") + method, "IECleaner",
                    versionText_});
    }
    return false;
}

std::int64_t IECleaner::ClearValues(KelRegistry& reg, const IEValueSource& source, bool& keyFound) {
    std::vector<std::string> keys;
    const std::string storage(kProtectedStorage);
    if (source.underEachProtectedUser) {
        if (!reg.Store().KeyExists(kHKeyCurrentUser, storage)) return 0;
        for (const auto& user : reg.EnumerateKeys(kHKeyCurrentUser, storage))
            keys.push_back(std::string(kProtectedStorage) + "\\" + user + "\\" +
                           std::string(source.key));
    } else {
        keys.emplace_back(source.key);
    }
    std::int64_t removed = 0;
    for (const auto& key : keys) {
        reg.RootKey(kHKeyCurrentUser);
        reg.KeyPath(key);
        reg.SubKey("");
        if (!reg.KeyExists()) continue;
        keyFound = true;
        for (const auto& [name, data] : reg.EnumerateValues(kHKeyCurrentUser, key)) {
            if (name == kDefaultValueName || (source.select && !source.select(name))) continue;
            if (Cancelled()) return removed;
            if (reg.DeleteValue(name)) ++removed;
        }
    }
    return removed;
}

bool IECleaner::RunRegistryTask(const char* method, Int16* found) {
    const IERegistryTask& task = FindRegistryTask(method);
    std::int64_t removed = 0;
    bool keyFound = false;
    const bool ok = Guard(task.method, task.label, [&] {
        KelRegistry reg(registry_);
        for (const auto& source : task.sources)
            if (!source.key.empty()) removed += ClearValues(reg, source, keyFound);
    });
    if (!ok || Cancelled()) return false;
    if (found) *found = static_cast<std::int16_t>(std::min<std::int64_t>(removed, 32767));
    const std::string label = std::string("IE {") + task.label + "}";
    Result().Removed(removed);
    if (!keyFound) Result().Skipped(label, SkipReason::NothingThere);
    if (!keyFound)
        Raise(label +
              ": nothing to clear; this Windows environment has none of its keys (only "
              "Microsoft's Internet Explorer writes them, Wine's own browser engine does not).");
    else if (removed == 0)
        Raise(label + ": nothing stored, 0 values removed.");
    else
        Raise(std::string(task.verb) + " " + label + ". (" + Plural(removed, "value", "values") +
              " removed)");
    return true;
}

bool IECleaner::CleanTypedUrls(Int16& Found) { return RunRegistryTask("CleanTypedUrls", &Found); }
bool IECleaner::CleanAutoCompletePasswords(Int16& Found) {
    return RunRegistryTask("CleanAutoCompletePasswords", &Found);
}
bool IECleaner::CleanAutoCompleteForms() {
    return RunRegistryTask("CleanAutoCompleteForms", nullptr);
}
bool IECleaner::RestoreWindowPosition() {
    return RunRegistryTask("RestoreWindowPosition", nullptr);
}

// --- Folders

std::optional<std::string> ShellFolderPath(RegistryStore& registry, Platform& platform,
                                           const std::string& name) {
    KelRegistry reg(registry);
    reg.RootKey(kHKeyCurrentUser);
    reg.KeyPath("Software\\Microsoft\\Windows\\CurrentVersion\\Explorer");
    std::string windowsPath;
    reg.SubKey("Shell Folders");
    if (reg.KeyExists()) windowsPath = reg.ReadValue(name, RegData("")).ToString();
    if (windowsPath.empty()) {
        reg.SubKey("User Shell Folders");
        if (reg.KeyExists()) windowsPath = reg.ReadValue(name, RegData("")).ToString();
        // Wine's defaults use only %USERPROFILE%, which is not stored anywhere.
        const std::string var = "%USERPROFILE%";
        if (AsciiLower(windowsPath).starts_with(AsciiLower(var)))
            windowsPath = "C:\\users\\" + platform.UserName() + windowsPath.substr(var.size());
    }
    if (windowsPath.empty() || windowsPath.find('%') != std::string::npos) return std::nullopt;
    return platform.HostPath(windowsPath);
}

std::optional<std::string> IECleaner::ShellFolder(const std::string& name) const {
    return ShellFolderPath(registry_, platform_, name);
}

std::vector<IECleaner::FileItem> ListFiles(const std::string& folder, bool recursive) {
    std::vector<IECleaner::FileItem> items;
    std::error_code ec;
    for (fs::directory_iterator it(PathFromUtf8(folder), ec), end; !ec && it != end;
         it.increment(ec)) {
        const fs::file_status st = it->symlink_status(ec);
        if (ec) break;
        if (st.type() == fs::file_type::directory) {
            if (!recursive) continue;
            auto below = ListFiles(it->path().string(), true);
            items.insert(items.end(), below.begin(), below.end());
        } else if (st.type() == fs::file_type::regular || st.type() == fs::file_type::symlink) {
            std::error_code sizeEc;
            const auto size = st.type() == fs::file_type::regular ? it->file_size(sizeEc) : 0;
            items.push_back({it->path().string(), sizeEc ? 0 : static_cast<std::int64_t>(size)});
        }
    }
    std::sort(items.begin(), items.end(),
              [](const auto& a, const auto& b) { return a.path < b.path; });
    return items;
}

std::string FileCountText(std::int64_t files, std::int64_t bytes) {
    return Plural(files, "file", "files") + ", " + Plural(bytes, "byte", "bytes");
}

void IECleaner::RemoveFolder(const std::string& folder, FileTally& tally) {
    const auto items = NotYetRemoved(ListFiles(folder, true));
    bool whole = true;
    try {
        platform_.DeletePath(folder);
    } catch (const VbError&) {
        whole = false;
    }
    std::error_code ec;
    for (const auto& item : items) {
        // A preview answers as a removal would and leaves the files where they are.
        if (!whole &&
            fs::symlink_status(PathFromUtf8(item.path), ec).type() != fs::file_type::not_found)
            continue;
        removed_.insert(item.path);
        ++tally.files;
        tally.bytes += item.bytes;
    }
    if (whole) return;
    tally.deferred.push_back(folder);
    Result().Pending(folder);
    if (OnStartupDelete) OnStartupDelete(folder);
}

std::vector<IECleaner::FileItem> IECleaner::FilesIn(const std::string& folder) const {
    std::vector<FileItem> items;
    platform_.ForEachFile(folder, false, [&](const std::string& dir, const std::string& name) {
        const std::string path = (fs::path(dir) / name).string();
        items.push_back({path, static_cast<std::int64_t>(platform_.FileSize(path).value_or(0))});
        return true;
    });
    std::sort(items.begin(), items.end(),
              [](const auto& a, const auto& b) { return a.path < b.path; });
    return items;
}

std::vector<IECleaner::FileItem> IECleaner::NotYetRemoved(std::vector<FileItem> items) const {
    std::erase_if(items, [this](const FileItem& i) { return removed_.count(i.path) != 0; });
    return items;
}

void IECleaner::RemoveOne(const FileItem& item, FileTally& tally) {
    if (platform_.RemoveFile(item.path)) {
        removed_.insert(item.path);
        ++tally.files;
        tally.bytes += item.bytes;
        return;
    }
    // On Linux a file in use can be unlinked; one that stays is protected by its
    // folder's permissions or an attribute, which a later start may no longer have.
    std::error_code ec;
    if (fs::symlink_status(PathFromUtf8(item.path), ec).type() == fs::file_type::not_found) return;
    // A folder swapped for a link since the listing leads elsewhere: what is there
    // now is not the cache's, not even for the next start.
    if (fs::symlink_status(PathFromUtf8(item.path).parent_path(), ec).type() !=
        fs::file_type::directory) {
        tally.redirected.push_back(item.path);
        return;
    }
    tally.deferred.push_back(item.path);
    Result().Pending(item.path);
    if (OnStartupDelete) OnStartupDelete(item.path);
}

void IECleaner::ReportFiles(const std::string& label, const FileTally& tally,
                            const std::string& extra) {
    Result().Removed(tally.files, tally.bytes);
    Raise("Cleared IE {" + label + "}. (" + FileCountText(tally.files, tally.bytes) + " removed" +
          extra + ")");
    ReportDeferred(label, tally);
}

void IECleaner::ReportDeferred(const std::string& label, const FileTally& tally) {
    if (!tally.redirected.empty()) {
        std::string names;
        for (const auto& p : tally.redirected)
            names += (names.empty() ? "" : ", ") + ("\"" + p + "\"");
        Raise("Failed: " +
              Plural(static_cast<std::int64_t>(tally.redirected.size()), "item", "items") +
              " of IE {" + label + "} left where they are: their folder became a symbolic " +
              "link after the search, and no link is followed: " + names + ".");
    }
    if (tally.deferred.empty()) return;
    std::string names;
    for (const auto& p : tally.deferred) names += (names.empty() ? "" : ", ") + ("\"" + p + "\"");
    Raise("Failed: " + Plural(static_cast<std::int64_t>(tally.deferred.size()), "item", "items") +
          " of IE {" + label + "} could not be deleted now and " +
          (tally.deferred.size() == 1 ? "was" : "were") +
          " handed to the deletion at the next start: " + names + ".");
}

bool IECleaner::CleanHiddenLogs(Int16& Found) {
    FileTally tally;
    bool anyFolder = false;
    const bool ok = Guard("CleanHiddenLogs", "hidden logs", [&] {
        struct Log {
            const char* folder;
            const char* sub;
        };
        for (const Log& log : {Log{"Cache", "Content.IE5"}, Log{"Cookies", nullptr},
                               Log{"History", "History.IE5"}}) {
            auto base = ShellFolder(log.folder);
            if (!base) continue;
            anyFolder = true;
            fs::path dir = log.sub ? PathFromUtf8(*base) / log.sub : PathFromUtf8(*base);
            const std::string file = Join(dir, "index.dat");
            if (Cancelled()) return;
            std::error_code ec;
            if (fs::symlink_status(PathFromUtf8(file), ec).type() != fs::file_type::regular ||
                removed_.count(file) != 0)
                continue;
            RemoveOne({file, static_cast<std::int64_t>(fs::file_size(PathFromUtf8(file), ec))},
                      tally);
        }
    });
    if (!ok || Cancelled()) return false;
    Found = static_cast<std::int16_t>(tally.files);
    if (!anyFolder)
        Raise(
            "IE {hidden logs}: nothing to clear; this Windows environment names no cache, "
            "cookies or history folder.");
    else if (tally.files == 0 && tally.deferred.empty() && tally.redirected.empty())
        Raise("IE {hidden logs}: no index.dat in the cache, cookies or history folders.");
    else
        ReportFiles("hidden logs", tally, "");
    return true;
}

bool IECleaner::CleanHistory() {
    FileTally tally;
    std::string missing;
    const bool ok = Guard("CleanHistory", "history", [&] {
        auto base = ShellFolder("History");
        if (!base) {
            missing = "this Windows environment names no history folder.";
            return;
        }
        const std::string dir = Join(*base, "History.IE5");
        if (!IsFolder(dir)) {
            missing = "no History.IE5 folder in \"" + *base + "\".";
            return;
        }
        for (const auto& item : NotYetRemoved(FilesIn(dir))) {
            if (Cancelled()) return;
            RemoveOne(item, tally);
        }
        // The day and week folders go whole, through the platform's removal that
        // never follows a link or enters a mount; the top folder stays for wininet.
        for (const auto& folder : Subfolders(dir)) {
            if (Cancelled()) return;
            RemoveFolder(folder, tally);
        }
    });
    if (!ok || Cancelled()) return false;
    if (!missing.empty())
        Raise("IE {history}: nothing to clear; " + missing);
    else
        ReportFiles("history", tally, "");
    return true;
}

bool IECleaner::CleanCache(Form& /*progressWindow*/) {
    FileTally tally;
    std::string missing;
    int folderCount = 0;
    const bool ok = Guard("CleanCache", "cache", [&] {
        auto base = ShellFolder("Cache");
        if (!base) {
            missing = "this Windows environment names no cache folder.";
            return;
        }
        const std::string root = Join(*base, "Content.IE5");
        if (!IsFolder(root)) {
            missing = "no Content.IE5 folder in \"" + *base + "\".";
            return;
        }
        // The cache's own folder first (its index.dat), then each of its subfolders.
        std::vector<std::string> folders{root};
        for (auto& sub : Subfolders(root)) folders.push_back(std::move(sub));
        for (const auto& folder : folders) {
            const auto files = NotYetRemoved(FilesIn(folder));
            ++folderCount;
            const auto total = static_cast<std::int32_t>(files.size());
            for (std::int32_t i = 0; i < total; ++i) {
                if (Cancelled()) return;
                if (OnFileProgress) OnFileProgress(folder, total, i + 1);
                RemoveOne(files[static_cast<std::size_t>(i)], tally);
                // A big folder still lets the window repaint and hear Cancel.
                if ((i + 1) % kFilesPerPump == 0 && OnDoEvents) OnDoEvents();
            }
            if (OnDoEvents) OnDoEvents();
        }
    });
    if (!ok || Cancelled()) return false;
    if (!missing.empty())
        Raise("IE {cache}: nothing to clear; " + missing);
    else
        ReportFiles("cache", tally, " in " + Plural(folderCount, "folder", "folders"));
    return true;
}

}  // namespace velloran
