// WindowsPlatform's secure deletion. On NTFS a file may carry named data streams
// beside its main data; each is overwritten too. The file is opened as itself
// (FILE_FLAG_OPEN_REPARSE_POINT), so a link is refused and never followed; a file
// with other hard links only loses this name; compressed, encrypted and sparse
// files, network drives and solid-state drives are named, because overwriting in
// place does not reach their old clusters. Each pass reaches the disk
// (FlushFileBuffers) before the next begins; a batch of files writes pass k of
// every file, then flushes each, then pass k+1. Then the file is emptied, renamed
// through shrinking names and deleted through its open handle.

#include "common/platform/windows/Win32.hpp"

// After windows.h:
#include <winioctl.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <random>

#include "common/VbError.hpp"
#include "common/platform/windows/WindowsPlatform.hpp"

namespace velloran {

namespace {

constexpr std::size_t kChunk = 4u << 20;

// Random bytes for a pass: xoshiro256** seeded from the system once per pass.
class PassRandom {
public:
    PassRandom() {
        std::random_device device;
        for (auto& word : s_) word = (std::uint64_t(device()) << 32) ^ device();
    }
    void Fill(unsigned char* out, std::size_t n) {
        for (std::size_t i = 0; i < n; i += 8) {
            const std::uint64_t v = Next();
            std::memcpy(out + i, &v, std::min<std::size_t>(8, n - i));
        }
    }

private:
    static std::uint64_t Rotl(std::uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }
    std::uint64_t Next() {
        const std::uint64_t result = Rotl(s_[1] * 5, 7) * 9;
        const std::uint64_t t = s_[1] << 17;
        s_[2] ^= s_[0];
        s_[3] ^= s_[1];
        s_[1] ^= s_[2];
        s_[0] ^= s_[3];
        s_[2] ^= t;
        s_[3] = Rotl(s_[3], 45);
        return result;
    }
    std::uint64_t s_[4];
};

bool Aborted(const OverwriteJob& job) { return job.abort && job.abort->load(); }

void Add(std::atomic<std::uint64_t>* counter, std::uint64_t n) {
    if (counter) *counter += n;
}

void FillPattern(unsigned char* to, std::size_t size, const OverwritePass& pass) {
    const std::size_t n = std::min<std::size_t>(size, static_cast<std::size_t>(pass.patternLength));
    std::memcpy(to, pass.pattern, n);
    for (std::size_t have = n; have < size;) {
        const std::size_t copy = std::min(have, size - have);
        std::memcpy(to + have, to, copy);
        have += copy;
    }
}

std::wstring VolumeRoot(const std::wstring& path) {
    wchar_t root[MAX_PATH + 1] = {};
    if (!GetVolumePathNameW(path.c_str(), root, MAX_PATH + 1)) return {};
    return root;
}

// Whether the volume's disk has no seek penalty, which is how Windows tells a
// solid-state drive. Asked once per volume.
bool OnSolidState(const std::wstring& volumeRoot) {
    static std::mutex mutex;
    static std::map<std::wstring, bool> known;
    std::lock_guard lock(mutex);
    if (auto it = known.find(volumeRoot); it != known.end()) return it->second;
    bool ssd = false;
    // "\\?\C:\" -> "\\.\C:"
    std::wstring root = volumeRoot;
    if (root.starts_with(L"\\\\?\\")) root = root.substr(4);
    if (root.size() >= 2 && root[1] == L':') {
        win::Handle volume(CreateFileW((L"\\\\.\\" + root.substr(0, 2)).c_str(), 0,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                       0, nullptr));
        STORAGE_PROPERTY_QUERY query{};
        query.PropertyId = StorageDeviceSeekPenaltyProperty;
        query.QueryType = PropertyStandardQuery;
        DEVICE_SEEK_PENALTY_DESCRIPTOR penalty{};
        DWORD got = 0;
        if (volume &&
            DeviceIoControl(volume.get(), IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof query,
                            &penalty, sizeof penalty, &got, nullptr) &&
            got >= sizeof penalty)
            ssd = !penalty.IncursSeekPenalty;
    }
    known[volumeRoot] = ssd;
    return ssd;
}

// Why overwriting in place does not reach the old data, from the entry's
// attributes and its volume; empty when nothing stands in the way.
std::string Caveat(const std::wstring& path, DWORD attributes) {
    if (attributes & FILE_ATTRIBUTE_COMPRESSED)
        return "compressed (NTFS): new data is written to new clusters; not overwritten in place";
    if (attributes & FILE_ATTRIBUTE_ENCRYPTED)
        return "encrypted (EFS): the system may keep a plain copy; not overwritten in place";
    if (attributes & FILE_ATTRIBUTE_SPARSE_FILE)
        return "sparse file: new data may go to new clusters; not overwritten in place";
    const std::wstring root = VolumeRoot(path);
    if (root.empty()) return {};
    if (GetDriveTypeW(root.c_str()) == DRIVE_REMOTE)
        return "network drive: the server may keep copies of the data";
    if (OnSolidState(root))
        return "solid-state drive: its controller writes new blocks elsewhere; old blocks may "
               "keep the data";
    return {};
}

// The size rounded up to the volume's cluster, so the slack is overwritten too.
std::uint64_t ClusterLength(const std::wstring& path, std::uint64_t size) {
    std::uint64_t cluster = 4096;
    const std::wstring root = VolumeRoot(path);
    DWORD sectors = 0, bytes = 0, freeClusters = 0, total = 0;
    if (!root.empty() && GetDiskFreeSpaceW(root.c_str(), &sectors, &bytes, &freeClusters, &total) &&
        sectors && bytes)
        cluster = std::uint64_t(sectors) * bytes;
    return (size + cluster - 1) / cluster * cluster;
}

bool WriteAt(HANDLE h, const unsigned char* p, std::size_t n, std::uint64_t offset) {
    LARGE_INTEGER at;
    at.QuadPart = static_cast<LONGLONG>(offset);
    if (!SetFilePointerEx(h, at, nullptr, FILE_BEGIN)) return false;
    while (n > 0) {
        DWORD written = 0;
        if (!WriteFile(h, p, static_cast<DWORD>(n), &written, nullptr) || written == 0)
            return false;
        p += written;
        n -= written;
    }
    return true;
}

// One pass over an open stream of `length` bytes, not yet flushed. `keep` gets
// the pass's first bytes (up to 1 MiB) for a read-back. False when writing failed.
bool WritePass(HANDLE h, std::uint64_t length, const OverwritePass& pass, unsigned char* buffer,
               const OverwriteJob& job, std::vector<unsigned char>* keep, const std::string& shown,
               std::vector<std::string>& report) {
    PassRandom random;
    if (!pass.random) FillPattern(buffer, kChunk, pass);
    for (std::uint64_t off = 0; off < length && !Aborted(job);) {
        const std::size_t n =
            static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, length - off));
        if (pass.random) random.Fill(buffer, n);
        if (!WriteAt(h, buffer, n, off)) {
            report.push_back(shown + ": overwriting stopped at byte " + std::to_string(off) + ": " +
                             win::ErrorText(GetLastError()));
            return false;
        }
        if (keep && off == 0)
            keep->assign(buffer, buffer + std::min<std::size_t>(n, std::size_t(1) << 20));
        off += n;
        Add(job.done, n);
    }
    return true;
}

