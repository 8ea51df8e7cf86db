#include "common/Outcome.hpp"

namespace velloran {

Outcome& Outcome::operator+=(const Outcome& other) {
    removedItems += other.removedItems;
    removedBytes += other.removedBytes;
    skipped.insert(skipped.end(), other.skipped.begin(), other.skipped.end());
    failed.insert(failed.end(), other.failed.begin(), other.failed.end());
    pending.insert(pending.end(), other.pending.begin(), other.pending.end());
    return *this;
}

void RunOutcome::Add(const std::string& task, const Outcome& outcome) {
    if (tasks.empty() || tasks.back().task != task) tasks.push_back({task, {}});
    tasks.back().outcome += outcome;
    total += outcome;
}

const char* SkipReasonName(SkipReason reason) {
    switch (reason) {
        case SkipReason::NothingThere:
            return "nothing there";
        case SkipReason::InUse:
            return "in use";
        case SkipReason::Unavailable:
            return "unavailable";
    }
    return "";
}

}  // namespace velloran
