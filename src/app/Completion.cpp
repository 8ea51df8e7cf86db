// The end of a run: the completion message, exit, shut down or restart. Error
// locations name "ModFunctions", the module reports list these procedures under.
#include "app/Completion.hpp"

#include "app/Application.hpp"
#include "app/FrmMain.hpp"
#include "app/SettingsStore.hpp"
#include "common/ErrorHandler.hpp"

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

void ShutDownComputer(Application& app) {
    IgnoringErrors([&] {
        Platform& platform = app.GetPlatform();
        platform.EnableShutdownPrivilege();
        platform.PowerOff();
    });
}

void RestartComputer(Application& app) {
    IgnoringErrors([&] {
        Platform& platform = app.GetPlatform();
        platform.EnableShutdownPrivilege();
        platform.Reboot();
    });
}

void TellWhatWasLeft(Application& app, const std::string& heading,
                     const std::vector<std::string>& lines) {
    if (lines.empty()) return;
    app.LeftUndone += static_cast<std::int64_t>(lines.size());
    constexpr std::size_t kShown = 15;
    std::string text = heading;
    for (std::size_t i = 0; i < lines.size() && i < kShown; ++i) text += "\r\n" + lines[i];
    if (lines.size() > kShown)
        text += "\r\n... and " + std::to_string(lines.size() - kShown) + " more.";
    app.MsgBox(text, vbExclamation);
}

void SuccessMsgBox(Application& app, const std::string& text, int style) {
    WithErrorHandler(app, "ModFunctions:SuccessMsgBox", [&] {
        FrmMain& main = app.Main();
        if (main.stChk(Option::NoNotify).Value() == 0) app.MsgBox(text, style);
        SaveSettings(main);
        app.ReleaseShared();
        // Only the value 1 counts; exit wins over shut down, shut down over restart.
        if (main.stChk(Option::ExitWhenDone).Value() == 1) {
            main.Unload();
            EndProgram(0);
        }
        if (main.stChk(Option::ShutDown).Value() == 1) {
            ShutDownComputer(app);
            return;
        }
        if (main.stChk(Option::Restart).Value() == 1) RestartComputer(app);
    });
}

}  // namespace velloran
