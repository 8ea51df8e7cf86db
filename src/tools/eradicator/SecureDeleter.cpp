#include "tools/eradicator/SecureDeleter.hpp"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <random>
#include <thread>
#include <utility>

#include "common/VbError.hpp"
#include "common/WaitPumping.hpp"
#include "common/platform/Platform.hpp"

namespace velloran {

namespace {
constexpr auto kPumpInterval = std::chrono::milliseconds(10);
// A batch is wiped once it holds this many files or bytes: enough that a sync per
// pass costs little per file, few enough descriptors and a short enough stop.
constexpr std::size_t kBatchFiles = 256;
constexpr std::uint64_t kBatchBytes = 64u << 20;
}  // namespace

struct SecureDeleter::Impl {
    explicit Impl(Platform& p) : platform(p) {}
    Platform& platform;
    std::atomic<bool> abort{false};
    std::function<void()> pump;
    PassHook hook;
    std::vector<std::string> report;
    bool batching = false;
    std::vector<OverwriteJob> queue;
    std::uint64_t queuedBytes = 0;
    std::vector<Left> batchReport;
    std::function<void(int, const std::string&)> written;
    std::function<void(int)> durable;
};

SecureDeleter::SecureDeleter(Platform& platform) : impl_(new Impl(platform)) {}
SecureDeleter::~SecureDeleter() { delete impl_; }

void SecureDeleter::SetAbortDelete(bool abort) { impl_->abort.store(abort); }
bool SecureDeleter::AbortDelete() const { return impl_->abort.load(); }
void SecureDeleter::SetPump(std::function<void()> pump) { impl_->pump = std::move(pump); }
const std::vector<std::string>& SecureDeleter::Report() const { return impl_->report; }
void SecureDeleter::SetPassHook(PassHook hook) { impl_->hook = std::move(hook); }
void SecureDeleter::SetBatching(bool on) { impl_->batching = on; }
void SecureDeleter::SetBatchHooks(std::function<void(int, const std::string&)> written,
                                  std::function<void(int)> durable) {
    impl_->written = std::move(written);
    impl_->durable = std::move(durable);
}

std::vector<SecureDeleter::Left> SecureDeleter::TakeBatchReport() {
    return std::exchange(impl_->batchReport, {});
}

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
    if (toRecycleBin)
        impl_->platform.MoveToRecycleBin(path);
    else
        impl_->platform.DeleteFileEntry(path);
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
    if (im.batching) {
        im.queue.push_back(
            {path, std::move(passes), verifyLast, nullptr, nullptr, nullptr, im.hook});
        im.queuedBytes += im.platform.FileSize(path).value_or(0);
        if (im.queue.size() >= kBatchFiles || im.queuedBytes >= kBatchBytes) FinishBatch();
        return true;
    }
    std::atomic<std::uint64_t> total{0}, done{0};
    OverwriteJob job{path, std::move(passes), verifyLast, &im.abort, &total, &done, im.hook};
    std::vector<std::string> report;
    bool result = false;
    try {
        RunPumping(path, total, done,
                   [&] { result = im.platform.OverwriteAndRemove(job, report); });
    } catch (...) {
        im.report = std::move(report);  // what was refused, beside the error
        throw;
    }
    im.report = std::move(report);
    return result;
}

void SecureDeleter::FinishBatch() {
    Impl& im = *impl_;
    if (im.queue.empty()) return;
    std::atomic<std::uint64_t> total{0}, done{0};
    OverwriteBatch batch{
        std::exchange(im.queue, {}), &im.abort, &total, &done, im.written, im.durable};
    im.queuedBytes = 0;
    std::vector<OverwriteResult> results;
    RunPumping(batch.jobs.back().path, total, done,
               [&] { results = im.platform.OverwriteAndRemoveBatch(batch); });
    for (std::size_t i = 0; i < results.size() && i < batch.jobs.size(); ++i) {
        const std::string& path = batch.jobs[i].path;
        OverwriteResult& r = results[i];
        if (r.error) {
            try {
                std::rethrow_exception(r.error);
            } catch (const VbError& e) {
                im.batchReport.push_back({path, e.Description(), true});
            }
        } else if (!r.complete) {
            for (std::string& line : r.report) im.batchReport.push_back({path, std::move(line)});
        }
    }
}

void SecureDeleter::RunPumping(const std::string& shown, std::atomic<std::uint64_t>& total,
                               std::atomic<std::uint64_t>& done,
                               const std::function<void()>& work) {
    Impl& im = *impl_;
    std::mutex m;
    std::condition_variable cv;
    bool finished = false;
    std::exception_ptr error;

    // The wipe runs on a worker thread; progress and the pump stay on this one, so
    // a Stop click is handled while the disk works.
    std::thread worker([&] {
        std::exception_ptr e;
        try {
            work();
        } catch (...) {
            e = std::current_exception();
        }
        std::lock_guard lock(m);
        error = e;
        finished = true;
        cv.notify_all();
    });

    double lastDone = -1;
    bool over = false;
    WaitPumping(
        m, cv, kPumpInterval, [&] { return finished; }, [&] { over = finished; },
        [&] {
            const double d = static_cast<double>(done.load());
            if (total.load() > 0 && d != lastDone) {
                lastDone = d;
                DeleteProgress(shown, static_cast<double>(total.load()), d);
            }
            return !over;
        },
        im.pump);
    worker.join();
    if (error) std::rethrow_exception(error);
}

bool SecureDeleter::DeleteWith(int method, const std::string& path, bool otherRecycles) {
    switch (method) {
        case 0:
            return DeleteZapper(path);
        case 1:
            return DeleteGutmann(path);
        case 2:
            return DeleteZero(path);
        default:
            return DeletePlain(path, otherRecycles);
    }
}

}  // namespace velloran
