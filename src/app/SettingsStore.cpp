// Loading and saving the options. Error locations name "ModControls", the module
// reports list these procedures under.
#include "app/SettingsStore.hpp"

#include "app/Application.hpp"
#include "app/FrmMain.hpp"
#include "cleaning/Settings.hpp"
#include "common/ErrorHandler.hpp"

namespace velloran {

void LoadSettings(FrmMain& frm) {
    Application& app = frm.App();
    WithErrorHandler(app, "ModControls:LoadSettings", [&] {
        const auto values = ReadStoredValues(app);
        // Read before the boxes change: the boxes start clear and the list at 0.
        app.LoadedOptions = StoredOptionsValue(app);
        if (!values) return;
        frm.sBar.SetPanel(7, "Retrieving program settings...");
        for (const auto& [option, v] : *values) {
            if (option.box == kDeleteMethodBox)
                frm.cmbsDelType.SetListIndex(v);
            else
                frm.stChk(option.box).SetValue(v);
        }
        frm.sBar.SetPanel(7, "Done.");
    });
}

void SaveSettings(FrmMain& frm) { frm.App().SaveSettings(frm.CurrentOptions()); }

}  // namespace velloran
