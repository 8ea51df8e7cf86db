// WindowsPlatform: the program's own files and deletion. A reparse point (a
// symbolic link, a junction, a volume mount point) is never followed: it is
// removed as itself, and never walked into.

#include "common/platform/windows/Win32.hpp"

// After windows.h:
#include <aclapi.h>
#include <shellapi.h>

#include <filesystem>

#include "common/VbError.hpp"
#include "common/platform/FileIO.hpp"
#include "common/platform/Paths.hpp"
#include "common/platform/windows/WindowsPlatform.hpp"

namespace velloran {

namespace {

// Writes all of `text`; false with the error left in GetLastError.
bool WriteAll(HANDLE h, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        DWORD written = 0;
        const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(text.size() - done, 1u << 24));
        if (!WriteFile(h, text.data() + done, chunk, &written, nullptr)) return false;
        done += written;
    }
    return true;
}

std::wstring Child(const std::wstring& folder, const wchar_t* name) {
    return folder.ends_with(L'\\') ? folder + name : folder + L"\\" + name;
}

bool IsDots(const wchar_t* name) {
    return name[0] == L'.' && (name[1] == 0 || (name[1] == L'.' && name[2] == 0));
}

// Removes one entry without following it; read-only files are made writable
// first, as the shell does. Returns 0 or the Windows error.
DWORD RemoveEntry(const std::wstring& path, DWORD attributes) {
    if (attributes & FILE_ATTRIBUTE_READONLY)
        SetFileAttributesW(path.c_str(), attributes & ~FILE_ATTRIBUTE_READONLY);
    const bool folder = attributes & FILE_ATTRIBUTE_DIRECTORY;
    if (folder ? RemoveDirectoryW(path.c_str()) : DeleteFileW(path.c_str())) return 0;
    const DWORD error = GetLastError();
    return error == ERROR_FILE_NOT_FOUND ? 0 : error;
}

// Removes `path` (attributes given) and, for a real folder, everything in it.
// Goes on past what it cannot remove; returns the first error and its path.
DWORD RemoveTree(const std::wstring& path, DWORD attributes, std::wstring& failedPath) {
    auto fail = [&](DWORD error, const std::wstring& at) {
        if (failedPath.empty()) failedPath = at;
        return error;
    };
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) && !win::IsReparse(attributes)) {
        DWORD first = 0;
        WIN32_FIND_DATAW data{};
        win::FindHandle find(FindFirstFileExW(Child(path, L"*").c_str(), FindExInfoBasic, &data,
                                              FindExSearchNameMatch, nullptr,
                                              FIND_FIRST_EX_LARGE_FETCH));
        if (!find && GetLastError() != ERROR_FILE_NOT_FOUND) return fail(GetLastError(), path);
        if (find) {
            do {
                if (IsDots(data.cFileName)) continue;
                const DWORD error =
                    RemoveTree(Child(path, data.cFileName), data.dwFileAttributes, failedPath);
                if (error && !first) first = error;
            } while (FindNextFileW(find.get(), &data));
        }
        if (first) return first;
    }
    if (const DWORD error = RemoveEntry(path, attributes)) return fail(error, path);
    return 0;
}

}  // namespace

std::optional<std::string> WindowsPlatform::ReadTextFile(const std::string& path) {
    std::string text;
    try {
        if (!ReadWholeFile(PathFromUtf8(path), text)) return std::nullopt;
    } catch (const VbError&) {
        return std::nullopt;
    }
    return text;
}

// A file is the user's own when it is no link and its owner is the user running
// the program (the owner decides who else may change it).
std::optional<std::string> WindowsPlatform::ReadPrivateTextFile(const std::string& path) {
    const std::wstring p = win::LongPath(path);
    const DWORD a = GetFileAttributesW(p.c_str());
    if (a == INVALID_FILE_ATTRIBUTES || win::IsReparse(a) || (a & FILE_ATTRIBUTE_DIRECTORY))
        return std::nullopt;
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR sd = nullptr;
    if (GetNamedSecurityInfoW(p.c_str(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner,
                              nullptr, nullptr, nullptr, &sd) != ERROR_SUCCESS)
        return std::nullopt;
    bool own = false;
    HANDLE token = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) {
        alignas(TOKEN_USER) unsigned char buffer[256];
        DWORD size = 0;
        if (GetTokenInformation(token, TokenUser, buffer, sizeof buffer, &size))
            own = owner && EqualSid(owner, reinterpret_cast<TOKEN_USER*>(buffer)->User.Sid);
        CloseHandle(token);
    }
    LocalFree(sd);
    if (!own) return std::nullopt;
    return ReadTextFile(path);
}