bool Flush(HANDLE h, int passNo, const std::string& shown, std::vector<std::string>& report) {
    if (FlushFileBuffers(h)) return true;
    report.push_back(shown + ": pass " + std::to_string(passNo) +
                     " could not be flushed: " + win::ErrorText(GetLastError()));
    return false;
}

// Whether the file still starts with what the last pass wrote, read through the
// open handle.
bool ReadBack(HANDLE h, const std::vector<unsigned char>& expected, const std::string& shown,
              std::vector<std::string>& report) {
    std::vector<unsigned char> check(expected.size());
    LARGE_INTEGER zero{};
    DWORD got = 0;
    if (SetFilePointerEx(h, zero, nullptr, FILE_BEGIN) &&
        ReadFile(h, check.data(), static_cast<DWORD>(check.size()), &got, nullptr) &&
        got == check.size() && check == expected)
        return true;
    report.push_back(shown + ": read-back found data that differs from the last pass");
    return false;
}

// Every pass over one open stream, each flushed before the next. False when
// writing failed.
bool RunPasses(const OverwriteJob& job, HANDLE h, std::uint64_t length, const std::string& shown,
               std::vector<std::string>& report) {
    std::unique_ptr<unsigned char[]> buffer(new unsigned char[kChunk]);
    int passNo = 0;
    for (const OverwritePass& pass : job.passes) {
        if (Aborted(job)) return true;
        if (!WritePass(h, length, pass, buffer.get(), job, nullptr, shown, report) ||
            !Flush(h, ++passNo, shown, report))
            return false;
    }
    return true;
}

bool Truncate(HANDLE h) {
    LARGE_INTEGER zero{};
    return SetFilePointerEx(h, zero, nullptr, FILE_BEGIN) && SetEndOfFile(h);
}

