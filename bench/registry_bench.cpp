// The Wine prefix store on a large user.reg (over 50 MB): loading, saving without
// changes, and deleting a few hundred values then saving, each compared with
// simply reading and writing the file's bytes.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

#include "common/registry/WinePrefixStore.hpp"
#include "common/registry/WineRegFile.hpp"

namespace fs = std::filesystem;
using namespace velloran;

namespace {

constexpr int kKeys = 42000;
constexpr int kValuesPerKey = 16;
constexpr int kDeletes = 300;

std::string KeyPath(int k) {
    char buf[96];
    std::snprintf(buf, sizeof buf, "Software\\Vendor %03d\\Application %03d\\Recent File List %02d",
                  k / 1000, (k / 20) % 50, k % 20);
    return buf;
}

const fs::path& Folder() {
    static const fs::path folder = [] {
        fs::path dir =
            fs::temp_directory_path() / ("velloran-regbench-" + std::to_string(getpid()));
        fs::create_directories(dir);
        WinePrefixStore store(dir);
        for (int k = 0; k < kKeys; ++k) {
            std::string key = KeyPath(k);
            for (int v = 0; v < kValuesPerKey; ++v) {
                std::string name = "File" + std::to_string(v);
                switch (v % 4) {
                    case 0:
                        store.WriteValue(
                            kHKeyCurrentUser, key, name,
                            RegValue::String("C:\\users\\me\\Documents\\Report \"" +
                                             std::to_string(k) + "\" caf\xC3\xA9.doc"));
                        break;
                    case 1:
                        store.WriteValue(kHKeyCurrentUser, key, name, RegValue::Dword(k * 31u + v));
                        break;
                    case 2:
                        store.WriteValue(kHKeyCurrentUser, key, name,
                                         RegValue::Binary(RegBytes(40 + v, std::uint8_t(k))));
                        break;
                    default:
                        store.WriteValue(kHKeyCurrentUser, key, name,
                                         RegValue::String("%APPDATA%\\Vendor\\" + std::to_string(v),
                                                          kRegExpandSz));
                }
            }
        }
        store.Save();
        return dir;
    }();
    return folder;
}

fs::path UserReg() { return Folder() / "user.reg"; }

std::string Slurp(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

void BM_PlainReadWrite(benchmark::State& state) {
    for (auto _ : state) {
        std::string bytes = Slurp(UserReg());
        WriteFileAtomically(Folder() / "copy.reg", bytes);
        benchmark::DoNotOptimize(bytes.data());
    }
    state.counters["MB"] = static_cast<double>(fs::file_size(UserReg())) / 1e6;
}

void BM_PlainRead(benchmark::State& state) {
    for (auto _ : state) {
        std::string bytes = Slurp(UserReg());
        benchmark::DoNotOptimize(bytes.data());
    }
}

void BM_Load(benchmark::State& state) {
    for (auto _ : state) {
        WinePrefixStore store(Folder());
        benchmark::DoNotOptimize(&store);
    }
}

void BM_LoadAndNoOpSave(benchmark::State& state) {
    for (auto _ : state) {
        WinePrefixStore store(Folder());
        store.Save();  // nothing changed: nothing is written
    }
}

void BM_RenderUnchangedAndWrite(benchmark::State& state) {
    RegHive hive;
    ReadWineRegistry(hive, Slurp(UserReg()), UserReg().string());
    for (auto _ : state) {
        std::string text = RenderWineRegistry(hive, WineBranch::User, "win64");
        WriteFileAtomically(Folder() / "copy.reg", text);
    }
}

void BM_LoadDeleteValuesSave(benchmark::State& state) {
    const std::string original = Slurp(UserReg());
    for (auto _ : state) {
        WinePrefixStore store(Folder());
        for (int i = 0; i < kDeletes; ++i)
            store.DeleteValue(kHKeyCurrentUser, KeyPath((i * 7919) % kKeys),
                              "File" + std::to_string(i % kValuesPerKey));
        store.Save();
        state.PauseTiming();
        WriteFileAtomically(UserReg(), original);
        state.ResumeTiming();
    }
}

BENCHMARK(BM_PlainReadWrite)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_PlainRead)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_Load)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_LoadAndNoOpSave)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_RenderUnchangedAndWrite)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_LoadDeleteValuesSave)->Unit(benchmark::kMillisecond)->Iterations(3);

// Keeps each benchmark's time so the ratios can be printed at the end.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const auto& r : runs)
            if (r.run_type == Run::RT_Iteration)
                times[r.run_name.function_name] = r.GetAdjustedRealTime();
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> times;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    Folder();  // generate the file before timing anything
    std::cout << "user.reg: " << fs::file_size(UserReg()) / 1e6 << " MB\n";
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    for (const auto& [base, what] : {std::pair{"BM_PlainReadWrite", "reading and writing"},
                                     std::pair{"BM_PlainRead", "only reading"}}) {
        auto b = reporter.times.find(base);
        if (b == reporter.times.end() || b->second <= 0) continue;
        std::cout << "\nTime relative to " << what << " the file's bytes:\n";
        for (const auto& [name, t] : reporter.times)
            if (name.rfind("BM_Plain", 0) != 0)
                std::printf("  %-28s %6.2fx\n", name.c_str(), t / b->second);
    }
    std::error_code ec;
    fs::remove_all(Folder(), ec);
    benchmark::Shutdown();
    return 0;
}
