// WindowsPlatform: the system, its drives and the shell's traces.
#include "common/platform/windows/WindowsPlatform.hpp"

#include "common/platform/windows/Win32.hpp"

// After windows.h:
#include <lmcons.h>
#include <shellapi.h>
#include <shlobj.h>

#include "common/platform/UserFolders.hpp"

// Exported by shell32 but in no header.
extern "C" __declspec(dllimport) HRESULT WINAPI SHUpdateRecycleBinIcon();

namespace velloran {

using win::Narrow;
using win::Wide;

namespace {

// The text of a buffer a W call filled, up to `length` units.
std::string Text(const wchar_t* buffer, DWORD length) {
    return Narrow(std::wstring_view(buffer, length));
}

// An ANSI text of the system (window titles through GetWindowTextA) as UTF-8.
std::string FromAnsi(const char* text) {
    const int n = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
    if (n <= 1) return {};
    std::wstring wide(static_cast<std::size_t>(n), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text, -1, wide.data(), n);
    wide.resize(static_cast<std::size_t>(n - 1));
    return Narrow(wide);
}

// No "insert a disk" dialog while drives without media are asked about.
class QuietErrors {
public:
    QuietErrors() : old_(SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX)) {}
    ~QuietErrors() { SetErrorMode(old_); }
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;

private:
    UINT old_;
};

}  // namespace

std::optional<OsVersionInfo> WindowsPlatform::GetVersionEx() {
    OSVERSIONINFOA info{};
    info.dwOSVersionInfoSize = 148;  // sizeof(OSVERSIONINFOA), as the program sets it
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    if (!GetVersionExA(&info)) return std::nullopt;
#pragma GCC diagnostic pop
    OsVersionInfo v;
    v.majorVersion = info.dwMajorVersion;
    v.minorVersion = info.dwMinorVersion;
    v.buildNumber = info.dwBuildNumber;
    v.platformId = info.dwPlatformId;
    v.csdVersion = FromAnsi(info.szCSDVersion);
    return v;
}

std::string WindowsPlatform::WindowsDirectory() {
    wchar_t buffer[MAX_PATH + 1] = {};
    const UINT n = GetWindowsDirectoryW(buffer, MAX_PATH + 1);
    return n > 0 && n <= MAX_PATH ? Text(buffer, n) : std::string();
}

std::string WindowsPlatform::SystemDirectory() {
    wchar_t buffer[MAX_PATH + 1] = {};
    const UINT n = GetSystemDirectoryW(buffer, MAX_PATH + 1);
    return n > 0 && n <= MAX_PATH ? Text(buffer, n) : std::string();
}

// Without the separator at its end, as the other platform gives it.
std::string WindowsPlatform::TempPath() {
    wchar_t buffer[MAX_PATH + 1] = {};
    DWORD n = GetTempPathW(MAX_PATH + 1, buffer);
    if (n == 0 || n > MAX_PATH) return "C:\\";
    if (n > 3 && buffer[n - 1] == L'\\') --n;
    return Text(buffer, n);
}

std::string WindowsPlatform::UserName() {
    wchar_t buffer[UNLEN + 1] = {};
    DWORD n = UNLEN + 1;
    if (!GetUserNameW(buffer, &n) || n == 0) return EnvironmentValue("USERNAME");
    return Text(buffer, n - 1);
}

std::optional<std::string> WindowsPlatform::SpecialFolderPath(int csidl) {
    // The shell's owner window number the program has always passed; only the low
    // byte of the id names the folder.
    LPITEMIDLIST list = nullptr;
    if (SHGetSpecialFolderLocation(reinterpret_cast<HWND>(static_cast<INT_PTR>(100)), csidl & 0xFF,
                                   &list) != S_OK ||
        !list)
        return std::nullopt;
    wchar_t buffer[MAX_PATH + 1] = {};
    const bool ok = SHGetPathFromIDListW(list, buffer);
    CoTaskMemFree(list);
    if (!ok || !buffer[0]) return std::nullopt;
    return Narrow(buffer);
}

// Windows paths are the host's own.
std::optional<std::string> WindowsPlatform::HostPath(const std::string& windowsPath) {
    const bool drive = windowsPath.size() >= 2 && windowsPath[1] == ':' &&
                       ((windowsPath[0] | 0x20) >= 'a' && (windowsPath[0] | 0x20) <= 'z');
    const bool unc = windowsPath.starts_with("\\\\");
    if (!drive && !unc) return std::nullopt;
    return windowsPath;
}

