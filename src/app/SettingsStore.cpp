// Loading and saving the options. Error locations name "ModControls", the module
// reports list these procedures under.
#include "app/SettingsStore.hpp"

#include <array>
#include <string_view>

#include "app/Application.hpp"
#include "app/FrmMain.hpp"
#include "common/ErrorHandler.hpp"
#include "common/registry/KelRegistry.hpp"

namespace velloran {

namespace {

constexpr std::string_view kKeyPath = "Software\\Velloran";
constexpr std::string_view kSection = "settings";

// The numbering skips 4 and nothing stores "Restart computer when done.".
constexpr std::array<StoredOption, 6> kOptions{
    {{"set1", 0}, {"set2", 1}, {"set3", kDeleteMethodBox}, {"set5", 3}, {"set6", 4}, {"set7", 5}}};

KelRegistry PointAtSettings(Application& app) {
    KelRegistry reg(app.SettingsRegistry());
    reg.RootKey(kHKeyCurrentUser);
    reg.KeyPath(std::string(kKeyPath));
    reg.SubKey(std::string(kSection));
    return reg;
}

}  // namespace

std::span<const StoredOption> StoredOptions() { return kOptions; }

void LoadSettings(FrmMain& frm) {
    Application& app = frm.App();
    WithErrorHandler(app, "ModControls:LoadSettings", [&] {
        KelRegistry reg = PointAtSettings(app);
        if (!reg.KeyExists()) return;
        frm.sBar.SetPanel(7, "Retrieving program settings...");
        for (const auto& option : kOptions) {
            const std::int16_t v = reg.ReadValue(std::string(option.name), RegData("0")).ToInt16();
            if (option.box == kDeleteMethodBox)
                frm.cmbsDelType.SetListIndex(v);
            else
                frm.stChk(option.box).SetValue(v);
        }
        frm.sBar.SetPanel(7, "Done.");
    });
}

void SaveSettings(FrmMain& frm) {
    Application& app = frm.App();
    WithErrorHandler(app, "ModControls:SaveSettings", [&] {
        KelRegistry reg = PointAtSettings(app);
        if (!reg.KeyExists()) reg.CreateKey();
        frm.sBar.SetPanel(7, "Saving program settings...");
        for (const auto& option : kOptions) {
            const int v = option.box == kDeleteMethodBox ? frm.cmbsDelType.ListIndex()
                                                         : frm.stChk(option.box).Value();
            reg.WriteValue(std::string(option.name), RegData(static_cast<std::int32_t>(v)),
                           kRegDword);
        }
        app.SettingsRegistry().Save();
        frm.sBar.SetPanel(7, "Done.");
    });
}

}  // namespace velloran
