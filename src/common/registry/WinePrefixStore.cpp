#include "common/registry/WinePrefixStore.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <optional>
#include <thread>

#include "common/VbError.hpp"
#include "common/platform/FileIO.hpp"
#include "common/platform/WineServer.hpp"

namespace velloran {

namespace fs = std::filesystem;

namespace {

constexpr const char* kSource = "Registry";

}  // namespace

int RemoveStaleTemporaries(const fs::path& file, const fs::path& procRoot) {
    const std::string stem = "." + file.filename().string() + ".velloran-";
    std::error_code ec;
    int removed = 0;
    for (const fs::directory_entry& e : fs::directory_iterator(file.parent_path(), ec)) {
        const std::string name = e.path().filename().string();
        if (!name.starts_with(stem) || !name.ends_with(".tmp")) continue;
        const std::string rest = name.substr(stem.size());
        const std::string pid = rest.substr(0, rest.find('-'));
        if (pid.empty() || pid.find_first_not_of("0123456789") != std::string::npos) continue;
        // A save in progress in another Velloran keeps its file.
        std::string comm;
        std::ifstream(procRoot / pid / "comm") >> comm;
        if (comm.starts_with("velloran")) continue;
        if (e.is_regular_file(ec) && !e.is_symlink(ec) && fs::remove(e.path(), ec)) ++removed;
    }
    return removed;
}

WinePrefixStore::WinePrefixStore(fs::path folder) : WinePrefixStore(std::move(folder), Options{}) {}

WinePrefixStore::WinePrefixStore(fs::path folder, Options options)
    : folder_(std::move(folder)), options_(std::move(options)) {
    // A save killed while writing leaves a full-size temporary file; nothing else
    // ever cleans it up.
    for (const fs::path& file : {MachineFile(), UserFile()})
        RemoveStaleTemporaries(file, options_.procRoot);
    if (!options_.loadOnFirstUse) LoadBoth();
}

void WinePrefixStore::BeforeAccess() const {
    // Loading fills the hives the const lookups read; a failed load is tried
    // again, and refused again, at the next look.
    auto* self = const_cast<WinePrefixStore*>(this);
    if (!loaded_) {
        self->LoadBoth();
    } else if (user_.text.Stale() || machine_.text.Stale()) {
        // A file changed in place while parts of it were still to be read: it is
        // read again and this store's changes are made anew on it, as a save
        // would; the access that found it failed, the next ones go on.
        self->Redo();
    }
}

void WinePrefixStore::LoadBoth() {
    loaded_ = false;
    // system.reg first: it decides the prefix's architecture, as in wineserver.
    Load(machine_, MachineFile(), machineStamp_);
    Load(user_, UserFile(), userStamp_);
    if (!machine_.arch.empty() && !user_.arch.empty() && machine_.arch != user_.arch) {
        std::string msg = UserFile().string() + ", line " + std::to_string(user_.archLine) +
                          ": architecture " + user_.arch + " differs from system.reg's " +
                          machine_.arch +
                          ". This is not a valid Wine registry file; it is left as it is.";
        user_.Clear();
        machine_.Clear();
        throw VbError::BadFileFormat(msg).From(kSource);
    }
    loaded_ = true;
}

void WinePrefixStore::Load(RegHive& hive, const fs::path& file, FileStamp& stamp) {
    FileText text;
    stamp = {};
    if (!ReadFileText(file, text, &stamp)) {
        hive.Clear();
        stamp = StampOf(file);  // a dangling link is still a link
        return;
    }
    ReadWineRegistry(hive, std::move(text), file.string());
}

void WinePrefixStore::Record(Change::Kind kind, std::uint32_t root, std::string_view path,
                             std::string_view name, const RegValue& value, bool recursive) {
    if (changedPaths_.empty() || changedPaths_.back() != path) changedPaths_.emplace_back(path);
    changes_.push_back({kind, root, static_cast<std::uint32_t>(changedPaths_.size() - 1),
                        std::string(name), value, recursive});
}

void WinePrefixStore::CreateKey(std::uint32_t root, std::string_view path) {
    if (KeyExists(root, path)) return;
    TreeStore::CreateKey(root, path);
    Record(Change::CreateKey, root, path);
}

bool WinePrefixStore::DeleteKey(std::uint32_t root, std::string_view path, bool recursive) {
    if (!TreeStore::DeleteKey(root, path, recursive)) return false;
    Record(Change::DeleteKey, root, path, {}, {}, recursive);
    return true;
}

void WinePrefixStore::WriteValue(std::uint32_t root, std::string_view path, std::string_view name,
                                 const RegValue& value) {
    // Writing what is there already changes nothing, so it overrides nothing that
    // another writer stores meanwhile.
    if (KeyExists(root, path)) {
        const auto old = ReadValue(root, path, name);
        if (old && *old == value) return;
    }
    TreeStore::WriteValue(root, path, name, value);
    Record(Change::WriteValue, root, path, name, value);
}

bool WinePrefixStore::DeleteValue(std::uint32_t root, std::string_view path,
                                  std::string_view name) {
    if (!TreeStore::DeleteValue(root, path, name)) return false;
    Record(Change::DeleteValue, root, path, name);
    return true;
}

void WinePrefixStore::Redo() {
    LoadBoth();
    // What another writer removed meanwhile is gone already; anything else this
    // store did is done again, in the order it was done.
    for (const Change& c : changes_) {
        const std::string& path = changedPaths_[c.path];
        switch (c.kind) {
            case Change::CreateKey:
                TreeStore::CreateKey(c.root, path);
                break;
            case Change::DeleteKey:
                TreeStore::DeleteKey(c.root, path, c.recursive);
                break;
            case Change::WriteValue:
                TreeStore::WriteValue(c.root, path, c.name, c.value);
                break;
            case Change::DeleteValue:
                if (KeyExists(c.root, path)) TreeStore::DeleteValue(c.root, path, c.name);
                break;
        }
    }
}

std::string WinePrefixStore::DefaultArch() const {
    for (const RegHive* h : {&machine_, &user_})
        if (!h->arch.empty()) return h->arch;
    const char* env = std::getenv("WINEARCH");
    if (env && std::string_view(env) == "win32") return "win32";
    return sizeof(void*) == 8 ? "win64" : "win32";
}

void WinePrefixStore::CheckNoWineServer() const {
    if (!options_.isPrefix) return;
    WineServerStatus s = FindWineServer(folder_, options_.serverSearchRoots);
    if (s.running)
        throw VbError(vbErrPermissionDenied, WineServerRunningMessage(folder_, s.pid), kSource);
}

namespace {

[[noreturn]] void RefuseLink(const fs::path& file) {
    throw VbError(vbErrPermissionDenied,
                  "Cannot save " + file.string() +
                      ": it is a symbolic link, which Velloran never writes through; the "
                      "registry changes were not saved",
                  kSource);
}

}  // namespace

bool WinePrefixStore::WriteChanged(const std::string& arch) {
    struct Branch {
        RegHive* hive;
        WineBranch branch;
        fs::path file;
        FileStamp* stamp;
        std::optional<PieceText> text;
        FileStamp written;
        bool saved = false;
        std::exception_ptr error = nullptr;

        void Write() {
            try {
                saved =
                    WriteFileAtomically(file, text->Pieces(), stamp, &written, hive->text.View());
            } catch (...) {
                error = std::current_exception();
            }
        }
    };
    Branch branches[] = {{&machine_, WineBranch::Machine, MachineFile(), &machineStamp_, {}, {}},
                         {&user_, WineBranch::User, UserFile(), &userStamp_, {}, {}}};
    for (Branch& b : branches) {
        if (b.stamp->link) RefuseLink(b.file);
        if (b.hive->dirty) b.text = RenderWineRegistryPieces(*b.hive, b.branch, arch);
    }
    // Both files wait for the disk at the same time: system.reg's small write
    // does not add its own wait to the large one's.
    std::thread other;
    if (branches[0].text && branches[1].text)
        other = std::thread([&b = branches[0]] { b.Write(); });
    else if (branches[0].text)
        branches[0].Write();
    if (branches[1].text) branches[1].Write();
    if (other.joinable()) other.join();
    // What is on the disk is adopted even when the other file failed.
    bool all = true;
    for (Branch& b : branches) {
        if (!b.text) continue;
        all = all && b.saved;
        if (!b.saved) continue;
        *b.stamp = b.written;
        if (!b.hive->fromFile && b.hive->arch.empty()) b.hive->arch = arch;
        AdoptWineRegistry(*b.hive, std::move(*b.text));
    }
    for (Branch& b : branches)
        if (b.error) std::rethrow_exception(b.error);
    return all;
}

void WinePrefixStore::Save() {
    if (!IsDirty()) return;
    std::error_code ec;
    if (options_.isPrefix) {
        if (!fs::is_directory(folder_, ec))
            throw VbError(vbErrPathNotFound, "The Wine prefix " + folder_.string() + " is missing",
                          kSource);
        CheckNoWineServer();
    } else {
        CreateOwnFolders(folder_);
    }
    // Another Velloran saving this registry waits until this save is over.
    const FolderLock lock(folder_);
    constexpr int kAttempts = 3;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const FileStamp machine = StampOf(MachineFile()), user = StampOf(UserFile());
        // Whoever put a link there may aim it at anything: not even read again.
        if (machine.link) RefuseLink(MachineFile());
        if (user.link) RefuseLink(UserFile());
        if (machine != machineStamp_ || user != userStamp_) {
            // Written by someone else since it was read: their changes stay, ours are
            // made again on top of them.
            if (options_.isPrefix) CheckNoWineServer();
            Redo();
            if (!IsDirty()) break;
        }
        if (WriteChanged(DefaultArch())) {
            changes_.clear();
            changedPaths_.clear();
            return;
        }
    }
    if (!IsDirty()) {
        changes_.clear();
        changedPaths_.clear();
        return;
    }
    throw VbError(vbErrPermissionDenied,
                  "The registry of " + Describe() +
                      " kept changing while Velloran saved it (another program is writing "
                      "it); the registry changes were not saved",
                  kSource);
}

std::string WinePrefixStore::Describe() const {
    return (options_.isPrefix ? "Wine prefix " : "Velloran store ") + folder_.string();
}

}  // namespace velloran
