#include "common/platform/linux/Overwrite.hpp"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <future>
#include <memory>

#include "common/VbError.hpp"
#include "common/platform/linux/FastRandom.hpp"
#include "common/platform/linux/FsUtil.hpp"
#include "common/platform/linux/UniqueFd.hpp"

namespace velloran::linuxfs {

namespace {

constexpr std::size_t kChunk = 4u << 20;  // large writes keep a pass at disk speed
constexpr std::size_t kAlign = 4096;

struct FreeDeleter {
    void operator()(unsigned char* p) const { std::free(p); }
};
using Buffer = std::unique_ptr<unsigned char[], FreeDeleter>;

Buffer AlignedBuffer(std::size_t size) {
    auto* p = static_cast<unsigned char*>(
        std::aligned_alloc(kAlign, (size + kAlign - 1) / kAlign * kAlign));
    if (!p) throw std::bad_alloc();
    return Buffer(p);
}

// File systems that keep old copies of overwritten blocks somewhere else.
const char* CopyOnWriteNote(int fd) {
    struct statfs s {};
    if (fstatfs(fd, &s) != 0) return nullptr;
    switch (static_cast<unsigned long>(s.f_type)) {
        case BTRFS_SUPER_MAGIC:
            return "btrfs writes new copies; old blocks and snapshots may keep the data";
        case OVERLAYFS_SUPER_MAGIC:
            return "overlay file system: a copy in the lower layer is not overwritten";
        case 0x2fc12fc1UL:  // zfs
            return "zfs writes new copies; old blocks and snapshots may keep the data";
        case F2FS_SUPER_MAGIC:
        case NILFS_SUPER_MAGIC:
            return "log-structured file system: old blocks may keep the data";
        case NFS_SUPER_MAGIC:
        case SMB_SUPER_MAGIC:
        case 0xff534d42UL:  // cifs
        case 0xfe534d42UL:  // smb2
            return "network file system: the server may keep copies of the data";
        default:
            return nullptr;
    }
}

bool WriteAll(int fd, const unsigned char* p, std::size_t n, std::uint64_t off, int& err) {
    while (n > 0) {
        ssize_t w = pwrite(fd, p, n, static_cast<off_t>(off));
        if (w < 0) {
            if (errno == EINTR) continue;
            err = errno;
            return false;
        }
        p += w;
        n -= static_cast<std::size_t>(w);
        off += static_cast<std::uint64_t>(w);
    }
    return true;
}

bool ReadAll(int fd, unsigned char* p, std::size_t n, std::uint64_t off) {
    while (n > 0) {
        ssize_t r = pread(fd, p, n, static_cast<off_t>(off));
        if (r < 0 && errno == EINTR) continue;
        if (r <= 0) return false;
        p += r;
        n -= static_cast<std::size_t>(r);
        off += static_cast<std::uint64_t>(r);
    }
    return true;
}

// Renames through same-length names of one repeated character and then shorter
// ones, so the directory no longer holds the name, then unlinks.
bool HideAndUnlink(int dirfd, const std::string& name, std::vector<std::string>& report) {
    static const char kChars[] = "0123456789abcdefghijklmnopqrstuvwxyz";
    std::string cur = name;
    auto renameTo = [&](std::size_t len) {
        for (const char* c = kChars; *c; ++c) {
            std::string cand(len, *c);
            if (cand == cur) continue;
            if (renameat2(dirfd, cur.c_str(), dirfd, cand.c_str(), RENAME_NOREPLACE) == 0) {
                cur = cand;
                return true;
            }
            if (errno == EEXIST) continue;
            if (errno == EINVAL || errno == ENOSYS) {
                // No RENAME_NOREPLACE here: check first, then rename.
                struct stat st {};
                if (fstatat(dirfd, cand.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0) continue;
                if (renameat(dirfd, cur.c_str(), dirfd, cand.c_str()) == 0) {
                    cur = cand;
                    return true;
                }
            }
            return false;
        }
        return false;
    };
    bool hidden = renameTo(name.size());
    fsync(dirfd);
    for (std::size_t len = name.size() / 2; hidden && len >= 1; len /= 2) {
        if (!renameTo(len)) break;
        if (len == 1) break;
    }
    if (!hidden) report.push_back(name + ": the name could not be overwritten in its folder");
    if (unlinkat(dirfd, cur.c_str(), 0) != 0) return false;
    fsync(dirfd);
    return true;
}

bool Aborted(const OverwriteJob& job) { return job.abort && job.abort->load(); }

void Add(std::atomic<std::uint64_t>* counter, std::uint64_t n) {
    if (counter) *counter += n;
}

}  // namespace

std::string OverwriteCaveat(const std::string& path) {
    UniqueFd fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!fd) fd = UniqueFd(open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (!fd) return {};
    const char* note = CopyOnWriteNote(fd.get());
    return note ? note : "";
}

bool OverwriteAndRemove(const OverwriteJob& job, std::vector<std::string>& report) {
    const std::string& path = job.path;
    std::vector<OverwritePass> passes = job.passes;
    auto [dir, name] = SplitPath(path);
    UniqueFd dirfd(OpenFolderForDeletion(dir));
    if (dirfd.get() < 0) throw ErrnoError(errno, path);
    struct stat st {};
    if (fstatat(dirfd.get(), name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0)
        throw ErrnoError(errno, path);
    if (!S_ISREG(st.st_mode)) {
        report.push_back(path + ": not a regular file; refused");
        throw VbError::PathFileAccess(path + " is not a regular file");
    }
    // Refuse before touching the data when the entry could not be removed after.
    if (faccessat(dirfd.get(), ".", W_OK | X_OK, AT_EACCESS) != 0) throw ErrnoError(errno, dir);
    const int flags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
    int raw = openat(dirfd.get(), name.c_str(), flags);
    if (raw < 0 && errno == EACCES && st.st_uid == geteuid()) {
        // Our own read-only file: make it writable through a descriptor of this
        // very inode, never through a name that could have become a link.
        UniqueFd p(openat(dirfd.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        struct stat ps {};
        if (p.get() >= 0 && fstat(p.get(), &ps) == 0 && S_ISREG(ps.st_mode) &&
            ps.st_ino == st.st_ino) {
            std::string proc = "/proc/self/fd/" + std::to_string(p.get());
            if (chmod(proc.c_str(), (ps.st_mode & 07777) | S_IRUSR | S_IWUSR) == 0)
                raw = openat(dirfd.get(), name.c_str(), flags);
        }
    }
    if (raw < 0) throw ErrnoError(errno, path);
    UniqueFd fd(raw);
    struct stat fs {};
    if (fstat(fd.get(), &fs) != 0 || !S_ISREG(fs.st_mode) || fs.st_ino != st.st_ino ||
        fs.st_dev != st.st_dev)
        throw VbError::PathFileAccess(path + " changed while opening");

    bool complete = true;
    std::uint64_t size = static_cast<std::uint64_t>(fs.st_size);
    std::uint64_t block = fs.st_blksize > 0 ? static_cast<std::uint64_t>(fs.st_blksize) : 4096;
    std::uint64_t length = (size + block - 1) / block * block;
    if (fs.st_nlink > 1) {
        // Other names share this data: overwriting would destroy their file.
        report.push_back(path + ": has " + std::to_string(fs.st_nlink - 1) +
                         " other hard link(s); its data was not overwritten");
        complete = false;
        passes.clear();
    }
    if (const char* note = CopyOnWriteNote(fd.get()); note && !passes.empty()) {
        report.push_back(path + ": " + note);
        complete = false;
    }
    if (job.total) *job.total = length * (passes.size() + (job.verifyLast ? 1 : 0));

    Buffer buf = AlignedBuffer(kChunk + 64);
    Buffer spare = AlignedBuffer(kChunk + 64);  // random data for the next chunk
    Buffer check = job.verifyLast ? AlignedBuffer(kChunk + 64) : Buffer();
    FastRandom lastRandom;
    int passNo = 0;
    bool failed = false;
    for (const OverwritePass& pass : passes) {
        ++passNo;
        if (Aborted(job)) break;
        FastRandom rng;
        lastRandom = rng;
        auto generate = [&rng](unsigned char* to, std::size_t n) {
            rng.Fill(to, (n + 63) / 64 * 64);
        };
        if (!pass.random)
            for (std::size_t i = 0; i < kChunk + 64; ++i)
                buf[i] = pass.pattern[i % static_cast<std::size_t>(pass.patternLength)];
        std::uint64_t off = 0;
        bool ready = false;  // buf already holds random data for the chunk at off
        while (off < length && !Aborted(job)) {
            std::size_t n = static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, length - off));
            const unsigned char* src = buf.get();
            std::future<void> next;
            if (pass.random) {
                if (!ready) generate(buf.get(), n);
                // Make the next chunk's bytes on another core while this one is written.
                if (off + n < length) {
                    std::size_t nn =
                        static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, length - off - n));
                    next = std::async(std::launch::async, generate, spare.get(), nn);
                }
            } else {
                src += off % static_cast<std::uint64_t>(pass.patternLength);
            }
            int err = 0;
            const bool written = WriteAll(fd.get(), src, n, off, err);
            if (next.valid()) {
                next.get();
                std::swap(buf, spare);
                ready = true;
            }
            if (!written) {
                if ((err == ENOSPC || err == EDQUOT) && off + n > size && length > size) {
                    // The slack after the end could not be claimed: keep to the file.
                    report.push_back(path +
                                     ": the space after the end of the file could not be "
                                     "overwritten (disk full)");
                    complete = false;
                    length = size;
                    ready = false;
                    continue;
                }
                report.push_back(path + ": overwriting stopped at byte " + std::to_string(off) +
                                 ": " + std::strerror(err));
                complete = false;
                failed = true;
                break;
            }
            off += n;
            Add(job.done, n);
        }
        if (failed) break;
        if (fdatasync(fd.get()) != 0) {
            report.push_back(path + ": pass " + std::to_string(passNo) +
                             " could not be flushed: " + std::strerror(errno));
            complete = false;
        }
        if (job.afterPass && !Aborted(job)) job.afterPass(passNo, fd.get(), length);
    }
    if (job.verifyLast && !failed && !passes.empty() && !Aborted(job) && passes.back().random) {
        // Read the last pass back from the disk, not from the page cache.
        posix_fadvise(fd.get(), 0, 0, POSIX_FADV_DONTNEED);
        std::uint64_t bad = 0;
        for (std::uint64_t off = 0; off < length && !Aborted(job);) {
            std::size_t n = static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, length - off));
            lastRandom.Fill(buf.get(), (n + 63) / 64 * 64);
            if (!ReadAll(fd.get(), check.get(), n, off)) {
                bad += length - off;
                break;
            }
            for (std::size_t i = 0; i < n; ++i) bad += buf[i] != check[i];
            off += n;
            Add(job.done, n);
        }
        if (bad) {
            report.push_back(path + ": read-back found " + std::to_string(bad) +
                             " byte(s) that differ from the last pass");
            complete = false;
        }
    }
    const bool aborted = Aborted(job);
    const bool shared = fs.st_nlink > 1;  // truncating would empty the other names too
    // The folder's sync after the unlink also makes the truncation durable.
    if (!shared && ftruncate(fd.get(), 0) != 0) {
        report.push_back(path + ": could not be truncated: " + std::strerror(errno));
        complete = false;
    }
    if (!HideAndUnlink(dirfd.get(), name, report)) throw ErrnoError(errno, path);
    return complete && !aborted;
}

}  // namespace velloran::linuxfs
