#include "common/platform/linux/Overwrite.hpp"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <future>
#include <map>
#include <memory>
#include <optional>

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

// A large buffer starts on a huge page and its whole huge pages are asked for as
// such: fresh memory costs a fault per small page, which in a virtual machine
// slows a pass that starts with new buffers by a tenth.
Buffer AlignedBuffer(std::size_t size) {
    constexpr std::size_t kHugePage = std::size_t{2} << 20;
    const std::size_t align = size >= kHugePage ? kHugePage : kAlign;
    auto* p = static_cast<unsigned char*>(
        std::aligned_alloc(align, (size + kAlign - 1) / kAlign * kAlign));
    if (!p) throw std::bad_alloc();
    if (align == kHugePage) madvise(p, size / kHugePage * kHugePage, MADV_HUGEPAGE);
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

// The bytes a pass writes; one pair serves every file of a batch.
struct Buffers {
    Buffer buf = AlignedBuffer(kChunk + 64);
    Buffer spare = AlignedBuffer(kChunk + 64);  // random data for the next chunk
};

// What the passes write, and what the last one wrote for the read-back.
struct PassState {
    explicit PassState(Buffers& b) : io(&b) {}
    Buffers* io;
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
    if (!pass.random) {
        // Only as much as the largest chunk needs: a batch of small files would
        // otherwise fill the whole buffer for each of them.
        std::uint64_t largest = 0;
        for (const Span& c : ps.chunks) largest = std::max(largest, c.length);
        FillPattern(ps.io->buf.get(), static_cast<std::size_t>(largest) + 64, pass);
    }
    std::uint64_t started = 0;  // the disk has been asked to write from here
    std::uint64_t unsynced = 0;
    bool ready = false;  // buf already holds random data for the current chunk
    for (std::size_t i = 0; i < ps.chunks.size() && !Aborted(job);) {
        const Span chunk = ps.chunks[i];
        const auto n = static_cast<std::size_t>(chunk.length);
        const unsigned char* src = ps.io->buf.get();
        std::future<void> next;
        if (pass.random) {
            if (!ready) generate(ps.io->buf.get(), n);
            // Make the next chunk's bytes on another core while this one is written.
            if (i + 1 < ps.chunks.size())
                next = std::async(std::launch::async, generate, ps.io->spare.get(),
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
        if (prefetched) std::swap(ps.io->buf, ps.io->spare);
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
        ps.lastRandom.Fill(ps.io->buf.get(), (n + 63) / 64 * 64);
        if (!ReadAll(fd, check.get(), n, chunk.offset)) {
            bad += n;
            continue;
        }
        for (std::size_t i = 0; i < n; ++i) bad += ps.io->buf[i] != check[i];
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

// Whatever a writer added meanwhile is overwritten too, a few times over; a file
// that is still growing after that is named. False when writing failed.
bool CoverGrowth(const OverwriteJob& job, const std::vector<OverwritePass>& passes, int fd,
                 PassState& ps, std::uint64_t perByte, std::vector<std::string>& report) {
    constexpr int kRounds = 4;
    int passNo = 1 + static_cast<int>(passes.size());
    for (int round = 1; !passes.empty() && !Aborted(job); ++round) {
        struct stat now {};
        if (fstat(fd, &now) != 0) break;
        const std::uint64_t covered = (End(ps) + ps.block - 1) / ps.block * ps.block;
        const auto size = static_cast<std::uint64_t>(now.st_size);
        if (size <= covered) break;
        if (round == kRounds) {
            report.push_back(job.path + ": kept growing while it was overwritten; the last " +
                             std::to_string(size - covered) +
                             " byte(s) written to it meanwhile were not overwritten");
            ps.complete = false;
            break;
        }
        ps.size = size;
        ps.chunks = Chunks(DataSpans(fd, covered, size, ps.block));
        if (job.total) *job.total += Bytes(ps.chunks) * perByte;
        if (!RunPasses(job, passes, fd, ps, passNo, report)) return false;
        passNo += static_cast<int>(passes.size());
    }
    return true;
}

// Takes the file's size and the parts to overwrite; a file that shares its data
// with other names gets no passes. True for such a shared file.
bool Prepare(const OverwriteJob& job, const Opened& o, PassState& ps,
             std::vector<OverwritePass>& passes, std::vector<std::string>& report) {
    ps.size = static_cast<std::uint64_t>(o.st.st_size);
    ps.block = o.st.st_blksize > 0 ? static_cast<std::uint64_t>(o.st.st_blksize) : 4096;
    const bool shared = o.st.st_nlink > 1;
    if (shared) {
        // Other names share this data: overwriting would destroy their file.
        report.push_back(job.path + ": has " + std::to_string(o.st.st_nlink - 1) +
                         " other hard link(s); its data was not overwritten");
        ps.complete = false;
        passes.clear();
    }
    if (const char* note = CopyOnWriteNote(o.fd.get()); note && !passes.empty()) {
        report.push_back(job.path + ": " + note);
        ps.complete = false;
    }
    ps.chunks =
        passes.empty() ? std::vector<Span>{} : Chunks(DataSpans(o.fd.get(), 0, ps.size, ps.block));
    return shared;
}

}  // namespace

bool OverwriteAndRemove(const OverwriteJob& job, std::vector<std::string>& report) {
    const std::string& path = job.path;
    std::vector<OverwritePass> passes = job.passes;
    Opened o = OpenForOverwrite(path, report);

    Buffers io;
    PassState ps(io);
    const bool shared = Prepare(job, o, ps, passes, report);
    const std::uint64_t perByte = passes.size() + (job.verifyLast ? 1 : 0);
    if (job.total) *job.total = Bytes(ps.chunks) * perByte;

    bool failed = !RunPasses(job, passes, o.fd.get(), ps, 1, report);
    if (!failed) failed = !CoverGrowth(job, passes, o.fd.get(), ps, perByte, report);

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

namespace velloran::linuxfs {

namespace {

// One file of a batch while its passes run.
struct BatchFile {
    BatchFile(const OverwriteJob& j, OverwriteResult& r, Buffers& io) : job(j), result(r), ps(io) {}
    OverwriteJob job;
    OverwriteResult& result;
    Opened o;
    PassState ps;
    std::vector<OverwritePass> passes;
    bool shared = false;
    bool failed = false;      // writing failed: no further pass
    std::size_t durable = 0;  // passes that have reached the disk
};

// Candidate names of `length` characters, in order: one character repeated (as a
// single wipe names it), then base-36 numbers, so that many files of one folder
// can hold hidden names of the same length at once.
std::optional<std::string> HiddenName(std::size_t length, std::uint64_t index) {
    static const char kChars[] = "0123456789abcdefghijklmnopqrstuvwxyz";
    constexpr std::uint64_t kBase = sizeof kChars - 1;
    if (index < kBase) return std::string(length, kChars[index]);
    index -= kBase - 1;
    std::string name(length, '0');
    for (std::size_t i = length; i-- > 0 && index > 0; index /= kBase)
        name[i] = kChars[index % kBase];
    if (index > 0) return std::nullopt;
    return name;
}

// The names given out in one folder, per length, so a batch does not try every
// taken name again for each file.
struct FolderNames {
    int dirfd = -1;
    std::vector<BatchFile*> files;
    std::vector<std::string> current;  // each file's name now
    std::vector<bool> hidden;
    std::map<std::size_t, std::uint64_t> next;
    bool Rename(std::string& cur, std::size_t length) {
        for (std::uint64_t& i = next[length];; ++i) {
            const std::optional<std::string> cand = HiddenName(length, i);
            if (!cand) return false;
            if (*cand == cur) continue;
            if (renameat2(dirfd, cur.c_str(), dirfd, cand->c_str(), RENAME_NOREPLACE) == 0) {
                cur = *cand;
                ++i;
                return true;
            }
            if (errno == EEXIST) continue;
            if (errno == EINVAL || errno == ENOSYS) {
                struct stat st {};
                if (fstatat(dirfd, cand->c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0) continue;
                if (renameat(dirfd, cur.c_str(), dirfd, cand->c_str()) == 0) {
                    cur = *cand;
                    ++i;
                    return true;
                }
            }
            return false;
        }
    }
};

// Makes the pass just written durable for every file that wrote it. Several
// files: one syncfs per file system, which waits for all their data and flushes
// the disk's cache once, where a sync per file would flush it per file. One file,
// or a file system that cannot report: fdatasync of each.
void MakeDurable(std::vector<BatchFile*>& wrote, std::size_t pass) {
    std::map<dev_t, std::vector<BatchFile*>> byDevice;
    for (BatchFile* f : wrote) byDevice[f->o.st.st_dev].push_back(f);
    for (auto& [device, files] : byDevice) {
        if (files.size() > 1 && syncfs(files.front()->o.fd.get()) == 0) {
            for (BatchFile* f : files) f->durable = pass;
            continue;
        }
        for (BatchFile* f : files) sync_file_range(f->o.fd.get(), 0, 0, SYNC_FILE_RANGE_WRITE);
        for (BatchFile* f : files) {
            if (fdatasync(f->o.fd.get()) != 0) {
                f->result.report.push_back(f->job.path + ": pass " + std::to_string(pass) +
                                           " could not be flushed: " + std::strerror(errno));
                f->ps.complete = false;
            }
            f->durable = pass;
        }
    }
}

// Renames every file of one folder to a hidden name, syncs the folder once, then
// shortens each name and unlinks it, and syncs the folder once more.
void HideAndUnlinkAll(FolderNames& folder) {
    const std::size_t n = folder.files.size();
    for (std::size_t i = 0; i < n; ++i) {
        folder.current.push_back(folder.files[i]->o.name);
        folder.hidden.push_back(folder.Rename(folder.current[i], folder.current[i].size()));
    }
    fsync(folder.dirfd);
    for (std::size_t i = 0; i < n; ++i) {
        BatchFile& f = *folder.files[i];
        std::string& cur = folder.current[i];
        for (std::size_t len = f.o.name.size() / 2; folder.hidden[i] && len >= 1; len /= 2)
            if (!folder.Rename(cur, len) || len == 1) break;
        if (!folder.hidden[i])
            f.result.report.push_back(f.o.name +
                                      ": the name could not be overwritten in its folder");
        if (unlinkat(folder.dirfd, cur.c_str(), 0) != 0) {
            f.result.error = std::make_exception_ptr(ErrnoError(errno, f.job.path));
            f.result.complete = false;
        }
    }
    fsync(folder.dirfd);
}

}  // namespace

std::vector<OverwriteResult> OverwriteAndRemoveBatch(const OverwriteBatch& batch) {
    std::vector<OverwriteResult> results(batch.jobs.size());
    Buffers io;
    std::vector<std::unique_ptr<BatchFile>> files;
    std::size_t mostPasses = 0;
    std::uint64_t total = 0;
    for (std::size_t i = 0; i < batch.jobs.size(); ++i) {
        auto f = std::make_unique<BatchFile>(batch.jobs[i], results[i], io);
        f->job.abort = batch.abort;
        f->job.total = nullptr;
        f->job.done = batch.done;
        try {
            f->o = OpenForOverwrite(f->job.path, f->result.report);
        } catch (...) {
            f->result.error = std::current_exception();
            continue;
        }
        f->passes = f->job.passes;
        f->shared = Prepare(f->job, f->o, f->ps, f->passes, f->result.report);
        total += Bytes(f->ps.chunks) * (f->passes.size() + (f->job.verifyLast ? 1 : 0));
        mostPasses = std::max(mostPasses, f->passes.size());
        files.push_back(std::move(f));
    }
    if (batch.total) *batch.total = total;
    auto aborted = [&] { return batch.abort && batch.abort->load(); };

    // Pass k of every file, then pass k on the disk for all of them, then pass k+1.
    for (std::size_t pass = 1; pass <= mostPasses && !aborted(); ++pass) {
        std::vector<BatchFile*> wrote;
        for (auto& f : files) {
            if (f->failed || pass > f->passes.size()) continue;
            if (aborted()) break;
            if (!RunPass(f->job, f->passes[pass - 1], f->o.fd.get(), f->ps, f->result.report)) {
                f->failed = true;
                continue;
            }
            if (aborted()) break;  // this file's pass may be cut short
            wrote.push_back(f.get());
            if (batch.written) batch.written(static_cast<int>(pass), f->job.path);
        }
        if (aborted()) break;
        MakeDurable(wrote, pass);
        if (batch.durable) batch.durable(static_cast<int>(pass));
        for (BatchFile* f : wrote)
            if (f->job.afterPass)
                f->job.afterPass(static_cast<int>(pass), f->o.fd.get(), End(f->ps));
    }
    for (auto& f : files) {
        if (aborted()) break;
        if (f->failed) continue;
        const auto& passes = f->passes;
        if (f->job.verifyLast && !passes.empty() && passes.back().random)
            VerifyLastPass(f->job, f->o.fd.get(), f->ps, f->result.report);
        const std::uint64_t perByte = passes.size() + (f->job.verifyLast ? 1 : 0);
        OverwriteJob grow = f->job;
        grow.total = nullptr;
        if (!CoverGrowth(grow, passes, f->o.fd.get(), f->ps, perByte, f->result.report))
            f->failed = true;
    }

    // A stop ends the batch: each file is removed as a stopped single wipe is, and
    // a file that did not get all its passes is named.
    const bool stopped = aborted();
    for (auto& f : files) {
        if (stopped && f->durable < f->passes.size() && !f->failed)
            f->result.report.push_back(
                f->job.path + ": the wipe was stopped; " + std::to_string(f->durable) + " of " +
                std::to_string(f->passes.size()) + " overwrite pass(es) reached the disk");
        f->result.complete = f->ps.complete && !stopped && !f->failed;
        if (!f->shared && ftruncate(f->o.fd.get(), 0) != 0) {
            f->result.report.push_back(f->job.path +
                                       ": could not be truncated: " + std::strerror(errno));
            f->result.complete = false;
        }
    }
    // Folder by folder, in the order the files came.
    std::map<std::string, FolderNames> folders;
    std::vector<FolderNames*> order;
    for (auto& f : files) {
        const std::string dir = SplitPath(f->job.path).first;
        auto [it, added] = folders.try_emplace(dir);
        if (added) {
            it->second.dirfd = f->o.dir.get();
            order.push_back(&it->second);
        }
        it->second.files.push_back(f.get());
    }
    for (FolderNames* folder : order) HideAndUnlinkAll(*folder);
    return results;
}

}  // namespace velloran::linuxfs
