#include "common/platform/FileIO.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <system_error>
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

FileStamp StampFrom(const struct stat& st) {
    FileStamp s;
    s.exists = true;
    s.link = S_ISLNK(st.st_mode);
    s.device = static_cast<std::uint64_t>(st.st_dev);
    s.inode = static_cast<std::uint64_t>(st.st_ino);
    s.size = static_cast<std::uint64_t>(st.st_size);
    s.modifiedNs = static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    return s;
}

// The file whose text was read, while it still is that file: runs of the text
// are copied from it inside the kernel, as cp copies, instead of through this
// process. The text may be read lazily (FileText), so the runs are never taken
// from memory: where the kernel cannot copy, they are read from this file.
class CopySource {
public:
    CopySource(const fs::path& file, const FileStamp* expected, std::string_view asRead)
        : text_(expected ? asRead : std::string_view()) {
        if (text_.empty()) return;
        fd_ = expected && asRead.size() == expected->size
                  ? open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC)
                  : -1;
        struct stat st {};
        if (fd_ >= 0 && (fstat(fd_, &st) != 0 || StampFrom(st) != *expected)) Stop();
        changed_ = fd_ < 0;
    }
    ~CopySource() { Stop(); }
    CopySource(const CopySource&) = delete;
    CopySource& operator=(const CopySource&) = delete;

    // The file is not the one read any more: its runs cannot be written.
    bool Changed() const { return changed_; }
    // The file is about to be replaced: its cached pages are of no more use.
    // Freeing them takes a while for a large file, so it is done while the new
    // one goes to the disk rather than when the last handle on the old one closes.
    std::thread ForgetCache() const {
        if (fd_ < 0) return {};
        try {
            return std::thread([fd = fd_] { posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED); });
        } catch (const std::system_error&) {
            return {};  // no thread to spare: the pages are freed at the close
        }
    }
    bool Holds(std::string_view piece) const {
        return !text_.empty() && piece.data() >= text_.data() &&
               piece.data() + piece.size() <= text_.data() + text_.size();
    }

    // Copies `n` bytes of `piece`, a run of the text, into `to`: how many were
    // written, or -1 with errno set.
    ssize_t Copy(std::string_view piece, size_t n, int to) {
        auto at = static_cast<off_t>(piece.data() - text_.data());
        if (kernelCopy_) {
            const ssize_t r = copy_file_range(fd_, &at, to, nullptr, n, 0);
            if (r > 0) return r;
            if (r < 0 && errno == EINTR) return 0;
            kernelCopy_ = false;  // not on this file system, say: read and write then
        }
        buffer_.resize(std::min(n, size_t{1} << 20));
        int err = 0;
        const size_t got =
            ReadAt(fd_, buffer_.data(), buffer_.size(), static_cast<size_t>(at), err);
        if (got == 0) {
            errno = err ? err : EIO;
            return -1;
        }
        return write(to, buffer_.data(), got);
    }

private:
    void Stop() {
        if (fd_ >= 0) close(fd_);
        fd_ = -1;
    }
    std::string_view text_;
    int fd_ = -1;
    bool changed_ = false;
    bool kernelCopy_ = true;
    std::string buffer_;
};

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

FileStamp StampOf(const fs::path& file) {
    struct stat st {};
    if (lstat(file.c_str(), &st) != 0) return {};
    return StampFrom(st);
}

bool ReadWholeFile(const fs::path& file, std::string& out, FileStamp* stamp) {
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
    if (stamp) {
        *stamp = StampFrom(st);
        // Read through a link, the name still holds the link: a save refuses it.
        struct stat named {};
        if (lstat(file.c_str(), &named) == 0 && S_ISLNK(named.st_mode)) stamp->link = true;
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

namespace {

// The file a lazy text is filled from, while it is still the file that was read.
class OpenFileSource final : public TextSource {
public:
    OpenFileSource(int fd, fs::path file, const struct stat& st)
        : fd_(fd), file_(std::move(file)), stamp_(StampFrom(st)) {}
    ~OpenFileSource() override { close(fd_); }
    OpenFileSource(const OpenFileSource&) = delete;
    OpenFileSource& operator=(const OpenFileSource&) = delete;

    void Read(size_t offset, size_t n, char* to) override {
        struct stat st {};
        int err = 0;
        if (fstat(fd_, &st) != 0) ThrowIo(errno, "Cannot read", file_);
        if (StampFrom(st) == stamp_ && ReadAt(fd_, to, n, offset, err) == n) return;
        if (err) ThrowIo(err, "Cannot read", file_);
        throw VbError(vbErrDeviceIO,
                      "Cannot read " + file_.string() +
                          ": another program changed it while Velloran was reading it",
                      kSource);
    }

private:
    int fd_;
    fs::path file_;
    FileStamp stamp_;
};

// Below this a file is read whole: its memory costs little.
constexpr size_t kLazyBytes = size_t{1} << 20;

}  // namespace

bool ReadFileText(const fs::path& file, FileText& out, FileStamp* stamp) {
    int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT) return false;
        ThrowIo(errno, "Cannot read", file);
    }
    struct stat st {};
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) ||
        static_cast<size_t>(st.st_size) < kLazyBytes) {
        close(fd);
        std::string text;
        if (!ReadWholeFile(file, text, stamp)) return false;
        out = FileText(std::move(text));
        return true;
    }
    if (stamp) {
        *stamp = StampFrom(st);
        struct stat named {};
        if (lstat(file.c_str(), &named) == 0 && S_ISLNK(named.st_mode)) stamp->link = true;
    }
    // Fresh memory is slow to fault in on some systems (virtual machines
    // especially): of a large file only what is needed later gets memory, and
    // the reader goes through it in windows it reuses.
    out = FileText(std::make_unique<OpenFileSource>(fd, file, st), static_cast<size_t>(st.st_size));
    return true;
}

