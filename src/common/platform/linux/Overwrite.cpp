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
constexpr std::uint64_t kFlushStep = 2 * kChunk;

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

namespace {

// The file being wiped, opened without following links and checked to be the
// entry that was looked at.
struct Opened {
    UniqueFd dir;
    std::string name;
    UniqueFd fd;
    struct stat st {};
};

// Opens `path` for overwriting; a read-only file of our own is made writable
// through its own inode first. Throws VbError.
Opened OpenForOverwrite(const std::string& path, std::vector<std::string>& report) {
    Opened o;
    auto [dir, name] = SplitPath(path);
    o.name = name;
    o.dir = UniqueFd(OpenFolderForDeletion(dir));
    if (o.dir.get() < 0) throw ErrnoError(errno, path);
    struct stat st {};
    if (fstatat(o.dir.get(), name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0)
        throw ErrnoError(errno, path);
    if (!S_ISREG(st.st_mode)) {
        report.push_back(path + ": not a regular file; refused");
        throw VbError::PathFileAccess(path + " is not a regular file");
    }
    // Refuse before touching the data when the entry could not be removed after.
    if (faccessat(o.dir.get(), ".", W_OK | X_OK, AT_EACCESS) != 0) throw ErrnoError(errno, dir);
    const int flags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
    int raw = openat(o.dir.get(), name.c_str(), flags);
    if (raw < 0 && errno == EACCES && st.st_uid == geteuid()) {
        // Our own read-only file: make it writable through a descriptor of this
        // very inode, never through a name that could have become a link.
        UniqueFd p(openat(o.dir.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        struct stat ps {};
        if (p.get() >= 0 && fstat(p.get(), &ps) == 0 && S_ISREG(ps.st_mode) &&
            ps.st_ino == st.st_ino) {
            std::string proc = "/proc/self/fd/" + std::to_string(p.get());
            if (chmod(proc.c_str(), (ps.st_mode & 07777) | S_IRUSR | S_IWUSR) == 0)
                raw = openat(o.dir.get(), name.c_str(), flags);
        }
    }
    if (raw < 0) throw ErrnoError(errno, path);
    o.fd = UniqueFd(raw);
    if (fstat(o.fd.get(), &o.st) != 0 || !S_ISREG(o.st.st_mode) || o.st.st_ino != st.st_ino ||
        o.st.st_dev != st.st_dev)
        throw VbError::PathFileAccess(path + " changed while opening");
    return o;
}

// A part of the file that the passes write: offset and length.
struct Span {
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
};

// What the passes write, and what the last one wrote for the read-back.
struct PassState {
    Buffer buf = AlignedBuffer(kChunk + 64);
    Buffer spare = AlignedBuffer(kChunk + 64);  // random data for the next chunk
    FastRandom lastRandom;
    std::uint64_t size = 0;  // the file's size when the spans were taken
    std::uint64_t block = 4096;
    std::vector<Span> chunks;  // the spans, cut into pieces of at most kChunk
    bool complete = true;
    bool slackReported = false;
};

// The parts of [from, size) that hold data, widened to whole blocks (the last one
// to the end of its block). Holes have no blocks of their own: writing them would
// only fill the disk with what was never there. Where the file system cannot tell,
// everything is data.
std::vector<Span> DataSpans(int fd, std::uint64_t from, std::uint64_t size, std::uint64_t block) {
    std::vector<Span> spans;
    auto add = [&](std::uint64_t begin, std::uint64_t end) {
        begin = std::max(from, begin / block * block);
        end = (end + block - 1) / block * block;
        if (end <= begin) return;
        if (!spans.empty() && begin <= spans.back().offset + spans.back().length) {
            Span& last = spans.back();
            last.length = std::max(last.offset + last.length, end) - last.offset;
        } else {
            spans.push_back({begin, end - begin});
        }
    };
    std::uint64_t at = from;
    while (at < size) {
        const off_t data = lseek(fd, static_cast<off_t>(at), SEEK_DATA);
        if (data < 0) {
            if (errno != ENXIO) add(at, size);  // ENXIO: only a hole is left
            break;
        }
        off_t hole = lseek(fd, data, SEEK_HOLE);
        if (hole < 0) hole = static_cast<off_t>(size);
        add(static_cast<std::uint64_t>(data),
            std::min<std::uint64_t>(static_cast<std::uint64_t>(hole), size));
        at = static_cast<std::uint64_t>(hole);
    }
    return spans;
}

std::vector<Span> Chunks(const std::vector<Span>& spans) {
    std::vector<Span> chunks;
    for (const Span& s : spans)
        for (std::uint64_t off = 0; off < s.length; off += kChunk)
            chunks.push_back({s.offset + off, std::min<std::uint64_t>(kChunk, s.length - off)});
    return chunks;
}

std::uint64_t Bytes(const std::vector<Span>& chunks) {
    std::uint64_t n = 0;
    for (const Span& c : chunks) n += c.length;
    return n;
}

// The end of what the chunks cover; the file's size when that is further.
std::uint64_t End(const PassState& ps) {
    const std::uint64_t covered =
        ps.chunks.empty() ? 0 : ps.chunks.back().offset + ps.chunks.back().length;
    return std::max(covered, ps.size);
}

// Repeats the pass's pattern over the buffer by doubling copies: a byte loop
// would cost a noticeable part of a pass's time at disk speed.
void FillPattern(unsigned char* to, std::size_t size, const OverwritePass& pass) {
    const std::size_t n = std::min(size, static_cast<std::size_t>(pass.patternLength));
    std::memcpy(to, pass.pattern, n);
    for (std::size_t have = n; have < size;) {
        const std::size_t copy = std::min(have, size - have);
        std::memcpy(to + have, to, copy);
        have += copy;
    }
}

// One pass over the chunks. False when writing failed and the passes must stop.
bool RunPass(const OverwriteJob& job, const OverwritePass& pass, int fd, PassState& ps,
             std::vector<std::string>& report) {
    const std::string& path = job.path;
    FastRandom rng;
    ps.lastRandom = rng;
    auto generate = [&rng](unsigned char* to, std::size_t n) { rng.Fill(to, (n + 63) / 64 * 64); };
    if (!pass.random) FillPattern(ps.buf.get(), kChunk + 64, pass);
    std::uint64_t started = 0;  // the disk has been asked to write from here
    std::uint64_t unsynced = 0;
    bool ready = false;  // buf already holds random data for the current chunk
    for (std::size_t i = 0; i < ps.chunks.size() && !Aborted(job);) {
        const Span chunk = ps.chunks[i];
        const auto n = static_cast<std::size_t>(chunk.length);
        const unsigned char* src = ps.buf.get();
        std::future<void> next;
        if (pass.random) {
            if (!ready) generate(ps.buf.get(), n);
            // Make the next chunk's bytes on another core while this one is written.
            if (i + 1 < ps.chunks.size())
                next = std::async(std::launch::async, generate, ps.spare.get(),
                                  static_cast<std::size_t>(ps.chunks[i + 1].length));
        } else {
            src += chunk.offset % static_cast<std::uint64_t>(pass.patternLength);
        }
        int err = 0;
        const bool written = WriteAll(fd, src, n, chunk.offset, err);
        const bool prefetched = next.valid();
        if (prefetched) next.get();
        if (!written) {
            if ((err == ENOSPC || err == EDQUOT) && chunk.offset + n > ps.size) {
                // The slack after the end could not be claimed: keep to the file.
                if (!ps.slackReported)
                    report.push_back(path +
                                     ": the space after the end of the file could not be "
                                     "overwritten (disk full)");
                ps.slackReported = true;
                ps.complete = false;
                ps.chunks.resize(i + 1);
                ps.chunks[i].length = ps.size > chunk.offset ? ps.size - chunk.offset : 0;
                if (ps.chunks[i].length == 0) ps.chunks.pop_back();
                ready = pass.random;  // buf still holds this chunk's bytes
                continue;
            }
            report.push_back(path + ": overwriting stopped at byte " +
                             std::to_string(chunk.offset) + ": " + std::strerror(err));
            ps.complete = false;
            return false;
        }
        if (prefetched) std::swap(ps.buf, ps.spare);
        ready = prefetched;
        Add(job.done, n);
        // The disk writes what is done while the rest is copied and made, so the
        // sync at the end of the pass waits only for the last part.
        if (unsynced == 0) started = chunk.offset;
        unsynced += n;
        if (unsynced >= kFlushStep) {
            sync_file_range(fd, static_cast<off_t>(started),
                            static_cast<off_t>(chunk.offset + n - started), SYNC_FILE_RANGE_WRITE);
            unsynced = 0;
        }
        ++i;
    }
    return true;
}

// Reads the last (random) pass back from the disk, not from the page cache.
void VerifyLastPass(const OverwriteJob& job, int fd, PassState& ps,
                    std::vector<std::string>& report) {
    posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    Buffer check = AlignedBuffer(kChunk + 64);
    std::uint64_t bad = 0;
    for (const Span& chunk : ps.chunks) {
        if (Aborted(job)) break;
        const auto n = static_cast<std::size_t>(chunk.length);
        ps.lastRandom.Fill(ps.buf.get(), (n + 63) / 64 * 64);
        if (!ReadAll(fd, check.get(), n, chunk.offset)) {
            bad += n;
            continue;
        }
        for (std::size_t i = 0; i < n; ++i) bad += ps.buf[i] != check[i];
        Add(job.done, n);
    }
    if (bad) {
        report.push_back(job.path + ": read-back found " + std::to_string(bad) +
                         " byte(s) that differ from the last pass");
        ps.complete = false;
    }
}

// Runs every pass over the chunks; false when writing failed. `firstPass` numbers
// the passes for the hook.
bool RunPasses(const OverwriteJob& job, const std::vector<OverwritePass>& passes, int fd,
               PassState& ps, int firstPass, std::vector<std::string>& report) {
    int passNo = firstPass;
    for (const OverwritePass& pass : passes) {
        if (Aborted(job)) break;
        if (!RunPass(job, pass, fd, ps, report)) return false;
        if (fdatasync(fd) != 0) {
            report.push_back(job.path + ": pass " + std::to_string(passNo) +
                             " could not be flushed: " + std::strerror(errno));
            ps.complete = false;
        }
        if (job.afterPass && !Aborted(job)) job.afterPass(passNo, fd, End(ps));
        ++passNo;
    }
    if (job.verifyLast && !passes.empty() && !Aborted(job) && passes.back().random)
        VerifyLastPass(job, fd, ps, report);
    return true;
}

}  // namespace

bool OverwriteAndRemove(const OverwriteJob& job, std::vector<std::string>& report) {
    const std::string& path = job.path;
    std::vector<OverwritePass> passes = job.passes;
    Opened o = OpenForOverwrite(path, report);

    PassState ps;
    ps.size = static_cast<std::uint64_t>(o.st.st_size);
    ps.block = o.st.st_blksize > 0 ? static_cast<std::uint64_t>(o.st.st_blksize) : 4096;
    const bool shared = o.st.st_nlink > 1;
    if (shared) {
        // Other names share this data: overwriting would destroy their file.
        report.push_back(path + ": has " + std::to_string(o.st.st_nlink - 1) +
                         " other hard link(s); its data was not overwritten");
        ps.complete = false;
        passes.clear();
    }
    if (const char* note = CopyOnWriteNote(o.fd.get()); note && !passes.empty()) {
        report.push_back(path + ": " + note);
        ps.complete = false;
    }
    ps.chunks =
        passes.empty() ? std::vector<Span>{} : Chunks(DataSpans(o.fd.get(), 0, ps.size, ps.block));
    const std::uint64_t perByte = passes.size() + (job.verifyLast ? 1 : 0);
    if (job.total) *job.total = Bytes(ps.chunks) * perByte;

    bool failed = !RunPasses(job, passes, o.fd.get(), ps, 1, report);
    // Whatever a writer added meanwhile is overwritten too, a few times over; a file
    // that is still growing after that is named.
    constexpr int kRounds = 4;
    int passNo = 1 + static_cast<int>(passes.size());
    for (int round = 1; !failed && !passes.empty() && !Aborted(job); ++round) {
        struct stat now {};
        if (fstat(o.fd.get(), &now) != 0) break;
        const std::uint64_t covered = (End(ps) + ps.block - 1) / ps.block * ps.block;
        const auto size = static_cast<std::uint64_t>(now.st_size);
        if (size <= covered) break;
        if (round == kRounds) {
            report.push_back(path + ": kept growing while it was overwritten; the last " +
                             std::to_string(size - covered) +
                             " byte(s) written to it meanwhile were not overwritten");
            ps.complete = false;
            break;
        }
        ps.size = size;
        ps.chunks = Chunks(DataSpans(o.fd.get(), covered, size, ps.block));
        if (job.total) *job.total += Bytes(ps.chunks) * perByte;
        failed = !RunPasses(job, passes, o.fd.get(), ps, passNo, report);
        passNo += static_cast<int>(passes.size());
    }

    const bool aborted = Aborted(job);
    // Truncating a shared file would empty the other names too. The folder's sync
    // after the unlink also makes the truncation durable.
    if (!shared && ftruncate(o.fd.get(), 0) != 0) {
        report.push_back(path + ": could not be truncated: " + std::strerror(errno));
        ps.complete = false;
    }
    if (!HideAndUnlink(o.dir.get(), o.name, report)) throw ErrnoError(errno, path);
    return ps.complete && !aborted && !failed;
}

}  // namespace velloran::linuxfs
