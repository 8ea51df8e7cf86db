#include "app/Completion.hpp"

#include "app/Application.hpp"
#include "app/FrmMain.hpp"
#include "app/SettingsStore.hpp"
#include "cleaning/ReportError.hpp"

namespace velloran {

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
    });
}

}  // namespace velloran