std::optional<DiskSpace> WindowsPlatform::DiskFreeSpace(const std::string& root) {
    QuietErrors quiet;
    const std::wstring wroot = Wide(root);
    DWORD sectors = 0, bytes = 0, freeClusters = 0, totalClusters = 0;
    DiskSpace d;
    if (GetDiskFreeSpaceW(wroot.c_str(), &sectors, &bytes, &freeClusters, &totalClusters))
        d.geometry = DiskGeometry{sectors, bytes, freeClusters, totalClusters};
    ULARGE_INTEGER available{}, total{}, totalFree{};
    if (GetDiskFreeSpaceExW(wroot.c_str(), &available, &total, &totalFree)) {
        d.freeBytes = static_cast<double>(available.QuadPart);
        d.totalBytes = static_cast<double>(total.QuadPart);
    } else if (!d.geometry) {
        return std::nullopt;
    } else {
        const double cluster = double(sectors) * double(bytes);
        d.freeBytes = cluster * freeClusters;
        d.totalBytes = cluster * totalClusters;
    }
    return d;
}

std::vector<LogicalDrive> WindowsPlatform::LogicalDrives() {
    QuietErrors quiet;
    std::vector<LogicalDrive> drives;
    const DWORD n = GetLogicalDriveStringsW(0, nullptr);
    if (n == 0) return drives;
    std::wstring all(n, L'\0');
    const DWORD got = GetLogicalDriveStringsW(n, all.data());
    for (const wchar_t* p = all.c_str(); p < all.c_str() + got && *p; p += wcslen(p) + 1) {
        LogicalDrive d;
        d.root = Narrow(p);
        d.type = static_cast<int>(GetDriveTypeW(p));
        wchar_t label[MAX_PATH + 1] = {};
        wchar_t fileSystem[MAX_PATH + 1] = {};
        // Removable drives without media answer nothing; they are listed anyway.
        if (d.type != DRIVE_REMOVABLE && d.type != DRIVE_CDROM &&
            GetVolumeInformationW(p, label, MAX_PATH + 1, nullptr, nullptr, nullptr, fileSystem,
                                  MAX_PATH + 1)) {
            d.label = Narrow(label);
            d.fileSystem = Narrow(fileSystem);
        }
        drives.push_back(std::move(d));
    }
    return drives;
}

bool WindowsPlatform::FileExists(const std::string& path) {
    const DWORD a = win::Attributes(path);
    return a != INVALID_FILE_ATTRIBUTES && !(a & FILE_ATTRIBUTE_DIRECTORY);
}

bool WindowsPlatform::DirectoryExists(const std::string& path) {
    const DWORD a = win::Attributes(path);
    return a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_DIRECTORY);
}

std::string WindowsPlatform::HomeDirectory() { return Narrow(velloran::HomeDirectory().native()); }

void WindowsPlatform::ShellOpen(const std::string& path) {
    ShellExecuteW(nullptr, L"open", Wide(path).c_str(), nullptr, nullptr, SW_SHOWNORMAL);
}

std::optional<std::string> WindowsPlatform::FindTopLevelWindow(const std::string& windowClass,
                                                               bool close) {
    HWND window = FindWindowA(windowClass.c_str(), nullptr);
    if (!window) return std::nullopt;
    char title[512] = {};
    GetWindowTextA(window, title, sizeof title);
    if (close) PostMessageA(window, WM_CLOSE, 0, 0);
    return FromAnsi(title);
}

// The clipboard is opened for the call, as the system requires of its owner.
void WindowsPlatform::EmptyClipboard() {
    for (int attempt = 0; attempt < 10; ++attempt) {
        if (OpenClipboard(nullptr)) {
            ::EmptyClipboard();
            CloseClipboard();
            return;
        }
        Sleep(20);  // another program holds it for a moment
    }
}

Leftovers WindowsPlatform::EmptyRecycleBin(int flags) {
    Leftovers left;
    const HRESULT hr = SHEmptyRecycleBinW(nullptr, nullptr, static_cast<DWORD>(flags));
    const RemovalCount still = RecycleBinContents();
    if (still.items > 0)
        left.push_back("Recycle Bin: " + std::to_string(still.items) +
                       " item(s) could not be removed" +
                       (FAILED(hr) ? " (" + win::ErrorText(static_cast<DWORD>(hr)) + ")" : ""));
    return left;
}

void WindowsPlatform::UpdateRecycleBinIcon() { SHUpdateRecycleBinIcon(); }

RemovalCount WindowsPlatform::RecycleBinContents() {
    SHQUERYRBINFO info{};
    info.cbSize = sizeof info;
    if (FAILED(SHQueryRecycleBinW(nullptr, &info))) return {};
    return {static_cast<std::int64_t>(info.i64NumItems), static_cast<std::int64_t>(info.i64Size)};
}

std::string WindowsPlatform::RecentFolder() {
    return SpecialFolderPath(CSIDL_RECENT).value_or(std::string());
}

