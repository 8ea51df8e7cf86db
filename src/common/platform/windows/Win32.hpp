#pragma once
// What every Windows file of the platform shares: UTF-8 <-> UTF-16 at the system
// boundary, long-path names, handles that close themselves, and Windows errors as
// the errors a user reads.
// Before windows.h, whose DRIVE_* macros would otherwise rename the drive types.
#include "common/platform/Platform.hpp"

#include <windows.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

#include "common/VbError.hpp"

// windows.h names GetVersionEx for its ANSI or W form; here it is the platform's.
#undef GetVersionEx

namespace velloran::win {

// UTF-8 text as the W calls want it, and back. Invalid input becomes U+FFFD.
std::wstring Wide(std::string_view utf8);
std::string Narrow(std::wstring_view utf16);

// A path for the W file calls: "\\?\" before an absolute drive path and
// "\\?\UNC\" before a network path, so that no length limit applies and no part
// is reinterpreted ("a." and "con" stay names). Forward slashes become
// backslashes and "." and ".." parts are resolved first, as the prefix turns off
// that processing. Relative paths are made absolute against the current folder.
std::wstring LongPath(std::string_view utf8);
std::wstring LongPathOf(const std::filesystem::path& path);
// The pattern that lists everything in a folder: its long path and "\*".
std::wstring FolderPattern(std::string_view folder);
// The same without a "\\?\" prefix, for calls that refuse one (the shell's).
std::wstring ShellPath(std::string_view utf8);
// A path as the user reads it: backslashes, no "\\?\" prefix.
std::string DisplayPath(std::wstring_view path);

// The folder of the running program's file; empty when the system does not say.
std::filesystem::path ProgramFolder();

// The system's message for an error code, without the line break at its end.
std::string ErrorText(DWORD error);
// A Windows error as the error a user reads: 53 not found, 76 path not found, 70
// permission denied, 61 disk full, 57 device I/O error, 75 otherwise.
VbError Win32Error(DWORD error, const std::string& what);
// The errno value that stands for a Windows error (for TreeVisitor::Unreadable).
int ErrnoOf(DWORD error);

// Folder and name of a path, trailing separators ignored: "C:\a\b\" gives
// {"C:\a", "b"}, "C:\a" gives {"C:\", "a"}.
std::pair<std::string, std::string> SplitPath(std::string path);
bool IsSeparator(wchar_t c);

class Handle {
public:
    Handle() = default;
    explicit Handle(HANDLE h) : h_(h == INVALID_HANDLE_VALUE ? nullptr : h) {}
    Handle(Handle&& o) noexcept : h_(std::exchange(o.h_, nullptr)) {}
    Handle& operator=(Handle&& o) noexcept {
        if (this != &o) {
            Reset();
            h_ = std::exchange(o.h_, nullptr);
        }
        return *this;
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { Reset(); }
    void Reset() {
        if (h_) CloseHandle(h_);
        h_ = nullptr;
    }
    HANDLE get() const { return h_; }
    explicit operator bool() const { return h_ != nullptr; }

private:
    HANDLE h_ = nullptr;
};

class FindHandle {
public:
    explicit FindHandle(HANDLE h) : h_(h) {}
    FindHandle(const FindHandle&) = delete;
    FindHandle& operator=(const FindHandle&) = delete;
    ~FindHandle() {
        if (h_ != INVALID_HANDLE_VALUE) FindClose(h_);
    }
    HANDLE get() const { return h_; }
    explicit operator bool() const { return h_ != INVALID_HANDLE_VALUE; }

private:
    HANDLE h_;
};

// Attributes of an entry, never following a link; INVALID_FILE_ATTRIBUTES when
// it does not exist.
DWORD Attributes(std::string_view path);
// Whether attributes mark a reparse point: a symbolic link, a junction, a mount
// point or anything else that leads elsewhere. Never followed.
inline bool IsReparse(DWORD attributes) {
    return attributes != INVALID_FILE_ATTRIBUTES &&
           (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

}  // namespace velloran::win
