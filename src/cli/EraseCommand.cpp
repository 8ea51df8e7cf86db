#include "cli/EraseCommand.hpp"

#include <filesystem>
#include <iostream>

#include "app/Application.hpp"
#include "app/ConsoleHost.hpp"
#include "app/ConsoleSession.hpp"
#include "app/frmErad.hpp"
#include "cli/ConsoleProgress.hpp"
#include "common/platform/Paths.hpp"

namespace velloran {

namespace {

// Prints the bar's text each time it changes, as the window would show it.
class BarPrinter {
public:
    BarPrinter(ProgressBar& bar, ConsoleProgress& progress) : bar_(bar) {
        id_ = bar_.Changed.Connect([this, &progress] {
            if (bar_.Caption() == last_ || bar_.Caption().empty()) return;
            last_ = bar_.Caption();
            progress.MakeRoomForOutput();
            std::cout << ConsoleText(last_);
            if (!last_.ends_with("\r\n")) std::cout << '\n';
            std::cout << std::flush;
        });
    }
    ~BarPrinter() { bar_.Changed.Disconnect(id_); }
    BarPrinter(const BarPrinter&) = delete;
    BarPrinter& operator=(const BarPrinter&) = delete;

private:
    ProgressBar& bar_;
    std::string last_;
    int id_ = 0;
};

// One run of the window over the paths it takes into `list` (the window closes
// after every run, so files and folders each get their own opening).
void Run(frmErad& erad, const std::vector<std::string>& paths, bool folders) {
    erad.Load();
    erad.DropFiles(paths);
    (folders ? erad.lview : erad.lviewF).Clear();
    if ((folders ? erad.lviewF : erad.lview).Count() == 0) {
        erad.Unload();
        return;
    }
    // The file and the percentage on a terminal's standard error, redrawn after
    // each line the printer writes.
    auto progress = ConsoleProgress::ForStandardError();
    BarPrinter printer(erad.pbar, *progress);
    progress->Follow({&erad.pbar}, [&erad] {
        return ConsoleProgress::Percent(erad.pbar.Value(), erad.pbar.Max(), erad.pbar.Caption());
    });
    (folders ? erad.cmdwipef : erad.cmdwipe).Click();
}

}  // namespace

int CmdErase(const std::vector<std::string>& args) {
    RunSwitches run;
    std::vector<std::string> paths;
    for (std::size_t i = 1; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (run.Take(a))
            continue;
        else if (a.starts_with("-"))
            return UsageError("unknown option '" + a + "'");
        else
            paths.push_back(WithoutTrailingSeparators(
                Utf8FromPath(std::filesystem::absolute(PathFromUtf8(a)).lexically_normal())));
    }
    if (paths.empty()) return UsageError("erase needs at least one file or folder");
    // The paths lost their trailing separators as they were read.
    // What the window would pass over in silence is refused here, before anything
    // is wiped: a path that is not there, and one that is neither a file nor a folder.
    for (const std::string& p : paths) {
        std::error_code ec;
        const auto type = std::filesystem::status(PathFromUtf8(p), ec).type();
        const char* why = type == std::filesystem::file_type::not_found ? "does not exist"
                          : type == std::filesystem::file_type::regular ||
                                  type == std::filesystem::file_type::directory
                              ? nullptr
                          : ec ? "cannot be examined"
                               : "is neither a regular file nor a folder";
        if (why) {
            std::cerr << "velloran-cli: erase: '" << p << "' " << why << "; nothing was erased\n";
            return kExitUsage;
        }
    }

    ConsoleSession session{ConsoleSession::Options(run)};
    if (!session.Ready()) return 1;
    return session.Run([&] {
        session.Start();
        frmErad& erad = session.App().Erad();
        Run(erad, paths, false);
        Run(erad, paths, true);
        return 0;
    });
}

}  // namespace velloran
