#pragma once
// Deletes files, plainly (optionally to the trash) or by overwriting them first.
// Overwriting works on regular files only (links and special files are refused),
// covers the file up to the end of its last block, makes each pass reach the disk
// before the next, then truncates the file, renames it through shrinking names and
// unlinks it. The work runs on a worker thread; DeleteProgress is raised on the
// calling thread, and the pump (the front end's DoEvents) runs while it waits, so a
// Stop click can set AbortDelete re-entrantly.
//
// Methods return true when everything asked for was done, false when the deletion
// was aborted or part of the data could not be overwritten (Report() says what).
// An aborted overwrite still removes the file: its contents are already damaged.
// Errors raise VbError: 53 file not found, 70 permission denied, 75 not a regular
// file or another access error, 61 disk full, 57 I/O error.
#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/controls/Signal.hpp"
#include "common/platform/Platform.hpp"

namespace velloran {

class SecureDeleter {
public:
    // Every file operation goes through the platform, so a preview records it.
    explicit SecureDeleter(Platform& platform);
    ~SecureDeleter();
    SecureDeleter(const SecureDeleter&) = delete;
    SecureDeleter& operator=(const SecureDeleter&) = delete;

    // True asks a running deletion to stop before its next block.
    void SetAbortDelete(bool abort);
    bool AbortDelete() const;

    // Without overwriting: unlinks the entry (a link itself, never its target), or
    // moves it to the freedesktop trash when `toRecycleBin` is true.
    bool DeletePlain(const std::string& path, bool toRecycleBin);
    // 35 passes: 4 random, the 27 fixed patterns of Gutmann's table in random
    // order, 4 random.
    bool DeleteGutmann(const std::string& path);
    // Zeros, ones (0xFF), random, then reads the last pass back from the disk.
    // The overwriting method by its delete-method list index (0 File Zapper,
    // 1 Gutmann, 2 Zero And Delete); any other index deletes without overwriting,
    // to the trash when `otherRecycles`.
    bool DeleteWith(int method, const std::string& path, bool otherRecycles);
    bool DeleteZapper(const std::string& path);
    // One pass of zeros.
    bool DeleteZero(const std::string& path);

    // Batching: while on, the overwriting methods only queue the file and return
    // true; the queue is wiped pass by pass as one batch (each pass on the disk
    // for every file before the next starts) once it is large enough, and by
    // FinishBatch. What the batches did not do collects in BatchReport().
    void SetBatching(bool on);
    // Wipes what is queued. A stop (SetAbortDelete) ends the batch after the pass in
    // progress; its files are removed all the same and named in BatchReport().
    void FinishBatch();
    // One line per file of the finished batches that was not (fully) overwritten
    // or removed; `error` when it could not be wiped at all (the error's text).
    struct Left {
        std::string path;
        std::string line;
        bool error = false;
    };
    // Taken once: the lines are handed over and forgotten.
    std::vector<Left> TakeBatchReport();
    // Test hook: each file's pass written, and each pass on the disk for the batch.
    void SetBatchHooks(std::function<void(int pass, const std::string& path)> written,
                       std::function<void(int pass)> durable);

    // path, total bytes of all passes, bytes done so far.
    Signal<const std::string&, double, double> DeleteProgress;

    void SetPump(std::function<void()> pump);
    // What the last call could not overwrite or remove, one line each, for the log.
    const std::vector<std::string>& Report() const;

    // Test hook, called on the worker thread after each pass has reached the disk:
    // pass number (1-based), the open descriptor and the overwritten length.
    using PassHook =
        std::function<void(int pass, int fd, std::uint64_t length)>;  // as OverwriteJob
    void SetPassHook(PassHook hook);

    // One overwrite pass: random bytes, or a repeating pattern of 1 to 3 bytes.
    using Pass = OverwritePass;
    // The 27 fixed patterns of Gutmann's table, in table order.
    static std::vector<Pass> GutmannPatterns();

private:
    struct Impl;
    bool Overwrite(const std::string& path, std::vector<Pass> passes, bool verifyLast);
    // Runs `work` on a worker thread, raising progress for `shown` and pumping.
    void RunPumping(const std::string& shown, std::atomic<std::uint64_t>& total,
                    std::atomic<std::uint64_t>& done, const std::function<void()>& work);
    Impl* impl_;
};

}  // namespace velloran
