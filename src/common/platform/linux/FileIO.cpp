#include "common/platform/FileIO.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <thread>

#include "common/VbError.hpp"

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

constexpr size_t kParallelRead = size_t{8} << 20;

// Reads up to `n` bytes at `offset`; fewer only at the end of the file.
size_t ReadAt(int fd, char* to, size_t n, size_t offset, int& error) {
    size_t got = 0;
    while (got < n) {
        ssize_t r = pread(fd, to + got, n - got, static_cast<off_t>(offset + got));
        if (r < 0 && errno == EINTR) continue;
        if (r < 0) {
            error = errno;
            break;
        }
        if (r == 0) break;
        got += static_cast<size_t>(r);
    }
    return got;
}

}  // namespace

void ReserveFileText(std::string& text, size_t size) {
    text.reserve(size);
    constexpr size_t kHugePage = size_t{2} << 20;
    if (size < 2 * kHugePage) return;
    // Only whole pages inside the buffer; the kernel uses huge ones where they fit.
    const auto begin = reinterpret_cast<std::uintptr_t>(text.data());
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const std::uintptr_t first = (begin + page - 1) & ~(page - 1);
    const std::uintptr_t last = (begin + size) & ~(page - 1);
    if (last > first) madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
}

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
    ReserveFileText(out, static_cast<size_t>(st.st_size));
    out.resize(static_cast<size_t>(st.st_size));
    // A large file's second half is copied on another core meanwhile.
    const size_t half = out.size() >= kParallelRead ? out.size() / 2 : out.size();
    int tailError = 0;
    size_t tailGot = 0;
    std::thread tail;
    if (half < out.size())
        tail = std::thread(
            [&] { tailGot = ReadAt(fd, out.data() + half, out.size() - half, half, tailError); });
    int err = 0;
    size_t got = ReadAt(fd, out.data(), half, 0, err);
    if (tail.joinable()) tail.join();
    if (!err) err = tailError;
    if (err) {
        close(fd);
        ThrowIo(err, "Cannot read", file);
    }
    if (got == half) got += tailGot;
    // The file may have grown since it was measured: whatever follows is read
    // into a small buffer, so the large one is not moved for an empty read.
    if (got == out.size()) {
        char more[65536];
        for (size_t n; (n = ReadAt(fd, more, sizeof more, got, err)) > 0;) {
            out.append(more, n);
            got += n;
        }
        if (err) {
            close(fd);
            ThrowIo(err, "Cannot read", file);
        }
    }
    out.resize(got);
    close(fd);
    return true;
}

void ThrowFileError(const std::error_code& ec, const std::string& what, const fs::path& file) {
    ThrowIo(ec.value(), what, file);
}

void WriteFileAtomically(const fs::path& file, const std::string& text) {
    WriteFileAtomically(file, std::vector<std::string_view>{text});
}

void WriteFileAtomically(const fs::path& file, const std::vector<std::string_view>& pieces) {
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
    // The disk starts on every few megabytes while the next ones are copied, so
    // the wait for it at the end is short.
    constexpr size_t kStep = size_t{8} << 20;
    size_t done = 0;
    size_t started = 0;
    for (std::string_view piece : pieces) {
        while (!piece.empty()) {
            ssize_t n = write(fd, piece.data(), std::min(kStep, piece.size()));
            if (n < 0) {
                if (errno == EINTR) continue;
                fail(errno);
            }
            piece.remove_prefix(static_cast<size_t>(n));
            done += static_cast<size_t>(n);
            if (done - started >= kStep) {
                sync_file_range(fd, static_cast<off_t>(started), static_cast<off_t>(done - started),
                                SYNC_FILE_RANGE_WRITE);
                started = done;
            }
        }
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
    // The folder is not synced: after a power cut the rename may be lost, which
    // leaves the old file, whole, as a crash before the save would.
    if (rename(tmp.c_str(), target.c_str()) != 0) {
        int err = errno;
        unlink(tmp.c_str());
        ThrowIo(err, "Cannot save", target);
    }
}

std::string AtomicTemporaryName(const fs::path& file, long pid, int n) {
    return "." + file.filename().string() + ".velloran-" + std::to_string(pid) + "-" +
           std::to_string(n) + ".tmp";
}

}  // namespace velloran
