// velloran-cli: the console front end over the same windows as the GUI.
#include <algorithm>
#include <cctype>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "app/Application.hpp"
#include "app/FrmMain.hpp"
#include "app/SettingsStore.hpp"
#include "app/StartupDelete.hpp"
#include "app/TaskCatalogue.hpp"
#include "app/Version.hpp"
#include "cleaning/FrmCleaner.hpp"
#include "cleaning/Preview.hpp"
#include "cli/ConsoleHost.hpp"
#include "cli/ConsoleProgress.hpp"
#include "cli/ConsoleSession.hpp"
#include "cli/CookiesCommand.hpp"
#include "cli/EraseCommand.hpp"
#include "cli/JunkCommand.hpp"
#include "common/Target.hpp"
#include "common/platform/linux/LinuxPlatform.hpp"

using namespace velloran;

namespace {

constexpr const char* kUsage =
    "usage: velloran-cli <command> [options]\n"
    "\n"
    "commands:\n"
    "  tasks                      list every task box and delete method:\n"
    "                             <array>:<index> TAB caption\n"
    "  clean [options] TASK...    clean the ticked tasks, printing the run log;\n"
    "                             TASK is <array>:<index> or <array>:all\n"
    "      --preview              run against a recording layer: change nothing and\n"
    "                             report what a real run would remove\n"
    "      --prefix DIR           work on the Wine prefix DIR\n"
    "      --yes | --no           answer questions Yes (default) or No\n"
    "  settings [setN=V ...]      show the stored options (set1 set2 set3 set5\n"
    "                             set6 set7), or store the given ones\n"
    "  junk scan [options]        search for junk files: size TAB path per file\n"
    "                             (newline and backslash written as \\n and \\\\),\n"
    "                             then the summary\n"
    "  junk delete [options]      search, then delete every file found as the\n"
    "                             stored settings say (set1, set2, set3)\n"
    "      --drive PATH           search this folder instead of every drive\n"
    "                             (repeatable)\n"
    "      --filter 'PATTERN;DESCRIPTION;TAG'\n"
    "                             use this filter instead of the filter files\n"
    "                             (repeatable)\n"
    "      --preview, --yes, --no with delete: as for clean\n"
    "  erase [options] PATH...    wipe files and whole folders with the stored\n"
    "                             delete method (set2, set3; set1: to the trash)\n"
    "      --preview              report what would be overwritten and removed\n"
    "      --yes | --no           answer questions Yes (default) or No\n"
    "  cookies [list] [--prefix DIR]\n"
    "                             list the cookie manager's rows: delete|keep TAB\n"
    "                             name or site TAB browser and profile\n"
    "  cookies delete [options] ROW...\n"
    "                             delete the cookies of the given rows of the\n"
    "                             delete list (by name or site, or all)\n"
    "      --preview, --yes, --no, --prefix DIR   as for clean\n"
    "  cookies keep SITE...       add sites to the list of cookies every clean keeps\n"
    "  cookies unkeep SITE...     take sites out of that list\n"
    "  -delstart                  delete what the last start-up deletion request\n"
    "                             listed, remove the autostart entry, and end\n"
    "  help | --help | -h         show this help\n"
    "  --version                  show the version\n"
    "\n"
    "Without --prefix Velloran works on $WINEPREFIX, else ~/.wine when it has a\n"
    "user.reg, else its own store in $XDG_CONFIG_HOME/velloran.\n";

// Caption without the blank every check box shows in front of it.
std::string Bare(const std::string& caption) {
    return caption.starts_with(' ') ? caption.substr(1) : caption;
}

std::string Lower(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

int CmdTasks(FrmMain& frm) {
    for (const auto& info : TaskArrays()) {
        auto& array = *frm.TaskArray(info.array);
        for (int i : array.Indexes())
            std::cout << array.Name() << ':' << i << '\t' << Bare(array(i).Caption()) << '\n';
    }
    for (int i : frm.stChk.Indexes())
        std::cout << "stChk:" << i << '\t' << Bare(frm.stChk(i).Caption()) << '\n';
    for (int i = 0; i < frm.cmbsDelType.ListCount(); ++i)
        std::cout << "cmbsDelType:" << i << '\t' << frm.cmbsDelType.List(i) << '\n';
    return 0;
}

struct CleanOptions {
    bool preview = false;
    bool answerNo = false;
    std::optional<std::string> prefix;
    std::vector<std::pair<std::string, std::string>> tasks;  // array (lower case), index or "all"
};

// Parses the options of 'clean'; returns an error message, empty when fine.
std::string ParseClean(const std::vector<std::string>& args, CleanOptions& o) {
    for (std::size_t i = 1; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--preview") {
            o.preview = true;
        } else if (a == "--yes") {
            o.answerNo = false;
        } else if (a == "--no") {
            o.answerNo = true;
        } else if (a == "--prefix") {
            if (++i == args.size()) return "--prefix needs a folder";
            o.prefix = args[i];
        } else if (a.starts_with("--prefix=")) {
            o.prefix = a.substr(9);
        } else if (a.starts_with("-")) {
            return "unknown option '" + a + "'";
        } else {
            auto colon = a.find(':');
            if (colon == std::string::npos)
                return "a task is <array>:<index> or <array>:all, not '" + a + "'";
            o.tasks.emplace_back(Lower(a.substr(0, colon)), Lower(a.substr(colon + 1)));
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
            if (Lower(std::string(info.array)) == arrayName) array = frm.TaskArray(info.array);
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

// Prints what the progress window's log gains, line by line, as it happens.
class LogPrinter {
public:
    LogPrinter(TextBox& log, ConsoleProgress& progress) : log_(log), progress_(progress) {
        id_ = log_.Changed.Connect([this] { Print(); });
    }
    ~LogPrinter() { log_.Changed.Disconnect(id_); }

private:
    void Print() {
        const std::string& text = log_.Text();
        // Appends add "\r\n" and a line; anything else replaced the whole text.
        std::string fresh = text;
        if (!printed_.empty() && text.starts_with(printed_)) {
            fresh = text.substr(printed_.size());
            if (fresh.starts_with("\r\n")) fresh.erase(0, 2);
        }
        printed_ = text;
        if (text.empty()) return;
        progress_.MakeRoomForOutput();
        std::cout << ConsoleText(fresh) << '\n' << std::flush;
    }
    TextBox& log_;
    ConsoleProgress& progress_;
    std::string printed_;
    int id_ = 0;
};

int CmdSettings(const std::vector<std::string>& args) {
    std::vector<std::pair<int, int>> changes;  // box (-1: delete method), value
    for (std::size_t i = 1; i < args.size(); ++i) {
        const std::string& a = args[i];
        const auto eq = a.find('=');
        const std::string name = Lower(a.substr(0, eq));
        int box = -2;
        for (const StoredOption& option : StoredOptions())
            if (name == option.name) box = option.box;
        if (eq == std::string::npos || box == -2)
            return UsageError(
                "settings takes set1, set2, set3, set5, set6 or set7 as NAME=VALUE, not '" + a +
                "'");
        const std::string value = a.substr(eq + 1);
        const int max = box == kDeleteMethodBox ? 2 : 1;
        if (value.size() != 1 || value[0] < '0' || value[0] > '0' + max)
            return UsageError(name + " takes 0" + (max == 2 ? ", 1 or 2" : " or 1") + ", not '" +
                              value + "'");
        changes.emplace_back(box, value[0] - '0');
    }

    ConsoleSession session({});
    if (!session.Ready()) return 1;
    try {
        FrmMain& frm = session.LoadMain();
        if (!changes.empty()) {
            // Through the boxes, so that the Settings page's rules hold for the console too.
            for (auto [box, value] : changes) {
                if (box == kDeleteMethodBox)
                    frm.cmbsDelType.SetListIndex(value);
                else
                    frm.stChk(box).SetValue(value);
            }
            SaveSettings(frm);
        }
        for (const StoredOption& option : StoredOptions())
            std::cout << option.name << '='
                      << (option.box == kDeleteMethodBox ? frm.cmbsDelType.ListIndex()
                                                         : frm.stChk(option.box).Value())
                      << '\n';
        return 0;
    } catch (const ProgramEnd& end) {
        return end.code;
    }
}

int CmdClean(const std::vector<std::string>& args) {
    CleanOptions o;
    if (std::string err = ParseClean(args, o); !err.empty()) return UsageError(err);

    if (o.prefix && !std::filesystem::is_directory(*o.prefix)) {
        std::cerr << "velloran-cli: " << *o.prefix << " is not a folder\n";
        return kExitUsage;
    }
    ConsoleSession::Options options;
    if (o.prefix) options.prefix = *o.prefix;
    options.answerNo = o.answerNo;
    options.preview = o.preview;
    ConsoleSession session(options);
    if (!session.Ready()) return 1;
    Application& app = session.App();
    try {
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
        if (o.preview) std::cout << session.Summary().Text() << '\n';
        return app.LeftUndone > 0 ? 1 : 0;
    } catch (const ProgramEnd& end) {
        if (o.preview && end.code == 0) std::cout << session.Summary().Text() << '\n';
        return end.code == 0 && app.LeftUndone > 0 ? 1 : end.code;
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty()) {
        std::cerr << kUsage;
        return kExitUsage;
    }
    const std::string& command = args[0];
    if (command == "help" || command == "--help" || command == "-h") {
        std::cout << kUsage;
        return 0;
    }
    if (command == "--version") {
        std::cout << VersionLine("velloran-cli") << '\n';
        return 0;
    }
    if (command == "clean") return CmdClean(args);
    if (command == "settings") return CmdSettings(args);
    if (command == "junk") return CmdJunk(args);
    if (command == "erase") return CmdErase(args);
    if (command == "cookies") return CmdCookies(args);
    // An autostart entry may name this program: "-delstart" deletes what the last
    // start-up request listed and ends, as the window program does.
    if (args.size() == 1 && command == kStartupDeleteSwitch) return RunStartupDelete();
    if (command != "tasks") return UsageError("unknown command '" + command + "'");

    ConsoleSession session({});
    if (!session.Ready()) return 1;
    try {
        return CmdTasks(session.LoadMain());
    } catch (const ProgramEnd& end) {
        return end.code;
    }
}