void ThrowFileError(const std::error_code& ec, const std::string& what, const fs::path& file) {
    ThrowIo(ec.value(), what, file);
}

void WriteFileAtomically(const fs::path& file, const std::string& text) {
    WriteFileAtomically(file, std::vector<std::string_view>{text});
}

bool WriteFileAtomically(const fs::path& file, const std::vector<std::string_view>& pieces,
                         const FileStamp* expected, FileStamp* written, std::string_view asRead) {
    // A link is never written through, nor replaced: whoever could place it there
    // could aim it at a file of someone else's.
    struct stat old {};
    const bool existed = lstat(file.c_str(), &old) == 0;
    if (existed && S_ISLNK(old.st_mode))
        throw VbError(vbErrPermissionDenied,
                      "Cannot save " + file.string() +
                          ": it is a symbolic link, which Velloran never writes through",
                      kSource);
    if (existed && !S_ISREG(old.st_mode)) ThrowIo(EINVAL, "Cannot save", file);
    if (expected && (existed ? StampFrom(old) != *expected : expected->exists)) return false;
    fs::path dir = file.parent_path();
    if (dir.empty()) dir = ".";

    fs::path tmp;
    int fd = -1;
    for (int i = 0; i < 1000 && fd < 0; ++i) {
        tmp = dir / AtomicTemporaryName(file, getpid(), i);
        fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (fd < 0 && errno != EEXIST) ThrowIo(errno, "Cannot save", file);
    }
    if (fd < 0) ThrowIo(EEXIST, "Cannot save", file);

    auto fail = [&](int err) {
        close(fd);
        unlink(tmp.c_str());
        ThrowIo(err, "Cannot save", file);
    };
    // The disk starts on every few megabytes while the next ones are copied, so
    // the wait for it at the end is short.
    constexpr size_t kStep = size_t{8} << 20;
    size_t done = 0;
    size_t started = 0;
    CopySource source(file, expected, asRead);
    if (source.Changed()) {
        close(fd);
        unlink(tmp.c_str());
        return false;
    }
    for (std::string_view piece : pieces) {
        const bool run = source.Holds(piece);
        while (!piece.empty()) {
            const size_t step = std::min(kStep, piece.size());
            const ssize_t n = run ? source.Copy(piece, step, fd) : write(fd, piece.data(), step);
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
    std::thread forget = source.ForgetCache();
    const int synced = fsync(fd);
    const int syncError = errno;
    if (forget.joinable()) forget.join();
    if (synced != 0) fail(syncError);
    struct stat mine {};
    if (fstat(fd, &mine) != 0) fail(errno);
    if (close(fd) != 0) {
        int err = errno;
        unlink(tmp.c_str());
        ThrowIo(err, "Cannot save", file);
    }
    // Writing a large file takes a while: the name must still hold what was read.
    struct stat now {};
    const bool still = lstat(file.c_str(), &now) == 0;
    if ((still && S_ISLNK(now.st_mode)) ||
        (expected && (still ? StampFrom(now) != *expected : expected->exists)) ||
        (!expected && existed &&
         (!still || now.st_ino != old.st_ino || now.st_dev != old.st_dev))) {
        unlink(tmp.c_str());
        if (expected) return false;
        throw VbError(vbErrPermissionDenied,
                      "Cannot save " + file.string() +
                          ": another program replaced it while it was being saved; left as "
                          "the other program wrote it",
                      kSource);
    }
    // The folder is not synced: after a power cut the rename may be lost, which
    // leaves the old file, whole, as a crash before the save would.
    if (rename(tmp.c_str(), file.c_str()) != 0) {
        int err = errno;
        unlink(tmp.c_str());
        ThrowIo(err, "Cannot save", file);
    }
    if (written) *written = StampFrom(mine);
    return true;
}

void CreateOwnFolders(const fs::path& folder) {
    if (folder.empty()) return;
    struct stat st {};
    if (stat(folder.c_str(), &st) == 0) {
        if (S_ISDIR(st.st_mode)) return;
        ThrowIo(ENOTDIR, "Cannot create", folder);
    }
    const fs::path parent = folder.parent_path();
    if (!parent.empty() && parent != folder) CreateOwnFolders(parent);
    // The mode is given here, not changed afterwards: the folder is never open to
    // others, not even for a moment.
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        ThrowIo(errno, "Cannot create", folder);
}

FolderLock::FolderLock(const fs::path& folder) {
    const int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) ThrowIo(errno, "Cannot lock", folder);
    while (flock(fd, LOCK_EX) != 0) {
        if (errno == EINTR) continue;
        const int err = errno;
        close(fd);
        ThrowIo(err, "Cannot lock", folder);
    }
    handle_ = fd;
}

FolderLock::~FolderLock() {
    if (handle_ >= 0) close(static_cast<int>(handle_));
}

std::string AtomicTemporaryName(const fs::path& file, long pid, int n) {
    return "." + file.filename().string() + ".velloran-" + std::to_string(pid) + "-" +
           std::to_string(n) + ".tmp";
}

}  // namespace velloran