void WindowsPlatform::WriteTextFile(const std::string& path, const std::string& text) {
    // Written whole beside the file, then renamed over it; a link is refused.
    WriteFileAtomically(PathFromUtf8(path), text);
}

void WindowsPlatform::EditTextFile(
    const std::string& path,
    const std::function<std::string(const std::optional<std::string>&)>& edit) {
    const std::filesystem::path file = PathFromUtf8(path);
    FolderLock lock(file.parent_path().empty() ? std::filesystem::path(L".") : file.parent_path());
    std::string text;
    const bool exists = ReadWholeFile(file, text);
    WriteFileAtomically(file, edit(exists ? std::optional<std::string>(text) : std::nullopt));
}

void WindowsPlatform::CheckReplaceable(const std::string& path) {
    const std::wstring p = win::LongPath(path);
    const DWORD a = GetFileAttributesW(p.c_str());
    if (a == INVALID_FILE_ATTRIBUTES) throw win::Win32Error(GetLastError(), path);
    if (win::IsReparse(a) || (a & FILE_ATTRIBUTE_DIRECTORY))
        throw VbError(vbErrPathFileAccess,
                      "Path/File access error: " + path + ": not a regular file; left as it is");
    // A file marked read-only keeps its content.
    if (a & FILE_ATTRIBUTE_READONLY) throw VbError::PermissionDenied(path);
    win::Handle h(CreateFileW(p.c_str(), GENERIC_WRITE,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                              OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (!h) throw win::Win32Error(GetLastError(), path);
}

void WindowsPlatform::ReplaceFileContent(const std::string& path, const std::string& text) {
    CheckReplaceable(path);
    const auto [folder, name] = win::SplitPath(path);
    std::wstring temp;
    win::Handle h;
    for (int i = 0; i < 1000 && !h; ++i) {
        temp = win::LongPath(folder + "\\." + name + ".velloran-" +
                             std::to_string(GetCurrentProcessId()) + "-" + std::to_string(i));
        h = win::Handle(CreateFileW(temp.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!h && GetLastError() != ERROR_FILE_EXISTS) throw win::Win32Error(GetLastError(), path);
    }
    if (!h) throw win::Win32Error(ERROR_FILE_EXISTS, path);
    if (!WriteAll(h.get(), text) || !FlushFileBuffers(h.get())) {
        const DWORD error = GetLastError();
        h.Reset();
        DeleteFileW(temp.c_str());
        throw win::Win32Error(error, path);
    }
    h.Reset();
    // The new file takes the name (and the old file's attributes); the name is
    // replaced, so nothing is ever written through a link.
    const std::wstring target = win::LongPath(path);
    if (!ReplaceFileW(target.c_str(), temp.c_str(), nullptr, REPLACEFILE_IGNORE_MERGE_ERRORS,
                      nullptr, nullptr) &&
        !MoveFileExW(temp.c_str(), target.c_str(),
                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        const DWORD error = GetLastError();
        DeleteFileW(temp.c_str());
        throw win::Win32Error(error, path);
    }
}

void WindowsPlatform::CreateDirectories(const std::string& path) {
    const std::wstring full = win::LongPath(path);
    // Each missing folder from the root down: "\\?\C:\" or "\\?\UNC\server\share\".
    std::size_t at = 6;
    if (full.starts_with(L"\\\\?\\UNC\\")) {
        at = full.find(L'\\', 8);
        if (at != std::wstring::npos) at = full.find(L'\\', at + 1);
    }
    while (at != std::wstring::npos && at + 1 < full.size()) {
        at = full.find(L'\\', at + 1);
        const std::wstring part = full.substr(0, at);
        if (!CreateDirectoryW(part.c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS &&
            GetLastError() != ERROR_ACCESS_DENIED)
            throw VbError::PathNotFound(path + ": " + win::ErrorText(GetLastError()));
    }
    const DWORD a = GetFileAttributesW(full.c_str());
    if (a == INVALID_FILE_ATTRIBUTES || !(a & FILE_ATTRIBUTE_DIRECTORY))
        throw VbError::PathNotFound(path + ": the folder could not be made");
}

bool WindowsPlatform::RemoveFile(const std::string& path) {
    try {
        DeleteFileEntry(path);
        return true;
    } catch (const VbError&) {
        return false;
    }
}

void WindowsPlatform::DeleteFileEntry(const std::string& path) {
    const std::wstring p = win::LongPath(path);
    const DWORD a = GetFileAttributesW(p.c_str());
    if (a == INVALID_FILE_ATTRIBUTES) throw win::Win32Error(GetLastError(), path);
    // A link to a folder is removed as the link it is.
    if ((a & FILE_ATTRIBUTE_DIRECTORY) && !win::IsReparse(a))
        throw VbError::PathFileAccess(path + " is a folder");
    if (const DWORD error = RemoveEntry(p, a)) throw win::Win32Error(error, path);
}

void WindowsPlatform::DeletePath(const std::string& path) {
    const std::wstring p = win::LongPath(path);
    const DWORD a = GetFileAttributesW(p.c_str());
    if (a == INVALID_FILE_ATTRIBUTES) throw win::Win32Error(GetLastError(), path);
    std::wstring failed;
    if (const DWORD error = RemoveTree(p, a, failed))
        throw win::Win32Error(error, failed.empty() ? path : win::DisplayPath(failed));
}

// The shell's delete with undo, as the program has always asked for it (0x0450: to
// the recycle bin, no confirmation, no error messages).
void WindowsPlatform::MoveToRecycleBin(const std::string& path) {
    if (GetFileAttributesW(win::LongPath(path).c_str()) == INVALID_FILE_ATTRIBUTES)
        throw win::Win32Error(GetLastError(), path);
    std::wstring from = win::ShellPath(path);
    from.push_back(L'\0');  // the list ends with a second NUL
    SHFILEOPSTRUCTW op{};
    op.wFunc = FO_DELETE;
    op.pFrom = from.c_str();
    op.fFlags = FOF_ALLOWUNDO | FOF_NOCONFIRMATION | FOF_NOERRORUI;
    const int result = SHFileOperationW(&op);
    if (result != 0 || op.fAnyOperationsAborted)
        throw VbError::PathFileAccess(path + ": the shell could not move it to the recycle bin (" +
                                      std::to_string(result) + ")");
}

void WindowsPlatform::ForEachFile(
    const std::string& folder, bool recursive,
    const std::function<bool(const std::string&, const std::string&)>& found) {
    std::vector<std::string> todo{folder};
    while (!todo.empty()) {
        const std::string dir = todo.back();
        todo.pop_back();
        std::vector<std::string> files, subfolders;
        WIN32_FIND_DATAW data{};
        win::FindHandle find(FindFirstFileExW(Child(win::LongPath(dir), L"*").c_str(),
                                              FindExInfoBasic, &data, FindExSearchNameMatch,
                                              nullptr, FIND_FIRST_EX_LARGE_FETCH));
        if (!find) continue;
        do {
            if (IsDots(data.cFileName) || win::IsReparse(data.dwFileAttributes)) continue;
            if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
                if (recursive) subfolders.push_back(win::Narrow(data.cFileName));
            } else if (!(data.dwFileAttributes & FILE_ATTRIBUTE_DEVICE)) {
                files.push_back(win::Narrow(data.cFileName));
            }
        } while (FindNextFileW(find.get(), &data));
        // Listed before any is reported: the caller may delete them as they come.
        for (const std::string& name : files)
            if (!found(dir, name)) return;
        const bool ends = dir.ends_with('\\') || dir.ends_with('/');
        for (auto it = subfolders.rbegin(); it != subfolders.rend(); ++it)
            todo.push_back(dir + (ends ? "" : "\\") + *it);
    }
}

std::optional<std::uint64_t> WindowsPlatform::FileSize(const std::string& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!GetFileAttributesExW(win::LongPath(path).c_str(), GetFileExInfoStandard, &data))
        return std::nullopt;
    if (data.dwFileAttributes &
        (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DEVICE))
        return std::nullopt;
    return (static_cast<std::uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}

}  // namespace velloran
