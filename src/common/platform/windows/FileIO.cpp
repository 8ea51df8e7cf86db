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

FileStamp StampOfInfo(const BY_HANDLE_FILE_INFORMATION& info, bool link) {
    FileStamp st;
    st.exists = true;
    st.link = link;
    st.device = info.dwVolumeSerialNumber;
    st.inode = (static_cast<std::uint64_t>(info.nFileIndexHigh) << 32) | info.nFileIndexLow;
    st.size = (static_cast<std::uint64_t>(info.nFileSizeHigh) << 32) | info.nFileSizeLow;
    // FILETIME counts 100 ns steps.
    st.modifiedNs = static_cast<std::int64_t>(
                        (static_cast<std::uint64_t>(info.ftLastWriteTime.dwHighDateTime) << 32) |
                        info.ftLastWriteTime.dwLowDateTime) *
                    100;
    return st;
}

}  // namespace

void ReserveFileText(std::string& text, size_t size) { text.reserve(size); }

FileStamp StampOf(const fs::path& file) {
    // The entry itself: a link (reparse point) is stamped, not what it leads to.
    win::Handle h(CreateFileW(win::LongPathOf(file).c_str(), 0,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                              OPEN_EXISTING,
                              FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (!h) return {};
    BY_HANDLE_FILE_INFORMATION info{};
    if (!GetFileInformationByHandle(h.get(), &info)) return {};
    return StampOfInfo(info, win::IsReparse(info.dwFileAttributes));
}

bool ReadWholeFile(const fs::path& file, std::string& out, FileStamp* stamp) {
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
    // The file as it was opened; the name is stamped a link when it is one.
    if (stamp) {
        *stamp = StampOfInfo(info, false);
        stamp->link = win::IsReparse(GetFileAttributesW(win::LongPathOf(file).c_str()));
    }
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

bool ReadFileText(const fs::path& file, FileText& out, FileStamp* stamp) {
    // Memory here is cheap to take: the text is read whole.
    std::string text;
    if (!ReadWholeFile(file, text, stamp)) return false;
    out = FileText(std::move(text));
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
    WriteFileAtomically(file, std::vector<std::string_view>{text}, nullptr, nullptr);
}

// Every piece is written from memory here.
bool WriteFileAtomically(const fs::path& file, const std::vector<std::string_view>& pieces,
                         const FileStamp* expected, FileStamp* written, std::string_view) {
    const fs::path& target = file;
    // A link in the file's place is refused, never written through.
    if (win::IsReparse(GetFileAttributesW(win::LongPathOf(target).c_str())))
        throw VbError(vbErrPathFileAccess,
                      "Cannot save " + Utf8FromPath(target) + ": a link, not a file; left as it is",
                      kSource);
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
            DWORD done = 0;
            if (!WriteFile(h.get(), piece.data(), chunk, &done, nullptr)) fail(GetLastError());
            piece.remove_prefix(done);
        }
    }
    if (!FlushFileBuffers(h.get())) fail(GetLastError());
    h.Reset();
    // Another writer replaced or changed the file meanwhile: its change stays.
    if (expected && StampOf(target) != *expected) {
        DeleteFileW(win::LongPathOf(tmp).c_str());
        return false;
    }
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
    if (written) *written = StampOf(target);
    return true;
}

void CreateOwnFolders(const fs::path& folder) {
    // A new folder inherits the security of its parent: below the user's profile
    // (where the program keeps its files) that is the user's, the system's and the
    // administrators' alone.
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (ec) ThrowFileError(ec, "Cannot create", folder);
}

FolderLock::FolderLock(const fs::path& folder) {
    // A lock file of the folder's own, locked whole; LockFileEx waits for it.
    const fs::path file = folder / L".velloran.lock";
    HANDLE h = CreateFileW(win::LongPathOf(file).c_str(), GENERIC_READ | GENERIC_WRITE,
                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                           OPEN_ALWAYS, FILE_ATTRIBUTE_HIDDEN, nullptr);
    if (h == INVALID_HANDLE_VALUE) ThrowWin(GetLastError(), "Cannot lock", folder);
    OVERLAPPED at{};
    if (!LockFileEx(h, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &at)) {
        const DWORD error = GetLastError();
        CloseHandle(h);
        ThrowWin(error, "Cannot lock", folder);
    }
    handle_ = reinterpret_cast<std::intptr_t>(h);
}

FolderLock::~FolderLock() {
    if (handle_ != -1) CloseHandle(reinterpret_cast<HANDLE>(handle_));
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
