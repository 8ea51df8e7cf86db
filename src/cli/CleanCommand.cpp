// 'velloran-cli tasks' and 'velloran-cli clean': the main window's boxes ticked
// from the command line, and the run's log printed as it grows.
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
#include "app/FrmMain.hpp"
#include "app/TaskCatalogue.hpp"
#include "cleaning/FrmCleaner.hpp"
#include "cleaning/Preview.hpp"
#include "cli/ConsoleHost.hpp"
#include "cli/ConsoleProgress.hpp"
#include "cli/ConsoleSession.hpp"
#include "common/Text.hpp"

namespace velloran {

namespace {

// Caption without the blank every check box shows in front of it.
std::string Bare(const std::string& caption) {
    return caption.starts_with(' ') ? caption.substr(1) : caption;
}

struct CleanOptions {
    RunSwitches run;
    std::optional<std::string> prefix;
    std::vector<std::pair<std::string, std::string>> tasks;  // array (lower case), index or "all"
};

// Parses the options of 'clean'; returns an error message, empty when fine.
std::string ParseClean(const std::vector<std::string>& args, CleanOptions& o) {
    for (std::size_t i = 1; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (o.run.Take(a)) {
            continue;
        } else if (PrefixTargets() && a == "--prefix") {
            if (++i == args.size()) return "--prefix needs a folder";
            o.prefix = args[i];
        } else if (PrefixTargets() && a.starts_with("--prefix=")) {
            o.prefix = a.substr(9);
        } else if (a.starts_with("-")) {
            return "unknown option '" + a + "'";
        } else {
            auto colon = a.find(':');
            if (colon == std::string::npos)
                return "a task is <array>:<index> or <array>:all, not '" + a + "'";
            o.tasks.emplace_back(AsciiLower(a.substr(0, colon)), AsciiLower(a.substr(colon + 1)));
        }
    }
    if (o.tasks.empty()) return "clean needs at least one task";
    return {};
}

// Ticks the boxes the way a user would; returns an error message, empty when fine.
std::string TickTasks(FrmMain& frm, const CleanOptions& o) {
    for (const auto& [arrayName, which] : o.tasks) {
        ControlArray<CheckBox>* array = nullptr;
        for (const auto& info : TaskArrays())
            if (AsciiLower(std::string(info.array)) == arrayName) array = frm.TaskArray(info.array);
        if (!array) return "no task array '" + arrayName + "'";
        std::vector<int> indexes;
        if (which == "all") {
            indexes = array->Indexes();
        } else {
            int index = 0;
            try {
                std::size_t used = 0;
                index = std::stoi(which, &used);
                if (used != which.size()) throw std::invalid_argument(which);
            } catch (const std::exception&) {
                return "'" + which + "' is not an index";
            }
            if (!array->Exists(index)) return array->Name() + " has no index " + which;
            indexes.push_back(index);
        }
        for (int i : indexes) {
            CheckBox& box = (*array)(i);
            if (!box.Enabled())
                return array->Name() + ":" + std::to_string(i) +
                       " is unavailable: that browser has no profile here";
            box.SetValue(1);
        }
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

}  // namespace

int CmdTasks() {
    ConsoleSession session({});
    if (!session.Ready()) return 1;
    try {
        return ListTasks(session.LoadMain());
    } catch (const ProgramEnd& end) {
        return end.code;
    }
}

int ListTasks(FrmMain& frm) {
    // The page file task writes to HKEY_LOCAL_MACHINE; a refused write fails the task.
    constexpr int kPageFileTask = 13;
    const std::string machineNote = MachineRegistryNote();
    for (const auto& info : TaskArrays()) {
        auto& array = *frm.TaskArray(info.array);
        for (int i : array.Indexes()) {
            std::cout << array.Name() << ':' << i << '\t' << Bare(array(i).Caption());
            if (info.array == "win_chk" && i == kPageFileTask && !machineNote.empty())
                std::cout << " [" << machineNote << ']';
            std::cout << '\n';
        }
    }
    for (int i : frm.stChk.Indexes())
        std::cout << "stChk:" << i << '\t' << Bare(frm.stChk(i).Caption()) << '\n';
    for (int i = 0; i < frm.cmbsDelType.ListCount(); ++i)
        std::cout << "cmbsDelType:" << i << '\t' << frm.cmbsDelType.List(i) << '\n';
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
    ConsoleSession session(options);
    if (!session.Ready()) return 1;
    Application& app = session.App();
    return session.Run([&] {
        FrmMain& frm = session.LoadMain();
        if (std::string err = TickTasks(frm, o); !err.empty()) return UsageError(err);
        // The progress window's bar and caption (the job, the file being deleted).
        FrmCleaner& cleaner = app.Cleaner();
        auto progress = ConsoleProgress::ForStandardError();
        progress->Follow({&cleaner.pbar}, [&cleaner] {
            return ConsoleProgress::Percent(cleaner.pbar.Value(), cleaner.pbar.Max(),
                                            cleaner.pbar.Caption());
        });
        LogPrinter printer(cleaner.txtprogress, *progress);
        frm.cmdClean.UserClick();
        return 0;
    });
}

}  // namespace velloran
