// The end of a run: the completion message, exit, shut down or restart. Error
// locations name "ModFunctions", the module reports list these procedures under.
#include "cleaning/Completion.hpp"

#include "cleaning/Shell.hpp"
#include "common/ErrorHandler.hpp"
#include "common/controls/Form.hpp"

namespace velloran {

namespace {

template <class F>
void IgnoringErrors(F&& body) {
    try {
        body();
    } catch (const std::exception&) {
    }
}

}  // namespace

void ShutDownComputer(ProgramShell& app) {
    IgnoringErrors([&] {
        Platform& platform = app.GetPlatform();
        platform.EnableShutdownPrivilege();
        platform.PowerOff();
    });
}

void RestartComputer(ProgramShell& app) {
    IgnoringErrors([&] {
        Platform& platform = app.GetPlatform();
        platform.EnableShutdownPrivilege();
        platform.Reboot();
    });
}

void TellWhatWasLeft(ProgramShell& app, const std::string& heading,
                     const std::vector<std::string>& lines) {
    if (lines.empty()) return;
    Outcome left;
    for (const std::string& line : lines) left.Failed(line);
    app.Outcome.AddUntasked(left);
    constexpr std::size_t kShown = 15;
    std::string text = heading;
    for (std::size_t i = 0; i < lines.size() && i < kShown; ++i) text += "\r\n" + lines[i];
    if (lines.size() > kShown)
        text += "\r\n... and " + std::to_string(lines.size() - kShown) + " more.";
    app.MsgBox(text, vbExclamation);
}

void SuccessMsgBox(ProgramShell& app, const std::string& text, int style, const Options& options) {
    WithErrorHandler(app, "ModFunctions:SuccessMsgBox", [&] {
        if (options.Value(Option::NoNotify) == 0) app.MsgBox(text, style);
        app.SaveSettings(options);
        app.ReleaseShared();
        // Only the value 1 counts; exit wins over shut down, shut down over restart.
        if (options.Ticked(Option::ExitWhenDone)) {
            app.MainForm().Unload();
            EndProgram(0);
        }
        if (options.Ticked(Option::ShutDown)) {
            ShutDownComputer(app);
            return;
        }
        if (options.Ticked(Option::Restart)) RestartComputer(app);
    });
}

}  // namespace velloran
