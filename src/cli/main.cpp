// velloran-cli: the console front end over the same windows as the GUI.
#include <iostream>
#include <string>
#include <vector>

#include "app/Application.hpp"
#include "app/FrmMain.hpp"
#include "app/TaskCatalogue.hpp"
#include "cli/ConsoleHost.hpp"
#include "common/Target.hpp"
#include "common/platform/linux/LinuxPlatform.hpp"

using namespace velloran;

namespace {

constexpr int kExitUsage = 2;

void Usage(std::ostream& os) {
    os << "usage: velloran-cli <command> [options]\n"
          "\n"
          "commands:\n"
          "  tasks        list every task box and delete method: <array>:<index> TAB caption\n"
          "  help         show this help\n";
}

// Caption without the blank every check box shows in front of it.
std::string Bare(const std::string& caption) {
    return caption.starts_with(' ') ? caption.substr(1) : caption;
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

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty() || args[0] == "help" || args[0] == "--help" || args[0] == "-h") {
        Usage(args.empty() ? std::cerr : std::cout);
        return args.empty() ? kExitUsage : 0;
    }
    const std::string command = args[0];
    if (command != "tasks") {
        std::cerr << "velloran-cli: unknown command '" << command
                  << "' (try 'velloran-cli help')\n";
        return kExitUsage;
    }

    Target target = SelectTarget();
    LinuxPlatform platform(target);
    ConsoleHost host(std::cout, std::cerr, false);
    Application app(host, platform);
    app.TargetDescription = target.Describe();
    try {
        FrmMain& frm = app.Main();
        frm.Form_Initialize();
        frm.Load();
        return CmdTasks(frm);
    } catch (const ProgramEnd& end) {
        return end.code;
    }
}
