#include "common/platform/windows/Win32.hpp"

#include <cerrno>
#include <vector>

namespace velloran::win {

std::wstring Wide(std::string_view utf8) {
    if (utf8.empty()) return {};
    const int n =
        MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
    std::wstring out(static_cast<std::size_t>(n), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), out.data(), n);
    return out;
}

std::string Narrow(std::wstring_view utf16) {
    if (utf16.empty()) return {};
    const int n = WideCharToMultiByte(CP_UTF8, 0, utf16.data(), static_cast<int>(utf16.size()),
                                      nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<std::size_t>(n), '\0');
    WideCharToMultiByte(CP_UTF8, 0, utf16.data(), static_cast<int>(utf16.size()), out.data(), n,
                        nullptr, nullptr);
    return out;
}

bool IsSeparator(wchar_t c) { return c == L'\\' || c == L'/'; }

namespace {

constexpr std::wstring_view kLongPrefix = L"\\\\?\\";
constexpr std::wstring_view kLongUncPrefix = L"\\\\?\\UNC\\";

// The absolute form of a path with backslashes and without "." and ".." parts;
// the "\\?\" prefix is added by the caller.
std::wstring FullPath(std::wstring path) {
    for (wchar_t& c : path)
        if (c == L'/') c = L'\\';
    if (path.starts_with(kLongPrefix)) return path;
    const DWORD n = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
    if (n == 0) return path;
    std::wstring full(n, L'\0');
    const DWORD got = GetFullPathNameW(path.c_str(), n, full.data(), nullptr);
    full.resize(got);
    return full;
}

}  // namespace

std::wstring LongPath(std::string_view utf8) {
    return LongPathOf(std::filesystem::path(Wide(utf8)));
}

std::wstring LongPathOf(const std::filesystem::path& path) {
    const std::wstring full = FullPath(path.native());
    if (full.starts_with(kLongPrefix)) return full;
    if (full.size() >= 2 && full[0] == L'\\' && full[1] == L'\\')
        return std::wstring(kLongUncPrefix) + full.substr(2);
    if (full.size() >= 3 && full[1] == L':') return std::wstring(kLongPrefix) + full;
    return full;
}

std::wstring FolderPattern(std::string_view folder) {
    std::wstring pattern = LongPath(folder);
    while (!pattern.empty() && pattern.back() == L'\\') pattern.pop_back();
    return pattern + L"\\*";
}

std::wstring ShellPath(std::string_view utf8) {
    std::wstring full = FullPath(Wide(utf8));
    if (full.starts_with(kLongUncPrefix)) return L"\\\\" + full.substr(kLongUncPrefix.size());
    if (full.starts_with(kLongPrefix)) return full.substr(kLongPrefix.size());
    return full;
}

std::string DisplayPath(std::wstring_view path) {
    if (path.starts_with(kLongUncPrefix))
        return "\\\\" + Narrow(path.substr(kLongUncPrefix.size()));
    if (path.starts_with(kLongPrefix)) path.remove_prefix(kLongPrefix.size());
    std::string out = Narrow(path);
    for (char& c : out)
        if (c == '/') c = '\\';
    return out;
}

std::filesystem::path ProgramFolder() {
    std::wstring buffer(MAX_PATH, L'\0');
    for (;;) {
        const DWORD n =
            GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
        if (n == 0) return {};
        if (n < buffer.size()) return std::filesystem::path(buffer.substr(0, n)).parent_path();
        buffer.resize(buffer.size() * 2);
    }
}

std::string ErrorText(DWORD error) {
    wchar_t* text = nullptr;
    const DWORD n = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, error, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    std::string out = n && text ? Narrow(std::wstring_view(text, n)) : std::string();
    if (text) LocalFree(text);
    while (!out.empty() && (out.back() == '\n' || out.back() == '\r' || out.back() == ' '))
        out.pop_back();
    if (out.empty()) out = "Windows error " + std::to_string(error);
    return out;
}

VbError Win32Error(DWORD error, const std::string& what) {
    switch (error) {
        case ERROR_FILE_NOT_FOUND:
            return VbError::FileNotFound(what);
        case ERROR_PATH_NOT_FOUND:
        case ERROR_INVALID_DRIVE:
        case ERROR_BAD_NETPATH:
            return VbError::PathNotFound(what);
        case ERROR_ACCESS_DENIED:
        case ERROR_SHARING_VIOLATION:
        case ERROR_LOCK_VIOLATION:
        case ERROR_WRITE_PROTECT:
        case ERROR_PRIVILEGE_NOT_HELD:
            return VbError::PermissionDenied(what);
        case ERROR_DISK_FULL:
        case ERROR_HANDLE_DISK_FULL:
            return VbError::DiskFull(what);
        case ERROR_CRC:
        case ERROR_IO_DEVICE:
        case ERROR_READ_FAULT:
        case ERROR_WRITE_FAULT:
            return VbError::DeviceIO(what);
        default:
            return VbError::PathFileAccess(what + ": " + ErrorText(error));
    }
}

int ErrnoOf(DWORD error) {
    switch (error) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
            return ENOENT;
        case ERROR_ACCESS_DENIED:
        case ERROR_SHARING_VIOLATION:
            return EACCES;
        default:
            return EIO;
    }
}

std::pair<std::string, std::string> SplitPath(std::string path) {
    auto sep = [](char c) { return c == '\\' || c == '/'; };
    while (path.size() > 1 && sep(path.back()) && !(path.size() == 3 && path[1] == ':'))
        path.pop_back();
    const std::size_t at = path.find_last_of("\\/");
    if (at == std::string::npos) {
        if (path.size() >= 2 && path[1] == ':') return {path.substr(0, 2), path.substr(2)};
        return {".", path};
    }
    std::string folder = path.substr(0, at);
    // "C:\name": the folder is the drive's root, with its separator.
    if (folder.size() == 2 && folder[1] == ':') folder += '\\';
    if (folder.empty()) folder = path.substr(0, 1);
    return {folder, path.substr(at + 1)};
}

DWORD Attributes(std::string_view path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!GetFileAttributesExW(LongPath(path).c_str(), GetFileExInfoStandard, &data))
        return INVALID_FILE_ATTRIBUTES;
    return data.dwFileAttributes;
}

}  // namespace velloran::win