// Renames the open file through names of one repeated character, the length of
// its name and then shorter, so the folder no longer holds the name; then marks
// it for deletion, which happens when the handle closes. `longPath` follows the
// renames.
bool HideAndDelete(HANDLE h, std::wstring& longPath, std::vector<std::string>& report) {
    static const wchar_t kChars[] = L"0123456789abcdefghijklmnopqrstuvwxyz";
    const std::size_t slash = longPath.find_last_of(L'\\');
    const std::wstring folder = longPath.substr(0, slash);
    const std::wstring name = longPath.substr(slash + 1);
    std::wstring current = name;
    auto renameTo = [&](std::size_t length) {
        for (const wchar_t* c = kChars; *c; ++c) {
            const std::wstring candidate(length, *c);
            if (candidate == current) continue;
            // The NT form of the full path: "\??\C:\folder\name".
            const std::wstring target = L"\\??\\" + folder.substr(4) + L"\\" + candidate;
            std::vector<unsigned char> raw(sizeof(FILE_RENAME_INFO) +
                                           target.size() * sizeof(wchar_t));
            auto* info = reinterpret_cast<FILE_RENAME_INFO*>(raw.data());
            info->ReplaceIfExists = FALSE;
            info->RootDirectory = nullptr;
            info->FileNameLength = static_cast<DWORD>(target.size() * sizeof(wchar_t));
            std::memcpy(info->FileName, target.data(), info->FileNameLength);
            if (SetFileInformationByHandle(h, FileRenameInfo, info,
                                           static_cast<DWORD>(raw.size()))) {
                current = candidate;
                return true;
            }
            if (GetLastError() != ERROR_ALREADY_EXISTS && GetLastError() != ERROR_FILE_EXISTS)
                return false;
        }
        return false;
    };
    bool hidden = renameTo(name.size());
    for (std::size_t length = name.size() / 2; hidden && length >= 1; length /= 2)
        if (!renameTo(length) || length == 1) break;
    if (!hidden)
        report.push_back(win::DisplayPath(longPath) +
                         ": the name could not be overwritten in its folder");
    longPath = folder + L"\\" + current;
    FILE_DISPOSITION_INFO dispose{};
    dispose.DeleteFile = TRUE;
    return SetFileInformationByHandle(h, FileDispositionInfo, &dispose, sizeof dispose) != 0;
}

}  // namespace

