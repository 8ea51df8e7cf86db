#include "tools/eradicator/SecureDeleter.hpp"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <random>
#include <thread>

#include "common/VbError.hpp"
#include "common/WaitPumping.hpp"
#include "common/platform/Platform.hpp"

namespace velloran {

namespace {
constexpr auto kPumpInterval = std::chrono::milliseconds(10);
}  // namespace

struct SecureDeleter::Impl {
    explicit Impl(Platform& p) : platform(p) {}
    Platform& platform;
    std::atomic<bool> abort{false};
    std::function<void()> pump;
    PassHook hook;
    std::vector<std::string> report;
};

SecureDeleter::SecureDeleter(Platform& platform) : impl_(new Impl(platform)) {}
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
    std::atomic<std::uint64_t> total{0}, done{0};
    OverwriteJob job{path, std::move(passes), verifyLast, &im.abort, &total, &done, im.hook};
    std::vector<std::string> report;
    std::mutex m;
    std::condition_variable cv;
    bool finished = false;
    bool result = false;
    std::exception_ptr error;

    // The overwrite runs on a worker thread; progress and the pump stay on this one,
    // so a Stop click is handled while the disk works.
    std::thread worker([&] {
        bool r = false;
        std::exception_ptr e;
        try {
            r = im.platform.OverwriteAndRemove(job, report);
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
    bool over = false;
    WaitPumping(
        m, cv, kPumpInterval, [&] { return finished; }, [&] { over = finished; },
        [&] {
            const double d = static_cast<double>(done.load());
            if (total.load() > 0 && d != lastDone) {
                lastDone = d;
                DeleteProgress(path, static_cast<double>(total.load()), d);
            }
            return !over;
        },
        im.pump);
    worker.join();
    im.report = std::move(report);
    if (error) std::rethrow_exception(error);
    return result;
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
