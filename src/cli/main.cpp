// velloran-cli: the console front end over the same windows as the GUI.
#include <iostream>
#include <string>
#include <vector>

#include "app/ConsoleHost.hpp"
#include "app/ConsoleSession.hpp"
#include "app/Version.hpp"
#include "cleaning/StartupDelete.hpp"
#include "cli/CleanCommand.hpp"
#include "cli/CookiesCommand.hpp"
#include "cli/EraseCommand.hpp"
#include "cli/JunkCommand.hpp"
#include "cli/SettingsCommand.hpp"
#include "common/Target.hpp"
#include "common/platform/Terminal.hpp"

using namespace velloran;

namespace {

// The help text; `prefixes`: the --prefix option exists (not on Windows, where
// the registry is the system's own).
std::string Usage(bool prefixes) {
    const std::string prefixOption =
        prefixes ? "      --prefix DIR           work on the Wine prefix DIR\n" : "";
    std::string text =
        "usage: velloran-cli <command> [options]\n"
        "\n"
        "commands:\n"
        "  tasks [--json]             list every task: name TAB <array>:<index> TAB\n"
        "                             caption (--json: as JSON)\n"
        "  clean [options] TASK...    clean the named tasks, printing the run log;\n"
        "                             TASK is a name (windows.run-history),\n"
        "                             <array>:<index>, or <group>:all\n"
        "      --preview              run against a recording layer: change nothing and\n"
        "                             report what a real run would remove\n"
        "      --json                 print the run's outcome as JSON instead of the log\n" +
        prefixOption +
        "      --yes | --no           answer questions Yes (default) or No\n"
        "  settings [--json] [NAME=V ...]\n"
        "                             show the stored options with their names and\n"
        "                             meanings, or store the given ones (secure-delete=1,\n"
        "                             delete-method=zero; set1..set7 work too)\n"
        "  junk scan [options]        search for junk files: size TAB path per file\n"
        "                             (newline and backslash written as \\n and \\\\),\n"
        "                             then the summary\n"
        "  junk delete [options]      search, then delete every file found as the\n"
        "                             stored settings say\n"
        "      --drive PATH           search this folder instead of every drive\n"
        "                             (repeatable)\n"
        "      --json                 with scan: the files as one JSON array\n"
        "      --filter 'PATTERN;DESCRIPTION;TAG'\n"
        "                             use this filter instead of the filter files\n"
        "                             (repeatable)\n"
        "      --preview, --yes, --no with delete: as for clean\n"
        "  erase [options] PATH...    wipe files and whole folders with the stored\n"
        "                             delete method (set2, set3; set1: to the trash)\n"
        "      --preview              report what would be overwritten and removed\n"
        "      --yes | --no           answer questions Yes (default) or No\n" +
        (prefixes ? "  cookies [list] [--prefix DIR] [--json]\n" : "  cookies [list] [--json]\n") +
        "                             list the cookie manager's rows: delete|keep TAB\n"
        "                             name or site TAB browser and profile\n"
        "  cookies delete [options] ROW...\n"
        "                             delete the cookies of the given rows of the\n"
        "                             delete list (by name or site, or all)\n" +
        (prefixes ? "      --preview, --yes, --no, --prefix DIR   as for clean\n"
                  : "      --preview, --yes, --no as for clean\n") +
        "  cookies keep SITE...       add sites to the list of cookies every clean keeps\n"
        "  cookies unkeep SITE...     take sites out of that list\n"
        "  -delstart                  delete what the last start-up deletion request\n"
        "                             listed, remove the autostart entry, and end\n"
        "  help | --help | -h         show this help\n"
        "  --version                  show the version\n"
        "\n";
    if (prefixes)
        return text +
               "Without --prefix Velloran works on $WINEPREFIX, else ~/.wine when it has a\n"
               "user.reg, else its own store in $XDG_CONFIG_HOME/velloran.\n";
    return text +
           "Velloran works on the registry of the user running it; the page file task\n"
           "writes to HKEY_LOCAL_MACHINE, which needs administrator rights.\n";
}

}  // namespace

int main(int argc, char** argv) {
    PrepareConsole();
    std::vector<std::string> args = CommandLineArguments(argc, argv);
    if (args.empty()) {
        std::cerr << Usage(PrefixTargets());
        return kExitUsage;
    }
    const std::string& command = args[0];
    if (command == "help" || command == "--help" || command == "-h") {
        std::cout << Usage(PrefixTargets());
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
    if (command == "tasks") return CmdTasks(args);
    return UsageError("unknown command '" + command + "'");
}
