#include "app/Completion.hpp"

#include "app/Application.hpp"
#include "app/FrmMain.hpp"
#include "app/SettingsStore.hpp"
#include "cleaning/ReportError.hpp"

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

void SuccessMsgBox(Application& app, const std::string& text, int style) {
    WithErrorHandler(app, "ModFunctions:SuccessMsgBox", [&] {
        FrmMain& main = app.Main();
        if (main.stChk(3).Value() == 0) app.MsgBox(text, style);
        SaveSettings(main);
        app.ReleaseShared();
        // Only the value 1 counts; exit wins over shut down, shut down over restart.
        if (main.stChk(4).Value() == 1) {
            main.Unload();
            EndProgram(0);
        }
        if (main.stChk(5).Value() == 1) {
            ShutDownComputer(app);
            return;
        }
        if (main.stChk(6).Value() == 1) RestartComputer(app);
    });
}

}  // namespace velloran
