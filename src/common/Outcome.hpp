#pragma once
// What a task did, as values: what it removed, what it skipped and why, what it
// could not do and why, what waits for the next start. A run's outcome is the sum
// of its tasks'; the console's exit status and its summaries come from here,
// never from the text of the log.
#include <cstdint>
#include <string>
#include <vector>

namespace velloran {

enum class SkipReason { NothingThere, InUse, Unavailable };

struct Outcome {
    struct Item {
        std::string what;
        std::string reason;
    };
    struct Skip {
        std::string what;
        SkipReason reason;
    };

    std::int64_t removedItems = 0;
    std::int64_t removedBytes = 0;
    std::vector<Skip> skipped;
    std::vector<Item> failed;
    std::vector<std::string> pending;  // handed to the deletion at the next start

    void Removed(std::int64_t items, std::int64_t bytes = 0) {
        removedItems += items;
        removedBytes += bytes;
    }
    void Skipped(std::string what, SkipReason reason) {
        skipped.push_back({std::move(what), reason});
    }
    void Failed(std::string what, std::string reason = {}) {
        failed.push_back({std::move(what), std::move(reason)});
    }
    void Pending(std::string what) { pending.push_back(std::move(what)); }

    Outcome& operator+=(const Outcome& other);
    // Something asked for was not done (yet): the console exits with 1.
    bool LeftUndone() const { return !failed.empty() || !pending.empty(); }
    bool Empty() const {
        return removedItems == 0 && removedBytes == 0 && skipped.empty() && failed.empty() &&
               pending.empty();
    }
};

// One task's outcome under its stable name ("windows.run-history").
struct TaskOutcome {
    std::string task;
    Outcome outcome;
};

// A whole run: each task that ran, and their sum.
struct RunOutcome {
    std::vector<TaskOutcome> tasks;
    Outcome total;

    // Adds to the task of that name (a new entry when it is not the last one).
    void Add(const std::string& task, const Outcome& outcome);
    // Work outside any task (saving the registry, a tool's job).
    void AddUntasked(const Outcome& outcome) { total += outcome; }
};

const char* SkipReasonName(SkipReason reason);

}  // namespace velloran
