#include "common/platform/WineServer.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace velloran {

namespace fs = std::filesystem;

namespace {

// Asks whether someone holds the write lock on byte 0 of `lock`.
bool LockHeld(const fs::path& lock, pid_t& pid) {
    int fd = open(lock.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) return false;
    struct flock fl {};
    fl.l_type = F_WRLCK;
    fl.l_whence = SEEK_SET;
    fl.l_start = 0;
    fl.l_len = 1;
    bool held = fcntl(fd, F_GETLK, &fl) == 0 && fl.l_type != F_UNLCK;
    if (held) pid = fl.l_pid;
    close(fd);
    return held;
}

void AddParents(const fs::path& root, std::vector<fs::path>& out) {
    DIR* d = opendir(root.c_str());
    if (!d) return;
    while (dirent* e = readdir(d)) {
        std::string n = e->d_name;
        // /tmp/.wine-<uid> upstream; /tmp/wine-<random> in Debian's build.
        if (n.rfind(".wine-", 0) == 0 || n.rfind("wine-", 0) == 0) out.push_back(root / n);
    }
    closedir(d);
}

// Whether a process's command name starts with `prefix`. Read with plain calls:
// a desktop runs hundreds of processes, and this is asked of each.
bool CommandStartsWith(const std::string& commFile, std::string_view prefix) {
    const int fd = open(commFile.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    char name[64];
    const ssize_t n = read(fd, name, sizeof name);
    close(fd);
    return n > 0 && std::string_view(name, static_cast<size_t>(n)).starts_with(prefix);
}

// A wineserver works in its server folder: look for one whose working directory
// has the prefix's server folder name. Catches servers whose lock cannot be seen.
pid_t FindServerProcess(const std::string& dirName, fs::path& serverDir) {
    DIR* d = opendir("/proc");
    if (!d) return 0;
    pid_t found = 0;
    while (dirent* e = readdir(d)) {
        char* end = nullptr;
        long pid = std::strtol(e->d_name, &end, 10);
        if (pid <= 0 || *end) continue;
        const std::string base = std::string("/proc/") + e->d_name;
        if (!CommandStartsWith(base + "/comm", "wineserver")) continue;
        char buf[4096];
        ssize_t n = readlink((base + "/cwd").c_str(), buf, sizeof buf - 1);
        if (n <= 0) continue;
        fs::path cwd(std::string(buf, static_cast<size_t>(n)));
        if (cwd.filename() == dirName) {
            found = static_cast<pid_t>(pid);
            serverDir = cwd;
            break;
        }
    }
    closedir(d);
    return found;
}

std::string ShellQuote(const std::string& s) {
    bool plain = !s.empty();
    for (char c : s)
        if (!(isalnum(static_cast<unsigned char>(c)) ||
              std::string_view("/._-+,:@%").find(c) != std::string_view::npos))
            plain = false;
    if (plain) return s;
    std::string out = "'";
    for (char c : s) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

}  // namespace

std::string WineServerDirName(const fs::path& prefix) {
    struct stat st {};
    if (stat(prefix.c_str(), &st) != 0) return {};
    char buf[64];
    std::snprintf(buf, sizeof buf, "server-%llx-%llx", static_cast<unsigned long long>(st.st_dev),
                  static_cast<unsigned long long>(st.st_ino));
    return buf;
}

WineServerStatus FindWineServer(const fs::path& prefix, const std::vector<fs::path>& searchRoots) {
    WineServerStatus status;
    std::string dirName = WineServerDirName(prefix);
    if (dirName.empty()) return status;

    std::vector<fs::path> roots = searchRoots;
    if (roots.empty()) {
        roots.push_back("/tmp");
        if (const char* t = std::getenv("TMPDIR"); t && *t && fs::path(t) != "/tmp")
            roots.push_back(t);
    }
    std::vector<fs::path> parents;
    for (const auto& r : roots) AddParents(r, parents);
    parents.push_back(prefix / ".wineserver");

    for (const auto& parent : parents) {
        fs::path dir = parent / dirName;
        pid_t pid = 0;
        if (LockHeld(dir / "lock", pid)) {
            status.running = true;
            status.pid = pid;
            status.serverDir = dir;
            return status;
        }
    }
    if (pid_t pid = FindServerProcess(dirName, status.serverDir)) {
        status.running = true;
        status.pid = pid;
    }
    return status;
}

std::string WineServerRunningMessage(const fs::path& prefix, long pid) {
    std::string p = prefix.string();
    std::string msg = "The Wine prefix " + p + " is in use: its wineserver";
    if (pid > 0) msg += " (process " + std::to_string(pid) + ")";
    msg +=
        " is running and keeps the registry in memory, so it would overwrite any change. "
        "Nothing was written. Close the Windows programs running in it, or stop it with: "
        "WINEPREFIX=" +
        ShellQuote(p) + " wineserver -k";
    return msg;
}

}  // namespace velloran
