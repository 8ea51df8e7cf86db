// The user's folders on Windows. The environment's values win, as they do for
// the programs a user starts from a shell, then the shell's own folders: the
// configuration lives in the roaming application data (%APPDATA%), state, data
// and caches in the local one (%LOCALAPPDATA%).
#include "common/platform/UserFolders.hpp"

#include "common/platform/windows/Win32.hpp"

// After windows.h:
#include <shlobj.h>

namespace velloran {

namespace fs = std::filesystem;

namespace {

std::wstring WideEnvironment(const wchar_t* name) {
    const DWORD n = GetEnvironmentVariableW(name, nullptr, 0);
    if (n == 0) return {};
    std::wstring value(n, L'\0');
    const DWORD got = GetEnvironmentVariableW(name, value.data(), n);
    value.resize(got < n ? got : 0);
    return value;
}

fs::path Folder(const wchar_t* variable, int csidl) {
    fs::path p = WideEnvironment(variable);
    if (!p.empty() && p.is_absolute()) return p;
    wchar_t buffer[MAX_PATH] = {};
    if (SUCCEEDED(SHGetFolderPathW(nullptr, csidl, nullptr, SHGFP_TYPE_CURRENT, buffer)))
        return fs::path(buffer);
    return {};
}

}  // namespace

std::string EnvironmentValue(const char* name) {
    return win::Narrow(WideEnvironment(win::Wide(name).c_str()));
}

fs::path HomeDirectory() {
    fs::path home = Folder(L"USERPROFILE", CSIDL_PROFILE);
    return home.empty() ? fs::path(L"C:\\") : home;
}

fs::path XdgConfigHome() { return Folder(L"APPDATA", CSIDL_APPDATA); }
fs::path XdgStateHome() { return Folder(L"LOCALAPPDATA", CSIDL_LOCAL_APPDATA); }
fs::path XdgDataHome() { return Folder(L"LOCALAPPDATA", CSIDL_LOCAL_APPDATA); }
fs::path XdgCacheHome() { return Folder(L"LOCALAPPDATA", CSIDL_LOCAL_APPDATA); }

fs::path ShippedDataFolder() { return win::ProgramFolder(); }

}  // namespace velloran
