// The eradicator as users run it: `velloran-cli erase` as a whole process, timed
// against `shred` (and `dd` for one large file) on the same files in the same run.
// Each side gets fresh files of the same shape, written and synced before its clock
// starts. Medians of RUNS runs; the ratios are Velloran's time over the peer's.
// usage: wipe_programs [DIR] [RUNS] [VELLORAN_CLI]   (default /var/tmp, 5, beside this build)
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "ProgramTiming.hpp"

namespace fs = std::filesystem;
using velloran::bench::Median;
using velloran::bench::Quote;
using velloran::bench::Run;
using velloran::bench::Timed;

namespace {

// `count` files of `size` bytes in `folder` (spread over a few subfolders, as a
// real folder is), all on the disk before the clock starts.
std::vector<std::string> MakeFiles(const fs::path& folder, int count, std::size_t size) {
    fs::create_directories(folder);
    std::vector<std::string> paths;
    std::string data(size, 'v');
    for (int i = 0; i < count; ++i) {
        const fs::path sub = folder / ("part" + std::to_string(i % 4));
        fs::create_directories(sub);
        const std::string p = (sub / ("document-" + std::to_string(i) + ".txt")).string();
        const int fd = open(p.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (fd < 0 || write(fd, data.data(), data.size()) < 0) std::perror(p.c_str());
        close(fd);
        paths.push_back(p);
    }
    sync();
    return paths;
}

struct Row {
    std::string work;
    double velloran;
    std::string peer;
    double other;
};

}  // namespace

int main(int argc, char** argv) {
    const auto [dir, runs, cli] = velloran::bench::ParseProgramArgs(argc, argv);
    const fs::path work = dir / "velloran-wipe-bench";
    fs::remove_all(work);
    fs::create_directories(work / "config");
    // A settings store of its own, so the user's options are never touched.
    const std::string env = "XDG_CONFIG_HOME=" + Quote((work / "config").string()) +
                            " HOME=" + Quote((work / "config").string()) + " ";
    auto method = [&](const char* name) {
        Run(env + Quote(cli) + " settings secure-delete=1 delete-method=" + name +
            " set1=0 > /dev/null");
    };
    auto velloran = [&](const std::string& path) {
        return Timed(env + Quote(cli) + " erase --yes " + Quote(path) + " > /dev/null");
    };
    auto shredAll = [&](const std::vector<std::string>& files, const std::string& options) {
        std::string cmd = "shred " + options;
        for (const std::string& f : files) cmd += " " + Quote(f);
        return Timed(cmd);
    };

    std::vector<Row> rows;
    auto folderCase = [&](const char* name, const char* methodName, int count,
                          const std::string& shredOptions) {
        method(methodName);
        std::vector<double> v, s;
        for (int r = 0; r < runs; ++r) {
            const fs::path a = work / "velloran";
            MakeFiles(a, count, 4096);
            v.push_back(velloran(a.string()));
            if (fs::exists(a)) std::fprintf(stderr, "velloran left %s\n", a.c_str());
            const fs::path b = work / "shred";
            const auto files = MakeFiles(b, count, 4096);
            s.push_back(shredAll(files, shredOptions));
            fs::remove_all(b);
        }
        rows.push_back({name, Median(v), "shred " + shredOptions, Median(s)});
        // Shown at once too: a busy machine can take long over the next case.
        std::printf("%s: velloran-cli %.2f s, shred %.2f s, ratio %.2f\n", name, Median(v),
                    Median(s), Median(v) / Median(s));
        std::fflush(stdout);
    };
    folderCase("folder of 2,000 files of 4 KB, Zero And Delete", "zero", 2000, "-u -n 0 -z");
    folderCase("300 files of 4 KB, Gutmann", "gutmann", 300, "-u -n 35");

    // One 256 MB file, one pass of zeros: the whole erase against dd writing zeros
    // over a file of the same size and waiting for the disk.
    {
        method("zero");
        const std::string f = (work / "large.bin").string();
        auto make = [&] {
            Run("head -c 256M /dev/urandom > " + Quote(f));
            sync();
        };
        std::vector<double> v, d;
        for (int r = 0; r < runs; ++r) {
            make();
            d.push_back(Timed("dd if=/dev/zero of=" + Quote(f) +
                              " bs=1M count=256 conv=notrunc,fdatasync status=none"));
            fs::remove(f);
            make();
            v.push_back(velloran(f));
        }
        rows.push_back(
            {"one 256 MB file, one pass of zeros", Median(v), "dd conv=fdatasync", Median(d)});
    }
    fs::remove_all(work);

    std::printf("%-50s %12s   %-22s %10s   %s\n", "work (median of runs)", "velloran-cli", "peer",
                "peer", "ratio");
    for (const Row& r : rows)
        std::printf("%-50s %10.2f s   %-22s %8.2f s   %.2f x\n", r.work.c_str(), r.velloran,
                    r.peer.c_str(), r.other, r.velloran / r.other);
    std::printf(
        "goals: 2,000 files <= 0.25 x; Gutmann on 300 files <= 0.5 x; "
        "the large file's rate >= 0.95 x dd (time ratio <= %.2f x)\n",
        1 / 0.95);
    return 0;
}
