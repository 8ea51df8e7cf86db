// Secure deletion throughput against dd (one pass) and shred (same pass counts).
// usage: erase_methods [DIR] [MB]   (default /var/tmp, 256 MB)
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

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

    // One pass: dd writing zeros over an existing file of the same size.
    MakeFile(f, mb);
    double dd = Shell("dd if=/dev/zero of='" + f + "' bs=1M count=" + mbs + " conv=notrunc,fdatasync status=none");
    unlink(f.c_str());
    SecureDeleter d;
    MakeFile(f, mb);
    double zero = Time([&] { d.DeleteZero(f); });
    MakeFile(f, mb);
    double shred0 = Shell("shred -n 0 -z -u '" + f + "'");
    std::printf("one pass, %zu MB: DeleteZero %.2f s (%.0f MB/s), dd conv=fdatasync %.2f s (%.0f MB/s), "
                "shred -n 0 -z -u %.2f s\n", mb, zero, mb / zero, dd, mb / dd, shred0);
    std::printf("  DeleteZero rate / dd rate = %.2f (goal >= 0.90)\n", dd / zero);

    MakeFile(f, mb);
    double zap = Time([&] { d.DeleteZapper(f); });
    MakeFile(f, mb);
    double shred3 = Shell("shred -n 3 -u '" + f + "'");
    std::printf("three passes: DeleteZapper %.2f s (with read-back), shred -n 3 -u %.2f s, ratio %.2f\n", zap,
                shred3, zap / shred3);

    MakeFile(f, mb);
    double gut = Time([&] { d.DeleteGutmann(f); });
    MakeFile(f, mb);
    double shred35 = Shell("shred -n 35 -u '" + f + "'");
    std::printf("35 passes: DeleteGutmann %.2f s, shred -n 35 -u %.2f s, ratio %.2f (goal < 1)\n", gut, shred35,
                gut / shred35);
    std::printf("  per pass: Gutmann %.0f MB/s vs dd %.0f MB/s = %.2f\n", mb * 35 / gut, mb / dd,
                (mb * 35 / gut) / (mb / dd));
    return 0;
}
