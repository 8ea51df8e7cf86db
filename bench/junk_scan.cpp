// Junk scan wall time against fd and GNU find with the same patterns, warm cache.
// usage: junk_scan [TREE] [RUNS]   (TREE made by make-tree.py; default
// /var/tmp/velloran-bench-tree)
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "common/platform/linux/LinuxPlatform.hpp"
#include "tools/junk/JunkSearch.hpp"

using namespace velloran;
using Clock = std::chrono::steady_clock;

namespace {

const std::vector<std::string> kPatterns = {"*.tmp", "~*.*",  "*.bak", "Thumbs.db", "*.old",
                                            "*.chk", "*.gid", "*.$$$", "*~"};

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

long ScanOnce(const std::string& tree) {
    static velloran::LinuxPlatform disk{velloran::Target{}};
    auto s = std::make_shared<JunkSearch>(disk);
    int i = 0;
    for (const auto& p : kPatterns) {
        s->Patterns().Add(p, std::to_string(++i));
        s->Tags().Add("");
    }
    s->PrepareFilters();
    long found = 0;
    s->FoundJunkFile.Connect([&](const std::string&, const std::string&, const std::string&,
                                 std::int32_t, double) { ++found; });
    s->SetPump([] {});
    s->Search(tree);
    return found;
}

double TimeCommand(const std::string& cmd) {
    auto t0 = Clock::now();
    int rc = std::system(cmd.c_str());
    auto t1 = Clock::now();
    if (rc != 0) std::fprintf(stderr, "command failed (%d): %s\n", rc, cmd.c_str());
    return std::chrono::duration<double>(t1 - t0).count();
}

}  // namespace

int main(int argc, char** argv) {
    std::string tree = argc > 1 ? argv[1] : "/var/tmp/velloran-bench-tree";
    int runs = argc > 2 ? std::atoi(argv[2]) : 7;
    const std::string fd =
        "fdfind -u -t f -i '(\\.tmp$|^~.*|\\.bak$|^thumbs\\.db$|\\.old$|\\.chk$|\\.gid$|"
        "\\.\\$\\$\\$$|~$)' '" +
        tree + "' > /dev/null 2>&1";
    std::string find = "find '" + tree + "' -xdev -type f \\(";
    for (std::size_t i = 0; i < kPatterns.size(); ++i)
        find += std::string(i ? " -o" : "") + " -iname '" +
                (kPatterns[i] == "~*.*" ? "~*" : kPatterns[i]) + "'";
    find += " \\) > /dev/null 2>&1";

    // Warm the cache and check that all three agree on the count.
    long ours = ScanOnce(tree);
    std::string countFd =
        "fdfind -u -t f -i '(\\.tmp$|^~.*|\\.bak$|^thumbs\\.db$|\\.old$|\\.chk$|\\.gid$|"
        "\\.\\$\\$\\$$|~$)' '" +
        tree + "' 2>/dev/null | wc -l";
    if (FILE* p = popen(countFd.c_str(), "r")) {
        long n = 0;
        if (std::fscanf(p, "%ld", &n) == 1)
            std::printf("matches: velloran %ld, fd %ld lines\n", ours, n);
        pclose(p);
    }
    TimeCommand(find);

    std::vector<double> tv, tf, tg;
    for (int r = 0; r < runs; ++r) {
        auto t0 = Clock::now();
        ScanOnce(tree);
        tv.push_back(std::chrono::duration<double>(Clock::now() - t0).count());
        tf.push_back(TimeCommand(fd));
        tg.push_back(TimeCommand(find));
    }
    double v = Median(tv), f = Median(tf), g = Median(tg);
    std::printf("median of %d runs: velloran %.3f s, fdfind -u %.3f s, find %.3f s\n", runs, v, f,
                g);
    std::printf("ratio velloran/fd = %.2f (goal <= 1.00), velloran/find = %.2f (goal <= 0.50)\n",
                v / f, v / g);
    return 0;
}
