// The registry clean as users run it: `velloran-cli clean --prefix P ...` as a
// whole process on a large user.reg, timed against copying that file and waiting
// for the disk (`cp` + `sync` of the copy) in the same run, alternating sides.
// Two files: the key-heavy shape of a prefix with much software installed
// (171,000 keys of few values, 52 MB) and the older value-heavy one (16 values a
// key). Each clean gets a fresh copy of the file, on the disk before its clock
// starts. Medians of RUNS runs; the ratios are Velloran's time over the copy's.
// usage: registry_programs [DIR] [RUNS] [VELLORAN_CLI]  (default /var/tmp, 5, beside this build)
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "ProgramTiming.hpp"

namespace fs = std::filesystem;
using velloran::bench::Median;
using velloran::bench::Quote;
using velloran::bench::Run;
using velloran::bench::Timed;

namespace {

// Wine's own system.reg holds the page file's setting, which the page file task reads.
constexpr const char* kSystemReg =
    "WINE REGISTRY Version 2\n"
    ";; All keys relative to REGISTRY\\\\Machine\n\n#arch=win64\n\n"
    "[System\\\\CurrentControlSet\\\\Control\\\\Session Manager\\\\Memory Management] "
    "1700000000\n#time=1da1747c66d0000\n\"PagingFiles\"=\"C:\\\\pagefile.sys 27 77\"\n";

struct Shape {
    const char* name;
    const char* generatorArgs;
};

}  // namespace

int main(int argc, char** argv) {
    const auto [dir, runs, cli] = velloran::bench::ParseProgramArgs(argc, argv);
    const fs::path work = dir / "velloran-registry-bench";
    fs::remove_all(work);
    fs::create_directories(work / "home");
    // A home and settings of its own, so the user's files and options are never touched.
    const std::string home = Quote((work / "home").string());
    const std::string env = "HOME=" + home + " XDG_CONFIG_HOME=" + home + "/.config" +
                            " XDG_DATA_HOME=" + home + "/.local/share" + " XDG_STATE_HOME=" + home +
                            "/.local/state DISPLAY= ";

    std::printf("%-42s %9s %9s %9s %9s %9s\n", "user.reg (median of runs)", "cp+sync", "clean",
                "ratio", "clipboard", "ratio");
    for (const Shape& shape : {Shape{"key-heavy, 171,000 keys, 52 MB", "--shape keys"},
                               Shape{"value-heavy, 16 values a key, 52 MB", "--shape values"}}) {
        const fs::path source = work / "user.reg";
        if (!Run("python3 " + Quote(VELLORAN_BENCH_SOURCE "/make-user-reg.py") + " " +
                 Quote(source.string()) + " " + shape.generatorArgs + " > /dev/null"))
            return 1;
        const fs::path prefix = work / "prefix";
        auto freshPrefix = [&] {
            fs::remove_all(prefix);
            fs::create_directories(prefix);
            Run("cp " + Quote(source.string()) + " " + Quote((prefix / "user.reg").string()));
            Run("printf '%s' " + Quote(kSystemReg) + " > " +
                Quote((prefix / "system.reg").string()));
            sync();
        };
        const std::string velloran =
            env + Quote(cli) + " clean --prefix " + Quote(prefix.string()) + " ";
        std::vector<double> copy, clean, clipboard;
        for (int r = 0; r < runs; ++r) {
            const fs::path copied = work / "copy.reg";
            fs::remove(copied);
            sync();
            copy.push_back(Timed("cp " + Quote(source.string()) + " " + Quote(copied.string()) +
                                 " && sync " + Quote(copied.string())));
            freshPrefix();
            clean.push_back(Timed(velloran + "win_chk:all oprg_chk:all > /dev/null"));
            clipboard.push_back(Timed(velloran + "windows.clipboard > /dev/null"));
        }
        const double c = Median(copy), v = Median(clean), b = Median(clipboard);
        std::printf("%-42s %7.3f s %7.3f s %7.2f x %7.3f s %7.2f x\n", shape.name, c, v, v / c, b,
                    b / c);
        std::fflush(stdout);
    }
    fs::remove_all(work);
    std::printf("goals (key-heavy): clean <= 2 x the copy; clipboard alone <= 1.2 x the copy\n");
    return 0;
}