namespace {

// Regular files directly in a folder (the Recent folder holds shortcuts); links
// and subfolders are left alone.
template <typename Each>
void ForFolderFiles(const std::string& folder, Each each) {
    WIN32_FIND_DATAW data{};
    win::FindHandle find(FindFirstFileExW(win::FolderPattern(folder).c_str(), FindExInfoBasic,
                                          &data, FindExSearchNameMatch, nullptr,
                                          FIND_FIRST_EX_LARGE_FETCH));
    if (!find) return;
    do {
        if (data.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT))
            continue;
        each(data);
    } while (FindNextFileW(find.get(), &data));
}

}  // namespace

// The shell's own clear call first; Wine's clears nothing, so the shortcuts of
// the Recent folder are deleted as well (the shell's call does that on Windows).
Leftovers WindowsPlatform::ClearRecentDocs() {
    SHAddToRecentDocs(SHARD_PIDL, nullptr);
    Leftovers left;
    const std::string folder = RecentFolder();
    if (folder.empty()) return left;
    ForFolderFiles(folder, [&](const WIN32_FIND_DATAW& data) {
        const std::wstring file = win::LongPath(folder) + L"\\" + data.cFileName;
        if (data.dwFileAttributes & FILE_ATTRIBUTE_READONLY)
            SetFileAttributesW(file.c_str(), data.dwFileAttributes & ~FILE_ATTRIBUTE_READONLY);
        if (!DeleteFileW(file.c_str()))
            left.push_back(win::DisplayPath(file) + ": " + win::ErrorText(GetLastError()));
    });
    return left;
}

RemovalCount WindowsPlatform::RecentDocsContents() {
    RemovalCount n;
    const std::string folder = RecentFolder();
    if (folder.empty()) return n;
    ForFolderFiles(folder, [&](const WIN32_FIND_DATAW& data) {
        ++n.items;
        n.bytes += static_cast<std::int64_t>((std::uint64_t(data.nFileSizeHigh) << 32) |
                                             data.nFileSizeLow);
    });
    return n;
}

// Windows browsers hold their profile lock open without sharing it (Gecko's
// parent.lock, Chromium's lockfile): a file that cannot be opened for reading
// with every sharing mode allowed is held.
bool WindowsPlatform::FileLockHeld(const std::string& path) {
    win::Handle h(CreateFileW(win::LongPath(path).c_str(), GENERIC_READ,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                              OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    return !h && GetLastError() == ERROR_SHARING_VIOLATION;
}

// Lock links are a Unix custom; Windows browsers lock by holding files open.
std::optional<std::string> WindowsPlatform::ReadLink(const std::string& /*path*/) {
    return std::nullopt;
}

bool WindowsPlatform::ProcessAliveOnThisHost(const std::string& host, long pid) {
    wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD n = MAX_COMPUTERNAME_LENGTH + 1;
    if (pid <= 0 || !GetComputerNameW(name, &n)) return false;
    if (CompareStringOrdinal(Wide(host).c_str(), -1, name, static_cast<int>(n), TRUE) !=
            CSTR_EQUAL &&
        host != "127.0.0.1" && host != "::1")
        return false;
    win::Handle process(
        OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, static_cast<DWORD>(pid)));
    if (!process) return GetLastError() == ERROR_ACCESS_DENIED;
    DWORD code = 0;
    return GetExitCodeProcess(process.get(), &code) && code == STILL_ACTIVE;
}

std::string WindowsPlatform::ExecutablePath() {
    std::wstring buffer(MAX_PATH, L'\0');
    for (;;) {
        const DWORD n =
            GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
        if (n == 0) return {};
        if (n < buffer.size()) return win::DisplayPath(std::wstring_view(buffer.data(), n));
        buffer.resize(buffer.size() * 2);
    }
}

void WindowsPlatform::EnableShutdownPrivilege() {
    HANDLE raw = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &raw)) return;
    win::Handle token(raw);
    TOKEN_PRIVILEGES privileges{};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    if (!LookupPrivilegeValueW(nullptr, SE_SHUTDOWN_NAME, &privileges.Privileges[0].Luid)) return;
    AdjustTokenPrivileges(token.get(), FALSE, &privileges, 0, nullptr, nullptr);
}

bool WindowsPlatform::PowerOff() {
    EnableShutdownPrivilege();
    return ExitWindowsEx(EWX_SHUTDOWN | EWX_POWEROFF, SHTDN_REASON_FLAG_PLANNED) != 0;
}

bool WindowsPlatform::Reboot() {
    EnableShutdownPrivilege();
    return ExitWindowsEx(EWX_REBOOT, SHTDN_REASON_FLAG_PLANNED) != 0;
}

}  // namespace velloran
