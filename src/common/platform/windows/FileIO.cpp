#include "common/platform/FileIO.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "common/platform/Paths.hpp"
#include "common/platform/windows/Win32.hpp"

namespace velloran {

namespace fs = std::filesystem;

namespace {

constexpr const char* kSource = "Registry";

[[noreturn]] void ThrowWin(DWORD error, const std::string& what, const fs::path& file) {
    VbErrorNumber number = vbErrDeviceIO;
    std::string why = win::ErrorText(error);
    if (error == ERROR_DISK_FULL || error == ERROR_HANDLE_DISK_FULL) {
        number = vbErrDiskFull;
        why = "the disk is full";
    } else if (error == ERROR_ACCESS_DENIED || error == ERROR_WRITE_PROTECT ||
               error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION) {
        number = vbErrPermissionDenied;
    }
    throw VbError(number, what + " " + Utf8FromPath(file) + ": " + why, kSource);
}

// The file a link leads to, so that a save replaces it and keeps the link.
fs::path LinkTarget(const fs::path& file) {
    if (!win::IsReparse(GetFileAttributesW(win::LongPathOf(file).c_str()))) return file;
    win::Handle h(CreateFileW(win::LongPathOf(file).c_str(), 0,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                              OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!h) return file;
    wchar_t buffer[32768];
    const DWORD n = GetFinalPathNameByHandleW(h.get(), buffer, 32768, FILE_NAME_NORMALIZED);
    if (n == 0 || n >= 32768) return file;
    return fs::path(std::wstring(buffer, n));
}

}  // namespace

void ReserveFileText(std::string& text, size_t size) { text.reserve(size); }

bool ReadWholeFile(const fs::path& file, std::string& out) {
    win::Handle h(CreateFileW(win::LongPathOf(file).c_str(), GENERIC_READ,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                              OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
    if (!h) {
        const DWORD error = GetLastError();
        if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return false;
        ThrowWin(error, "Cannot read", file);
    }
    BY_HANDLE_FILE_INFORMATION info{};
    if (!GetFileInformationByHandle(h.get(), &info)) ThrowWin(GetLastError(), "Cannot read", file);
    if (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
        ThrowWin(ERROR_DIRECTORY, "Cannot read", file);
    const std::uint64_t size =
        (static_cast<std::uint64_t>(info.nFileSizeHigh) << 32) | info.nFileSizeLow;
    out.clear();
    ReserveFileText(out, static_cast<size_t>(size));
    char buffer[1 << 16];
    for (;;) {
        DWORD got = 0;
        if (!ReadFile(h.get(), buffer, sizeof buffer, &got, nullptr))
            ThrowWin(GetLastError(), "Cannot read", file);
        if (got == 0) break;
        out.append(buffer, got);
    }
    return true;
}

void ThrowFileError(const std::error_code& ec, const std::string& what, const fs::path& file) {
    if (ec.category() == std::generic_category()) {
        const int err = ec.value();
        DWORD error = ERROR_GEN_FAILURE;
        if (err == ENOENT) error = ERROR_FILE_NOT_FOUND;
        if (err == EACCES || err == EPERM) error = ERROR_ACCESS_DENIED;
        if (err == ENOSPC) error = ERROR_DISK_FULL;
        ThrowWin(error, what, file);
    }
    ThrowWin(static_cast<DWORD>(ec.value()), what, file);
}

void WriteFileAtomically(const fs::path& file, const std::string& text) {
    WriteFileAtomically(file, std::vector<std::string_view>{text});
}

void WriteFileAtomically(const fs::path& file, const std::vector<std::string_view>& pieces) {
    const fs::path target = LinkTarget(file);
    const bool existed =
        GetFileAttributesW(win::LongPathOf(target).c_str()) != INVALID_FILE_ATTRIBUTES;
    fs::path dir = target.parent_path();
    if (dir.empty()) dir = ".";

    fs::path tmp;
    win::Handle h;
    for (int i = 0; i < 1000 && !h; ++i) {
        tmp = dir / PathFromUtf8(AtomicTemporaryName(target, GetCurrentProcessId(), i));
        h = win::Handle(CreateFileW(win::LongPathOf(tmp).c_str(), GENERIC_WRITE, 0, nullptr,
                                    CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!h && GetLastError() != ERROR_FILE_EXISTS && GetLastError() != ERROR_ALREADY_EXISTS)
            ThrowWin(GetLastError(), "Cannot save", target);
    }
    if (!h) ThrowWin(ERROR_FILE_EXISTS, "Cannot save", target);

    auto fail = [&](DWORD error) {
        h.Reset();
        DeleteFileW(win::LongPathOf(tmp).c_str());
        ThrowWin(error, "Cannot save", target);
    };
    for (std::string_view piece : pieces) {
        while (!piece.empty()) {
            const DWORD chunk = static_cast<DWORD>(std::min<size_t>(piece.size(), 1u << 24));
            DWORD written = 0;
            if (!WriteFile(h.get(), piece.data(), chunk, &written, nullptr)) fail(GetLastError());
            piece.remove_prefix(written);
        }
    }
    if (!FlushFileBuffers(h.get())) fail(GetLastError());
    h.Reset();
    // An existing file is replaced keeping its attributes and security; a new one
    // is the temporary file renamed.
    const std::wstring from = win::LongPathOf(tmp);
    const std::wstring to = win::LongPathOf(target);
    bool done = existed && ReplaceFileW(to.c_str(), from.c_str(), nullptr,
                                        REPLACEFILE_IGNORE_MERGE_ERRORS, nullptr, nullptr);
    if (!done)
        done = MoveFileExW(from.c_str(), to.c_str(),
                           MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
    if (!done) {
        const DWORD error = GetLastError();
        DeleteFileW(from.c_str());
        ThrowWin(error, "Cannot save", target);
    }
}

std::string AtomicTemporaryName(const fs::path& file, long pid, int n) {
    std::string name(".");
    name.append(Utf8FromPath(file.filename()))
        .append(".velloran-")
        .append(std::to_string(pid))
        .append("-")
        .append(std::to_string(n))
        .append(".tmp");
    return name;
}

}  // namespace velloran
