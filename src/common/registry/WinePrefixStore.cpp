#include "common/registry/WinePrefixStore.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

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
    // system.reg first: it decides the prefix's architecture, as in wineserver.
    Load(machine_, MachineFile());
    Load(user_, UserFile());
    if (!machine_.arch.empty() && !user_.arch.empty() && machine_.arch != user_.arch) {
        std::string msg = UserFile().string() + ", line " + std::to_string(user_.archLine) +
                          ": architecture " + user_.arch + " differs from system.reg's " +
                          machine_.arch +
                          ". This is not a valid Wine registry file; it is left as it is.";
        user_.Clear();
        machine_.Clear();
        throw VbError::BadFileFormat(msg).From(kSource);
    }
}

void WinePrefixStore::Load(RegHive& hive, const fs::path& file) {
    std::string text;
    if (!ReadWholeFile(file, text)) {
        hive.Clear();
        return;
    }
    ReadWineRegistry(hive, std::move(text), file.string());
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

void WinePrefixStore::Save() {
    if (!IsDirty()) return;
    std::error_code ec;
    if (options_.isPrefix) {
        if (!fs::is_directory(folder_, ec))
            throw VbError(vbErrPathNotFound, "The Wine prefix " + folder_.string() + " is missing",
                          kSource);
        CheckNoWineServer();
    } else {
        fs::create_directories(folder_, ec);
        if (ec) ThrowFileError(ec, "Cannot create", folder_);
    }
    std::string arch = DefaultArch();
    struct Branch {
        RegHive* hive;
        WineBranch branch;
        fs::path file;
    };
    for (const Branch& b : {Branch{&machine_, WineBranch::Machine, MachineFile()},
                            Branch{&user_, WineBranch::User, UserFile()}}) {
        if (!b.hive->dirty) continue;
        PieceText text = RenderWineRegistryPieces(*b.hive, b.branch, arch);
        WriteFileAtomically(b.file, text.Pieces());
        if (!b.hive->fromFile && b.hive->arch.empty()) b.hive->arch = arch;
        AdoptWineRegistry(*b.hive, std::move(text));
    }
}

std::string WinePrefixStore::Describe() const {
    return (options_.isPrefix ? "Wine prefix " : "Velloran store ") + folder_.string();
}

}  // namespace velloran
