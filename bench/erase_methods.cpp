// Secure deletion throughput against dd (one pass) and shred (same pass counts).
// usage: erase_methods [DIR] [MB]   (default /var/tmp, 256 MB)
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "common/platform/linux/LinuxPlatform.hpp"
#include "tools/eradicator/SecureDeleter.hpp"

using namespace velloran;
using Clock = std::chrono::steady_clock;

namespace {

void MakeFile(const std::string& path, std::size_t mb) {
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    std::vector<char> buf(1 << 20, 'v');
    for (std::size_t i = 0; i < mb; ++i)
        if (write(fd, buf.data(), buf.size()) < 0) break;
    fsync(fd);
    close(fd);
    sync();  // nothing else dirty when the clock starts
}

double Time(const std::function<void()>& f) {
    auto t0 = Clock::now();
    f();
    return std::chrono::duration<double>(Clock::now() - t0).count();
}

double Shell(const std::string& cmd) {
    return Time([&] {
        if (std::system(cmd.c_str()) != 0) std::fprintf(stderr, "failed: %s\n", cmd.c_str());
    });
}

}  // namespace

int main(int argc, char** argv) {
    std::string dir = argc > 1 ? argv[1] : "/var/tmp";
    std::size_t mb = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 256;
    std::string f = dir + "/velloran-erase-bench.bin";
    std::string mbs = std::to_string(mb);

    // One pass: dd writing zeros over an existing file of the same size. Best of
    // three, since a single pass is short enough for noise to matter.
    LinuxPlatform platform{Target{}};
    SecureDeleter d(platform);
    d.SetBatching(true);  // as the windows run it: a file this large is a batch of its own
    // The pass itself, up to its sync, measured through the pass hook; the whole
    // call also frees the blocks (truncate, unlink), which dd does not do.
    Clock::time_point start, lastPass;
    d.SetPassHook([&](int, int, std::uint64_t) { lastPass = Clock::now(); });
    auto sincePass = [&] { return std::chrono::duration<double>(lastPass - start).count(); };
    double dd = 1e9, ddRandom = 1e9, zero = 1e9, zeroPass = 1e9, shred0 = 1e9;
    // Random bytes for dd, read once so that dd copies them from memory: a disk
    // that stores zeros or patterns faster than random data makes random passes
    // comparable only with random writes.
    const std::string random = f + ".random";
    Shell("head -c " + mbs + "M /dev/urandom > '" + random + "' && cat '" + random +
          "' > /dev/null");
    for (int rep = 0; rep < 3; ++rep) {
        MakeFile(f, mb);
        dd = std::min(dd, Shell("dd if=/dev/zero of='" + f + "' bs=1M count=" + mbs +
                                " conv=notrunc,fdatasync status=none"));
        ddRandom = std::min(ddRandom, Shell("dd if='" + random + "' of='" + f +
                                            "' bs=1M conv=notrunc,fdatasync status=none"));
        unlink(f.c_str());
        MakeFile(f, mb);
        start = Clock::now();
        zero = std::min(zero, Time([&] {
                            d.DeleteZero(f);
                            d.FinishBatch();
                        }));
        zeroPass = std::min(zeroPass, sincePass());
        MakeFile(f, mb);
        shred0 = std::min(shred0, Shell("shred -n 0 -z -u '" + f + "'"));
    }
    std::printf(
        "one pass, %zu MB: DeleteZero pass %.2f s (%.0f MB/s), whole call %.2f s; "
        "dd conv=fdatasync %.2f s (%.0f MB/s; of random bytes %.0f MB/s); shred -n 0 -z -u "
        "%.2f s\n",
        mb, zeroPass, mb / zeroPass, zero, dd, mb / dd, mb / ddRandom, shred0);
    unlink(random.c_str());
    std::printf(
        "  pass rate / dd rate = %.2f (goal >= 0.95); whole DeleteZero / shred -n 0 -z -u = %.2f\n",
        dd / zeroPass, zero / shred0);

    MakeFile(f, mb);
    double zap = Time([&] {
        d.DeleteZapper(f);
        d.FinishBatch();
    });
    MakeFile(f, mb);
    double shred3 = Shell("shred -n 3 -u '" + f + "'");
    std::printf(
        "three passes: DeleteZapper %.2f s (with read-back), shred -n 3 -u %.2f s, ratio %.2f\n",
        zap, shred3, zap / shred3);

    // Gutmann: every pass timed through the hook; the first four and the last four
    // are random. Median of five runs per pass.
    const int runs = 5;
    std::vector<std::vector<double>> passTimes(35);
    std::vector<double> gutRuns;
    for (int run = 0; run < runs; ++run) {
        MakeFile(f, mb);
        Clock::time_point previous = Clock::now();
        d.SetPassHook([&](int pass, int, std::uint64_t) {
            const auto now = Clock::now();
            if (pass >= 1 && pass <= 35)
                passTimes[static_cast<std::size_t>(pass - 1)].push_back(
                    std::chrono::duration<double>(now - previous).count());
            previous = now;
        });
        gutRuns.push_back(Time([&] {
            d.DeleteGutmann(f);
            d.FinishBatch();
        }));
    }
    d.SetPassHook({});
    auto median = [](std::vector<double> v) {
        std::sort(v.begin(), v.end());
        return v[v.size() / 2];
    };
    double slowestRandom = 0, slowestPattern = 0;
    int slowestRandomPass = 0;
    for (int p = 0; p < 35; ++p) {
        const double t = median(passTimes[static_cast<std::size_t>(p)]);
        if (p < 4 || p >= 31) {
            std::fprintf(stderr, "random pass %d: %.0f MB/s\n", p + 1, static_cast<double>(mb) / t);
            if (t > slowestRandom) slowestRandomPass = p + 1;
            slowestRandom = std::max(slowestRandom, t);
        } else {
            slowestPattern = std::max(slowestPattern, t);
        }
    }
    MakeFile(f, mb);
    double shred35 = Shell("shred -n 35 -u '" + f + "'");
    const double gut = median(gutRuns);
    std::printf(
        "35 passes: DeleteGutmann %.2f s (median of %d), shred -n 35 -u %.2f s, ratio %.2f "
        "(goal < 1)\n",
        gut, runs, shred35, gut / shred35);
    std::printf(
        "  slowest random pass (pass %d) %.0f MB/s = %.2f x dd of zeros, %.2f x dd of random "
        "bytes;\n  slowest pattern pass %.0f MB/s = %.2f x dd (goal >= 0.95 on every pass)\n",
        slowestRandomPass, mb / slowestRandom, dd / slowestRandom, ddRandom / slowestRandom,
        mb / slowestPattern, dd / slowestPattern);
    return 0;
}
