#include <atomic>

#include "common/platform/Platform.hpp"

namespace velloran {

std::vector<OverwriteResult> OverwriteEachAlone(Platform& platform, const OverwriteBatch& batch) {
    std::vector<OverwriteResult> results(batch.jobs.size());
    std::atomic<std::uint64_t> total{0}, done{0};
    std::uint64_t before = 0;  // bytes of the files already wiped; progress moves per file
    for (std::size_t i = 0; i < batch.jobs.size(); ++i) {
        OverwriteJob job = batch.jobs[i];
        OverwriteResult& r = results[i];
        if (batch.abort && batch.abort->load()) {
            r.report.push_back(job.path + ": not overwritten; the wipe was stopped before it");
            continue;
        }
        job.abort = batch.abort;
        total = 0;
        done = 0;
        job.total = &total;
        job.done = &done;
        try {
            r.complete = platform.OverwriteAndRemove(job, r.report);
        } catch (...) {
            r.error = std::current_exception();
        }
        before += total.load();
        if (batch.total) *batch.total = before;
        if (batch.done) *batch.done = before;
    }
    return results;
}

}  // namespace velloran
