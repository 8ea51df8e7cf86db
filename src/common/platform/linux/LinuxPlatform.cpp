#include "common/platform/linux/LinuxPlatform.hpp"

#include "common/Text.hpp"
#include "common/platform/linux/DesktopTraces.hpp"
#include "common/platform/linux/Trash.hpp"
#include "common/platform/linux/WindowLookup.hpp"

#include <pwd.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>

extern char** environ;

namespace velloran {

namespace fs = std::filesystem;

std::string LinuxPlatform::WindowsDirectory() {
    if (!target_.HasPrefix()) return {};
    fs::path p = target_.prefix / "drive_c" / "windows";
    return DirectoryExists(p.string()) ? p.string() : std::string();
}

std::string LinuxPlatform::SystemDirectory() {
    std::string win = WindowsDirectory();
    if (win.empty()) return {};
    fs::path p = fs::path(win) / "system32";
    return DirectoryExists(p.string()) ? p.string() : std::string();
}

std::string LinuxPlatform::TempPath() {
    const char* t = std::getenv("TMPDIR");
    return (t && *t) ? std::string(t) : std::string("/tmp");
}

std::string LinuxPlatform::UserName() {
    if (const passwd* pw = getpwuid(geteuid()); pw && pw->pw_name) return pw->pw_name;
    const char* u = std::getenv("USER");
    return u ? std::string(u) : std::string();
}

// The user's roaming application data inside the prefix: "AppData\Roaming" on
// current Wine, "Application Data" on old prefixes.
std::string LinuxPlatform::AppDataDirectory() {
    if (!target_.HasPrefix()) return {};
    const fs::path user = target_.prefix / "drive_c" / "users" / UserName();
    for (const fs::path& p : {user / "AppData" / "Roaming", user / "Application Data"})
        if (DirectoryExists(p.string())) return p.string();
    return {};
}

std::optional<std::string> LinuxPlatform::SpecialFolderPath(int csidl) {
    std::string path;
    switch (csidl & 0xFF) {
        case CSIDL_WINDOWS:
            path = WindowsDirectory();
            break;
        case CSIDL_SYSTEM:
            path = SystemDirectory();
            break;
        case CSIDL_APPDATA:
            path = AppDataDirectory();
            break;
        case CSIDL_RECENT:
            path = RecentFolder();
            break;
        default:
            break;
    }
    if (path.empty()) return std::nullopt;
    return path;
}

namespace {

// The entry of `dir` named `name` in any letter case, as Wine finds it; the name
// itself when there is none (the path then names what does not exist yet).
std::string EntryName(const fs::path& dir, const std::string& name) {
    std::error_code ec;
    if (fs::symlink_status(dir / name, ec).type() != fs::file_type::not_found) return name;
    for (fs::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec))
        if (EqualsIgnoringCase(it->path().filename().string(), name))
            return it->path().filename().string();
    return name;
}

}  // namespace

// "X:\a\b" goes through the prefix's dosdevices link of drive x:, then each
// component is matched without regard to case.
std::optional<std::string> LinuxPlatform::HostPath(const std::string& windowsPath) {
    if (!target_.HasPrefix() || windowsPath.size() < 2 || windowsPath[1] != ':' ||
        !std::isalpha(static_cast<unsigned char>(windowsPath[0])))
        return std::nullopt;
    const std::string drive(
        1, static_cast<char>(std::tolower(static_cast<unsigned char>(windowsPath[0]))));
    std::error_code ec;
    fs::path path = fs::canonical(target_.prefix / "dosdevices" / (drive + ":"), ec);
    if (ec) return std::nullopt;
    std::size_t pos = 2;
    while (pos < windowsPath.size()) {
        const std::size_t end = windowsPath.find_first_of("\\/", pos);
        const std::string part =
            windowsPath.substr(pos, end == std::string::npos ? end : end - pos);
        if (!part.empty() && part != ".") path /= EntryName(path, part);
        pos = end == std::string::npos ? windowsPath.size() : end + 1;
    }
    return path.string();
}

std::optional<DiskSpace> LinuxPlatform::DiskFreeSpace(const std::string& root) {
    struct statvfs st {};
    if (statvfs(root.c_str(), &st) != 0) return std::nullopt;
    DiskSpace d;
    const double unit = static_cast<double>(st.f_frsize ? st.f_frsize : st.f_bsize);
    d.freeBytes = unit * static_cast<double>(st.f_bavail);
    d.totalBytes = unit * static_cast<double>(st.f_blocks);
    return d;
}

bool LinuxPlatform::FileExists(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool LinuxPlatform::DirectoryExists(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string LinuxPlatform::HomeDirectory() { return velloran::HomeDirectory().string(); }

void LinuxPlatform::ShellOpen(const std::string& path) {
    // Detached: the opener is left to the desktop, and we never wait for a browser.
    pid_t pid = fork();
    if (pid == 0) {
        setsid();
        pid_t inner = fork();
        if (inner == 0) {
            const char* argv[] = {"xdg-open", path.c_str(), nullptr};
            execvp("xdg-open", const_cast<char* const*>(argv));
            _exit(127);
        }
        _exit(0);
    }
    if (pid > 0) waitpid(pid, nullptr, 0);
}

}  // namespace velloran

namespace velloran {

std::optional<std::string> LinuxPlatform::FindTopLevelWindow(const std::string& windowClass,
                                                             bool close) {
    const linuxfs::WindowClassRule* rule = linuxfs::RuleForWindowClass(windowClass);
    if (!rule) return std::nullopt;
    if (auto title = linuxfs::FindX11Window(*rule, close)) return title;
    return linuxfs::FindProcess(*rule, procRoot);
}

std::string LinuxPlatform::RecentFolder() {
    if (!target_.HasPrefix()) return {};
    const fs::path user = target_.prefix / "drive_c" / "users" / UserName();
    for (const fs::path& p :
         {user / "AppData" / "Roaming" / "Microsoft" / "Windows" / "Recent", user / "Recent"})
        if (DirectoryExists(p.string())) return p.string();
    return {};
}

std::vector<fs::path> LinuxPlatform::RecentLists() {
    return {XdgDataHome() / "recently-used.xbel",
            velloran::HomeDirectory() / ".recently-used.xbel"};
}

void LinuxPlatform::EmptyClipboard() {
    if (clipboardClearer) {
        clipboardClearer();
        return;
    }
    linuxfs::ClearX11Clipboard();
}

// The desktop's trash never asks, whatever the flags say.
Leftovers LinuxPlatform::EmptyRecycleBin(int /*flags*/) { return linuxfs::Trash().Empty().failed; }

RemovalCount LinuxPlatform::RecycleBinContents() {
    linuxfs::Trash trash;
    return {static_cast<std::int64_t>(trash.CountItems()), static_cast<std::int64_t>(trash.Size())};
}

Leftovers LinuxPlatform::ClearRecentDocs() {
    Leftovers left;
    for (const auto& list : RecentLists())
        if (!linuxfs::ClearRecentlyUsed(list))
            left.push_back(list.string() + ": a link, not a file; left as it is");
    if (std::string recent = RecentFolder(); !recent.empty()) linuxfs::RemoveFolderFiles(recent);
    return left;
}

RemovalCount LinuxPlatform::RecentDocsContents() {
    linuxfs::TraceCount n;
    for (const auto& list : RecentLists()) n += linuxfs::CountRecentlyUsed(list);
    if (std::string recent = RecentFolder(); !recent.empty())
        n += linuxfs::CountFolderFiles(recent);
    return {n.items, n.bytes};
}

}  // namespace velloran