StreamAccess SystemStreams() {
    StreamAccess access;
    access.list = [](const std::wstring& file) {
        std::vector<NamedStream> streams;
        WIN32_FIND_STREAM_DATA data{};
        win::FindHandle find(FindFirstStreamW(file.c_str(), FindStreamInfoStandard, &data, 0));
        if (!find) return streams;
        do {
            // "::$DATA" is the main data, overwritten as the file itself.
            if (std::wstring_view(data.cStreamName) == L"::$DATA") continue;
            streams.push_back(
                {data.cStreamName, static_cast<std::uint64_t>(data.StreamSize.QuadPart)});
        } while (FindNextStreamW(find.get(), &data));
        return streams;
    };
    access.open = [](const std::wstring& file, const NamedStream& stream) {
        return win::Handle(CreateFileW((file + stream.name).c_str(), GENERIC_READ | GENERIC_WRITE,
                                       FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                       FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    };
    return access;
}

std::string WindowsPlatform::OverwriteCaveat(const std::string& path) {
    const std::wstring p = win::LongPath(path);
    const DWORD a = GetFileAttributesW(p.c_str());
    if (a == INVALID_FILE_ATTRIBUTES) return {};
    return Caveat(p, a);
}

namespace {

// A file opened for wiping: its main data's passes are still to run; its named
// streams are already wiped and emptied.
struct WipeTarget {
    OverwriteJob job;
    std::wstring longPath;
    win::Handle h;
    std::uint64_t length = 0;  // the size up to the cluster's end
    std::uint64_t bytes = 0;   // all the passes of the file will write
    bool shared = false;       // other hard links: this name only goes
    bool complete = true;
    bool failed = false;      // writing failed: no further pass
    std::size_t durable = 0;  // passes that have reached the disk
    std::vector<unsigned char> lastRandom;
};

// Each named stream with the file's passes, each flushed, then emptied.
void WipeNamedStreams(WipeTarget& t, const std::vector<NamedStream>& named,
                      const StreamAccess& streams, std::vector<std::string>& report) {
    OverwriteJob streamJob = t.job;
    streamJob.afterPass = nullptr;
    for (const NamedStream& s : named) {
        if (Aborted(t.job)) break;
        const std::string shown =
            t.job.path + win::Narrow(s.name.substr(0, s.name.rfind(L":$DATA")));
        win::Handle stream = streams.open(t.longPath, s);
        if (!stream) {
            report.push_back(shown +
                             ": the stream could not be opened: " + win::ErrorText(GetLastError()));
            t.complete = false;
            continue;
        }
        if (!RunPasses(streamJob, stream.get(), ClusterLength(t.longPath, s.size), shown, report) ||
            !Truncate(stream.get()))
            t.complete = false;
    }
}

// Opens `job.path` as itself (a link is refused), says what keeps overwriting
// from reaching the old data, and wipes the named streams.
std::unique_ptr<WipeTarget> OpenTarget(const OverwriteJob& job, const StreamAccess& streams,
                                       std::vector<std::string>& report) {
    const std::string& path = job.path;
    auto t = std::make_unique<WipeTarget>();
    t->job = job;
    t->longPath = win::LongPath(path);
    const std::wstring& p = t->longPath;
    const DWORD a = GetFileAttributesW(p.c_str());
    if (a == INVALID_FILE_ATTRIBUTES) throw win::Win32Error(GetLastError(), path);
    if (win::IsReparse(a) || (a & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE))) {
        report.push_back(path + ": not a regular file; refused");
        throw VbError::PathFileAccess(path + " is not a regular file");
    }
    // Read-only keeps no one from wiping what the user chose; it would only make
    // the open fail.
    if (a & FILE_ATTRIBUTE_READONLY && !SetFileAttributesW(p.c_str(), a & ~FILE_ATTRIBUTE_READONLY))
        throw win::Win32Error(GetLastError(), path);
    // The named streams first: listing them needs the file openable by others.
    std::vector<NamedStream> named = streams.list(p);
    t->h = win::Handle(CreateFileW(
        p.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
        FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
    if (!t->h) throw win::Win32Error(GetLastError(), path);
    BY_HANDLE_FILE_INFORMATION info{};
    if (!GetFileInformationByHandle(t->h.get(), &info)) throw win::Win32Error(GetLastError(), path);
    if (win::IsReparse(info.dwFileAttributes) ||
        (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
        report.push_back(path + ": not a regular file; refused");
        throw VbError::PathFileAccess(path + " changed while opening");
    }
    const std::uint64_t size =
        (static_cast<std::uint64_t>(info.nFileSizeHigh) << 32) | info.nFileSizeLow;
    t->length = ClusterLength(p, size);
    t->shared = info.nNumberOfLinks > 1;
    if (t->shared) {
        // Other names share this data: overwriting would destroy their file.
        report.push_back(path + ": has " + std::to_string(info.nNumberOfLinks - 1) +
                         " other hard link(s); its data was not overwritten");
        t->complete = false;
        t->job.passes.clear();
        named.clear();
    }
    if (const std::string note = Caveat(p, info.dwFileAttributes);
        !note.empty() && !t->job.passes.empty()) {
        report.push_back(path + ": " + note);
        t->complete = false;
    }
    t->bytes = t->length * (t->job.passes.size() + (job.verifyLast ? 1 : 0));
    for (const NamedStream& s : named) t->bytes += ClusterLength(p, s.size) * t->job.passes.size();
    if (job.total) *job.total = t->bytes;
    WipeNamedStreams(*t, named, streams, report);
    return t;
}

// Writes the file's pass `k` (from 0), not yet flushed.
bool WriteMainPass(WipeTarget& t, std::size_t k, unsigned char* buffer,
                   std::vector<std::string>& report) {
    const OverwritePass& pass = t.job.passes[k];
    const bool keep = t.job.verifyLast && pass.random && k + 1 == t.job.passes.size();
    if (WritePass(t.h.get(), t.length, pass, buffer, t.job, keep ? &t.lastRandom : nullptr,
                  t.job.path, report))
        return true;
    t.failed = true;
    t.complete = false;
    return false;
}

bool FlushMainPass(WipeTarget& t, std::size_t k, std::vector<std::string>& report) {
    if (!Flush(t.h.get(), static_cast<int>(k + 1), t.job.path, report)) {
        t.failed = true;
        t.complete = false;
        return false;
    }
    t.durable = k + 1;
    return true;
}

// The read-back, then the file emptied, renamed out of its name and deleted.
// True when every pass reached all of its data.
bool FinishTarget(WipeTarget& t, bool stopped, std::vector<std::string>& report) {
    if (!stopped && !t.failed && !t.lastRandom.empty() &&
        !ReadBack(t.h.get(), t.lastRandom, t.job.path, report))
        t.complete = false;
    // Truncating a shared file would empty the other names too.
    if (!t.shared && !Truncate(t.h.get())) {
        report.push_back(t.job.path +
                         ": could not be truncated: " + win::ErrorText(GetLastError()));
        t.complete = false;
    }
    std::wstring current = t.longPath;
    if (!HideAndDelete(t.h.get(), current, report)) {
        // The handle could not delete: close it and delete by the current name.
        const DWORD error = GetLastError();
        t.h.Reset();
        if (!DeleteFileW(current.c_str())) throw win::Win32Error(error, t.job.path);
    }
    t.h.Reset();
    return t.complete && !t.failed && !stopped;
}

}  // namespace

bool WindowsPlatform::OverwriteAndRemove(const OverwriteJob& job,
                                         std::vector<std::string>& report) {
    std::unique_ptr<WipeTarget> t = OpenTarget(job, streams, report);
    std::unique_ptr<unsigned char[]> buffer(new unsigned char[kChunk]);
    for (std::size_t k = 0; k < t->job.passes.size() && !Aborted(job); ++k) {
        if (!WriteMainPass(*t, k, buffer.get(), report)) break;
        if (Aborted(job)) break;  // this pass may be cut short
        if (!FlushMainPass(*t, k, report)) break;
        if (job.afterPass) job.afterPass(static_cast<int>(k + 1), -1, t->length);
    }
    return FinishTarget(*t, Aborted(job), report);
}

namespace {

// Opens every file of a batch; one that cannot be opened keeps its error.
std::vector<std::unique_ptr<WipeTarget>> OpenBatch(const OverwriteBatch& batch,
                                                   const StreamAccess& streams,
                                                   std::vector<OverwriteResult>& results,
                                                   std::vector<std::size_t>& index) {
    std::vector<std::unique_ptr<WipeTarget>> targets;
    std::uint64_t total = 0;
    for (std::size_t i = 0; i < batch.jobs.size(); ++i) {
        OverwriteJob job = batch.jobs[i];
        job.abort = batch.abort;
        job.total = nullptr;
        job.done = batch.done;
        try {
            targets.push_back(OpenTarget(job, streams, results[i].report));
            total += targets.back()->bytes;
            index.push_back(i);
        } catch (...) {
            results[i].error = std::current_exception();
        }
    }
    if (batch.total) *batch.total = total;
    return targets;
}

}  // namespace

// Pass k of every file is written, then each is flushed, then pass k+1: the
// disk takes the whole batch's writes together, and no pass starts before the
// one before it has reached the disk for every file.
std::vector<OverwriteResult> WindowsPlatform::OverwriteAndRemoveBatch(const OverwriteBatch& batch) {
    std::vector<OverwriteResult> results(batch.jobs.size());
    std::vector<std::size_t> index;
    auto targets = OpenBatch(batch, streams, results, index);
    auto aborted = [&] { return batch.abort && batch.abort->load(); };
    std::size_t mostPasses = 0;
    for (auto& t : targets) mostPasses = std::max(mostPasses, t->job.passes.size());
    std::unique_ptr<unsigned char[]> buffer(new unsigned char[kChunk]);
    for (std::size_t k = 0; k < mostPasses && !aborted(); ++k) {
        std::vector<WipeTarget*> wrote;
        for (std::size_t n = 0; n < targets.size() && !aborted(); ++n) {
            WipeTarget& t = *targets[n];
            if (t.failed || k >= t.job.passes.size()) continue;
            if (!WriteMainPass(t, k, buffer.get(), results[index[n]].report) || aborted()) continue;
            wrote.push_back(&t);
            if (batch.written) batch.written(static_cast<int>(k + 1), t.job.path);
        }
        if (aborted()) break;
        for (std::size_t n = 0; n < targets.size(); ++n)
            if (std::find(wrote.begin(), wrote.end(), targets[n].get()) != wrote.end())
                FlushMainPass(*targets[n], k, results[index[n]].report);
        if (batch.durable) batch.durable(static_cast<int>(k + 1));
    }
    const bool stopped = aborted();
    for (std::size_t n = 0; n < targets.size(); ++n) {
        WipeTarget& t = *targets[n];
        OverwriteResult& r = results[index[n]];
        if (stopped && t.durable < t.job.passes.size() && !t.failed)
            r.report.push_back(t.job.path + ": the wipe was stopped; " + std::to_string(t.durable) +
                               " of " + std::to_string(t.job.passes.size()) +
                               " overwrite pass(es) reached the disk");
        try {
            r.complete = FinishTarget(t, stopped, r.report);
        } catch (...) {
            r.error = std::current_exception();
        }
    }
    return results;
}

}  // namespace velloran
