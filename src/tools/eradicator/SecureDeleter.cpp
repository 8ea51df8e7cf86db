#include "tools/eradicator/SecureDeleter.hpp"

#include "common/platform/linux/FsUtil.hpp"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <future>
#include <memory>
#include <mutex>
#include <random>
#include <thread>

#include "common/VbError.hpp"
#include "common/platform/linux/DirWalker.hpp"
#include "common/platform/linux/Trash.hpp"
#include "tools/eradicator/FastRandom.hpp"

namespace velloran {

namespace {

constexpr std::size_t kChunk = 4u << 20;  // large writes keep a pass at disk speed
constexpr std::size_t kAlign = 4096;
constexpr auto kPumpInterval = std::chrono::milliseconds(10);

struct Fd {
    int fd = -1;
    explicit Fd(int f) : fd(f) {}
    ~Fd() {
        if (fd >= 0) close(fd);
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
};

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

}  // namespace

struct SecureDeleter::Impl {
    std::atomic<bool> abort{false};
    std::function<void()> pump;
    PassHook hook;
    std::vector<std::string> report;
};

SecureDeleter::SecureDeleter() : impl_(new Impl) {}
SecureDeleter::~SecureDeleter() { delete impl_; }

void SecureDeleter::SetAbortDelete(bool abort) { impl_->abort.store(abort); }
bool SecureDeleter::AbortDelete() const { return impl_->abort.load(); }
void SecureDeleter::SetPump(std::function<void()> pump) { impl_->pump = std::move(pump); }
const std::vector<std::string>& SecureDeleter::Report() const { return impl_->report; }
void SecureDeleter::SetPassHook(PassHook hook) { impl_->hook = std::move(hook); }

std::vector<SecureDeleter::Pass> SecureDeleter::GutmannPatterns() {
    auto one = [](unsigned char b) {
        Pass p;
        p.pattern[0] = b;
        p.patternLength = 1;
        return p;
    };
    auto three = [](unsigned char a, unsigned char b, unsigned char c) {
        Pass p;
        p.pattern[0] = a;
        p.pattern[1] = b;
        p.pattern[2] = c;
        p.patternLength = 3;
        return p;
    };
    std::vector<Pass> v = {one(0x55), one(0xAA), three(0x92, 0x49, 0x24), three(0x49, 0x24, 0x92),
                           three(0x24, 0x92, 0x49)};
    for (int b = 0x00; b <= 0xFF; b += 0x11) v.push_back(one(static_cast<unsigned char>(b)));
    for (auto p : {three(0x92, 0x49, 0x24), three(0x49, 0x24, 0x92), three(0x24, 0x92, 0x49),
                   three(0x6D, 0xB6, 0xDB), three(0xB6, 0xDB, 0x6D), three(0xDB, 0x6D, 0xB6)})
        v.push_back(p);
    return v;
}

bool SecureDeleter::DeletePlain(const std::string& path, bool toRecycleBin) {
    impl_->report.clear();
    if (toRecycleBin) {
        linuxfs::Trash().MoveToTrash(path);
        return true;
    }
    auto [dir, name] = linuxfs::SplitPath(path);
    Fd dirfd(linuxfs::OpenFolderForDeletion(dir));
    if (dirfd.fd < 0) throw linuxfs::ErrnoError(errno, path);
    if (unlinkat(dirfd.fd, name.c_str(), 0) != 0) {
        if (errno == EISDIR)
            throw VbError(vbErrPathFileAccess, "Path/File access error: " + path + " is a folder");
        throw linuxfs::ErrnoError(errno, path);
    }
    return true;
}

bool SecureDeleter::DeleteZero(const std::string& path) { return Overwrite(path, {Pass{}}, false); }

bool SecureDeleter::DeleteZapper(const std::string& path) {
    Pass zeros, ones, random;
    ones.pattern[0] = 0xFF;
    random.random = true;
    return Overwrite(path, {zeros, ones, random}, true);
}

bool SecureDeleter::DeleteGutmann(const std::string& path) {
    Pass random;
    random.random = true;
    std::vector<Pass> fixed = GutmannPatterns();
    std::random_device rd;
    std::mt19937_64 order((static_cast<std::uint64_t>(rd()) << 32) ^ rd());
    std::shuffle(fixed.begin(), fixed.end(), order);
    std::vector<Pass> passes(4, random);
    passes.insert(passes.end(), fixed.begin(), fixed.end());
    passes.insert(passes.end(), 4, random);
    return Overwrite(path, std::move(passes), false);
}

bool SecureDeleter::Overwrite(const std::string& path, std::vector<Pass> passes, bool verifyLast) {
    Impl& im = *impl_;
    im.report.clear();
    std::atomic<std::uint64_t> total{0}, done{0};
    std::mutex m;
    std::condition_variable cv;
    bool finished = false;
    bool result = false;
    std::exception_ptr error;
    std::vector<std::string> report;

    auto job = [&]() -> bool {
        auto [dir, name] = linuxfs::SplitPath(path);
        Fd dirfd(linuxfs::OpenFolderForDeletion(dir));
        if (dirfd.fd < 0) throw linuxfs::ErrnoError(errno, path);
        struct stat st {};
        if (fstatat(dirfd.fd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0)
            throw linuxfs::ErrnoError(errno, path);
        if (!S_ISREG(st.st_mode)) {
            report.push_back(path + ": not a regular file; refused");
            throw VbError(vbErrPathFileAccess,
                          "Path/File access error: " + path + " is not a regular file");
        }
        // Refuse before touching the data when the entry could not be removed after.
        if (faccessat(dirfd.fd, ".", W_OK | X_OK, AT_EACCESS) != 0)
            throw linuxfs::ErrnoError(errno, dir);
        const int flags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
        int raw = openat(dirfd.fd, name.c_str(), flags);
        if (raw < 0 && errno == EACCES && st.st_uid == geteuid()) {
            // Our own read-only file: make it writable through a descriptor of this
            // very inode, never through a name that could have become a link.
            Fd p(openat(dirfd.fd, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
            struct stat ps {};
            if (p.fd >= 0 && fstat(p.fd, &ps) == 0 && S_ISREG(ps.st_mode) &&
                ps.st_ino == st.st_ino) {
                std::string proc = "/proc/self/fd/" + std::to_string(p.fd);
                if (chmod(proc.c_str(), (ps.st_mode & 07777) | S_IRUSR | S_IWUSR) == 0)
                    raw = openat(dirfd.fd, name.c_str(), flags);
            }
        }
        if (raw < 0) throw linuxfs::ErrnoError(errno, path);
        Fd fd(raw);
        struct stat fs {};
        if (fstat(fd.fd, &fs) != 0 || !S_ISREG(fs.st_mode) || fs.st_ino != st.st_ino ||
            fs.st_dev != st.st_dev)
            throw VbError(vbErrPathFileAccess,
                          "Path/File access error: " + path + " changed while opening");

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
        if (const char* note = CopyOnWriteNote(fd.fd); note && !passes.empty()) {
            report.push_back(path + ": " + note);
            complete = false;
        }
        total = length * (passes.size() + (verifyLast ? 1 : 0));

        Buffer buf = AlignedBuffer(kChunk + 64);
        Buffer spare = AlignedBuffer(kChunk + 64);  // random data for the next chunk
        Buffer check = verifyLast ? AlignedBuffer(kChunk + 64) : Buffer();
        FastRandom lastRandom;
        int passNo = 0;
        bool failed = false;
        for (const Pass& pass : passes) {
            ++passNo;
            if (im.abort.load()) break;
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
            while (off < length && !im.abort.load()) {
                std::size_t n =
                    static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, length - off));
                const unsigned char* src = buf.get();
                std::future<void> next;
                if (pass.random) {
                    if (!ready) generate(buf.get(), n);
                    // Make the next chunk's bytes on another core while this one is written.
                    if (off + n < length) {
                        std::size_t nn = static_cast<std::size_t>(
                            std::min<std::uint64_t>(kChunk, length - off - n));
                        next = std::async(std::launch::async, generate, spare.get(), nn);
                    }
                } else {
                    src += off % static_cast<std::uint64_t>(pass.patternLength);
                }
                int err = 0;
                const bool written = WriteAll(fd.fd, src, n, off, err);
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
                done += n;
            }
            if (failed) break;
            if (fdatasync(fd.fd) != 0) {
                report.push_back(path + ": pass " + std::to_string(passNo) +
                                 " could not be flushed: " + std::strerror(errno));
                complete = false;
            }
            if (im.hook && !im.abort.load()) im.hook(passNo, fd.fd, length);
        }
        if (verifyLast && !failed && !passes.empty() && !im.abort.load() && passes.back().random) {
            // Read the last pass back from the disk, not from the page cache.
            posix_fadvise(fd.fd, 0, 0, POSIX_FADV_DONTNEED);
            std::uint64_t bad = 0;
            for (std::uint64_t off = 0; off < length && !im.abort.load();) {
                std::size_t n =
                    static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, length - off));
                lastRandom.Fill(buf.get(), (n + 63) / 64 * 64);
                if (!ReadAll(fd.fd, check.get(), n, off)) {
                    bad += length - off;
                    break;
                }
                for (std::size_t i = 0; i < n; ++i) bad += buf[i] != check[i];
                off += n;
                done += n;
            }
            if (bad) {
                report.push_back(path + ": read-back found " + std::to_string(bad) +
                                 " byte(s) that differ from the last pass");
                complete = false;
            }
        }
        const bool aborted = im.abort.load();
        const bool shared = fs.st_nlink > 1;  // truncating would empty the other names too
        // The folder's sync after the unlink also makes the truncation durable.
        if (!shared && ftruncate(fd.fd, 0) != 0) {
            report.push_back(path + ": could not be truncated: " + std::strerror(errno));
            complete = false;
        }
        if (!HideAndUnlink(dirfd.fd, name, report)) throw linuxfs::ErrnoError(errno, path);
        return complete && !aborted;
    };

    std::thread worker([&] {
        bool r = false;
        std::exception_ptr e;
        try {
            r = job();
        } catch (...) {
            e = std::current_exception();
        }
        std::lock_guard lock(m);
        result = r;
        error = e;
        finished = true;
        cv.notify_all();
    });

    double lastDone = -1;
    for (;;) {
        bool over;
        {
            std::unique_lock lock(m);
            cv.wait_for(lock, kPumpInterval, [&] { return finished; });
            over = finished;
        }
        double d = static_cast<double>(done.load());
        if (total.load() > 0 && d != lastDone) {
            lastDone = d;
            DeleteProgress(path, static_cast<double>(total.load()), d);
        }
        if (over) break;
        if (im.pump) im.pump();
    }
    worker.join();
    im.report = std::move(report);
    if (error) std::rethrow_exception(error);
    return result;
}

}  // namespace velloran
