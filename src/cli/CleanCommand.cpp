// 'velloran-cli tasks' and 'velloran-cli clean': tasks by their names (or their
// boxes' array and index), a plan built from them, and the run's log printed as
// it grows.
#include "cli/CleanCommand.hpp"

#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "app/Application.hpp"
#include "app/ConsoleHost.hpp"
#include "app/ConsoleSession.hpp"
#include "app/FrmCleaner.hpp"
#include "cleaning/TaskCatalogue.hpp"
#include "cli/ConsoleProgress.hpp"
#include "cli/Json.hpp"
#include "common/Text.hpp"

namespace velloran {

namespace {

struct CleanOptions {
    RunSwitches run;
    bool json = false;
    std::optional<std::string> prefix;
    std::vector<std::string> tasks;
};

// Parses the options of 'clean'; returns an error message, empty when fine.
std::string ParseClean(const std::vector<std::string>& args, CleanOptions& o) {
    for (std::size_t i = 1; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (o.run.Take(a)) {
            continue;
        } else if (a == "--json") {
            o.json = true;
        } else if (PrefixTargets() && a == "--prefix") {
            if (++i == args.size()) return "--prefix needs a folder";
            o.prefix = args[i];
        } else if (PrefixTargets() && a.starts_with("--prefix=")) {
            o.prefix = a.substr(9);
        } else if (a.starts_with("-")) {
            return "unknown option '" + a + "'";
        } else {
            o.tasks.push_back(a);
        }
    }
    if (o.tasks.empty()) return "clean needs at least one task";
    return {};
}

const GroupInfo* GroupNamed(const std::string& lowerName) {
    for (const GroupInfo& g : TaskArrays())
        if (AsciiLower(std::string(g.array)) == lowerName || g.name == lowerName) return &g;
    return nullptr;
}

// One task argument as the group and the indexes it names (`all` for every box);
// returns an error message, empty when fine.
std::string ResolveTask(const std::string& arg, const GroupInfo*& group, std::vector<int>& indexes,
                        bool& all) {
    const std::string lower = AsciiLower(arg);
    const auto sep = lower.find_first_of(":.");
    if (sep == std::string::npos)
        return "a task is a name such as windows.run-history, or <array>:<index> or "
               "<group>:all, not '" +
               arg + "'";
    group = GroupNamed(lower.substr(0, sep));
    if (!group) return "no task group '" + arg.substr(0, sep) + "'";
    const std::string which = lower.substr(sep + 1);
    all = which == "all";
    if (all) {
        for (const TaskInfo& t : group->tasks) indexes.push_back(t.index);
        return {};
    }
    if (lower[sep] == '.') {
        for (const TaskInfo& t : group->tasks)
            if (t.name == which) indexes.push_back(t.index);
        if (indexes.empty()) return "no task '" + arg + "' (velloran-cli tasks lists them)";
        return {};
    }
    try {
        std::size_t used = 0;
        const int index = std::stoi(which, &used);
        if (used != which.size()) throw std::invalid_argument(which);
        if (!FindTask(*group, index)) return std::string(group->array) + " has no index " + which;
        indexes.push_back(index);
    } catch (const std::exception&) {
        return "'" + which + "' is not an index";
    }
    return {};
}

// Ticks the named tasks in the plan; returns an error message, empty when fine.
// A group named with `all` that has no box here is told and left out.
std::string TickTasks(Plan& plan, Platform& platform, const CleanOptions& o) {
    for (const std::string& arg : o.tasks) {
        const GroupInfo* group = nullptr;
        std::vector<int> indexes;
        bool all = false;
        if (std::string err = ResolveTask(arg, group, indexes, all); !err.empty()) return err;
        if (!GroupAvailable(*group, platform)) {
            if (!all)
                return std::string(group->array) + ":" + std::to_string(indexes.front()) +
                       " is unavailable: that browser has no profile here";
            std::cerr << "velloran-cli: " << arg << ": no " << group->name
                      << " profile here, its tasks are left out\n";
            continue;
        }
        for (int i : indexes) plan.Set(GroupPosition(*group), i, 1);
    }
    return {};
}

// Prints the progress window's log as it grows: each added line, and the whole
// text whenever it is replaced (the run's header).
class LogPrinter {
public:
    LogPrinter(TextBox& log, ConsoleProgress& progress)
        : log_(log), progress_(progress), seen_(log.TextRevision()) {
        changed_ = log_.Changed.Connect([this] {
            if (log_.TextRevision() == seen_) return;
            seen_ = log_.TextRevision();
            if (!log_.Text().empty()) Print(log_.Text());
        });
        added_ = log_.LineAdded.Connect([this](const std::string& line) {
            seen_ = log_.TextRevision();
            Print(line);
        });
    }
    ~LogPrinter() {
        log_.Changed.Disconnect(changed_);
        log_.LineAdded.Disconnect(added_);
    }

private:
    void Print(const std::string& text) {
        progress_.MakeRoomForOutput();
        std::cout << ConsoleText(text) << '\n' << std::flush;
    }
    TextBox& log_;
    ConsoleProgress& progress_;
    unsigned long long seen_ = 0;
    int changed_ = 0;
    int added_ = 0;
};

void PrintTasks(Platform& platform, bool json) {
    std::string out = json ? "[" : "";
    bool first = true;
    for (const GroupInfo& g : TaskArrays()) {
        const bool available = GroupAvailable(g, platform);
        for (const TaskInfo& t : g.tasks) {
            const std::string name = std::string(g.name) + "." + std::string(t.name);
            const std::string box = std::string(g.array) + ":" + std::to_string(t.index);
            if (!json) {
                std::cout << name << '\t' << box << '\t' << t.caption
                          << (available ? "" : "\t(unavailable: no profile here)")
                          << (box == "win_chk:13" ? "\t(needs administrator rights)" : "") << '\n';
                continue;
            }
            out += std::string(first ? "" : ",") + "{\"name\":" + JsonString(name) +
                   ",\"box\":" + JsonString(box) + ",\"caption\":" + JsonString(t.caption) +
                   ",\"group\":" + JsonString(g.frame) +
                   ",\"available\":" + (available ? "true" : "false") +
                   ",\"runs\":" + (t.line ? "true" : "false") + "}";
            first = false;
        }
    }
    if (json) std::cout << out << "]\n";
}

}  // namespace

int CmdTasks(const std::vector<std::string>& args) {
    bool json = false;
    for (std::size_t i = 1; i < args.size(); ++i) {
        if (args[i] != "--json")
            return UsageError("tasks takes only --json, not '" + args[i] + "'");
        json = true;
    }
    ConsoleSession session({});
    if (!session.Ready()) return 1;
    PrintTasks(session.App().GetPlatform(), json);
    return 0;
}

int CmdClean(const std::vector<std::string>& args) {
    CleanOptions o;
    if (std::string err = ParseClean(args, o); !err.empty()) return UsageError(err);

    if (o.prefix && !std::filesystem::is_directory(*o.prefix)) {
        std::cerr << "velloran-cli: " << *o.prefix << " is not a folder\n";
        return kExitUsage;
    }
    ConsoleSession::Options options(o.run);
    if (o.prefix) options.prefix = *o.prefix;
    options.quiet = o.json;
    ConsoleSession session(options);
    if (!session.Ready()) return 1;
    Application& app = session.App();
    const int code = session.Run([&] {
        session.Start();
        Plan plan;
        plan.options = app.CurrentOptions();
        if (std::string err = TickTasks(plan, app.GetPlatform(), o); !err.empty())
            return UsageError(err);
        // The progress window's bar and caption (the job, the file being deleted).
        FrmCleaner& cleaner = app.Cleaner();
        auto progress = ConsoleProgress::ForStandardError();
        progress->Follow({&cleaner.pbar}, [&cleaner] {
            return ConsoleProgress::Percent(cleaner.pbar.Value(), cleaner.pbar.Max(),
                                            cleaner.pbar.Caption());
        });
        std::optional<LogPrinter> printer;
        if (!o.json) printer.emplace(cleaner.txtprogress, *progress);
        StartCleaning(app, plan, nullptr);
        return 0;
    });
    if (o.json && code != kExitUsage) std::cout << OutcomeJson(app.Outcome) << '\n';
    return code;
}

}  // namespace velloran
