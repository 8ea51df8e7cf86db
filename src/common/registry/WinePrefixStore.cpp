#include "common/registry/WinePrefixStore.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "common/VbError.hpp"
#include "common/registry/WineServer.hpp"

namespace velloran {

namespace fs = std::filesystem;

namespace {

constexpr const char* kSource = "Registry";

[[noreturn]] void ThrowIo(int err, const std::string& what, const fs::path& file) {
    VbErrorNumber number = vbErrDeviceIO;
    std::string why = std::strerror(err);
    if (err == ENOSPC || err == EDQUOT) {
        number = vbErrDiskFull;
        why = "the disk is full";
    } else if (err == EACCES || err == EPERM || err == EROFS) {
        number = vbErrPermissionDenied;
    }
    throw VbError(number, what + " " + file.string() + ": " + why, kSource);
}

// Returns false when the file does not exist.
bool ReadWholeFile(const fs::path& file, std::string& out) {
    int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT) return false;
        ThrowIo(errno, "Cannot read", file);
    }
    struct stat st {};
    if (fstat(fd, &st) != 0) {
        int err = errno;
        close(fd);
        ThrowIo(err, "Cannot read", file);
    }
    if (!S_ISREG(st.st_mode)) {
        close(fd);
        ThrowIo(S_ISDIR(st.st_mode) ? EISDIR : EINVAL, "Cannot read", file);
    }
    out.clear();
    out.resize(static_cast<size_t>(st.st_size));
    size_t got = 0;
    for (;;) {
        if (got == out.size()) out.resize(out.size() + 65536);
        ssize_t n = read(fd, out.data() + got, out.size() - got);
        if (n < 0) {
            if (errno == EINTR) continue;
            int err = errno;
            close(fd);
            ThrowIo(err, "Cannot read", file);
        }
        if (n == 0) break;
        got += static_cast<size_t>(n);
    }
    out.resize(got);
    close(fd);
    return true;
}

}  // namespace

void WriteFileAtomically(const fs::path& file, const std::string& text) {
    // Through a symbolic link, replace the file it points to, not the link.
    fs::path target = file;
    std::error_code ec;
    if (fs::is_symlink(file, ec)) {
        fs::path resolved = fs::canonical(file, ec);
        if (!ec) target = resolved;
    }
    struct stat old {};
    bool existed = stat(target.c_str(), &old) == 0;
    fs::path dir = target.parent_path();
    if (dir.empty()) dir = ".";

    fs::path tmp;
    int fd = -1;
    for (int i = 0; i < 1000 && fd < 0; ++i) {
        tmp = dir / AtomicTemporaryName(target, getpid(), i);
        fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, existed ? 0600 : 0666);
        if (fd < 0 && errno != EEXIST) ThrowIo(errno, "Cannot save", target);
    }
    if (fd < 0) ThrowIo(EEXIST, "Cannot save", target);

    auto fail = [&](int err) {
        close(fd);
        unlink(tmp.c_str());
        ThrowIo(err, "Cannot save", target);
    };
    size_t done = 0;
    while (done < text.size()) {
        ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            fail(errno);
        }
        done += static_cast<size_t>(n);
    }
    if (existed) {
        if (fchown(fd, old.st_uid, old.st_gid) != 0 && errno != EPERM) fail(errno);
        if (fchmod(fd, old.st_mode & 07777) != 0) fail(errno);
    }
    if (fsync(fd) != 0) fail(errno);
    if (close(fd) != 0) {
        int err = errno;
        unlink(tmp.c_str());
        ThrowIo(err, "Cannot save", target);
    }
    if (rename(tmp.c_str(), target.c_str()) != 0) {
        int err = errno;
        unlink(tmp.c_str());
        ThrowIo(err, "Cannot save", target);
    }
    // The rename itself must reach the disk too.
    int dfd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dfd >= 0) {
        fsync(dfd);
        close(dfd);
    }
}

std::string AtomicTemporaryName(const fs::path& file, long pid, int n) {
    return "." + file.filename().string() + ".velloran-" + std::to_string(pid) + "-" +
           std::to_string(n) + ".tmp";
}

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
        if (ec) ThrowIo(ec.value(), "Cannot create", folder_);
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
        std::string text = RenderWineRegistry(*b.hive, b.branch, arch);
        WriteFileAtomically(b.file, text);
        if (!b.hive->fromFile && b.hive->arch.empty()) b.hive->arch = arch;
        AdoptWineRegistry(*b.hive, std::move(text));
    }
}

std::string WinePrefixStore::Describe() const {
    return (options_.isPrefix ? "Wine prefix " : "Velloran store ") + folder_.string();
}

}  // namespace velloran
