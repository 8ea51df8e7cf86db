#include "app/ModControls.hpp"

#include <filesystem>

#include "app/Application.hpp"
#include "app/FrmMain.hpp"
#include "app/SettingsStore.hpp"
#include "cleaning/TaskCatalogue.hpp"
#include "common/ErrorHandler.hpp"
#include "common/ModFunctions.hpp"
#include "common/platform/Paths.hpp"
#include "common/platform/UserFolders.hpp"

namespace velloran {

namespace {

void DisableArray(ControlArray<CheckBox>& array, CheckBox& selectAll) {
    for (int i = 1; i <= array.UBound(); ++i)
        if (array.Exists(i)) array(i).SetEnabled(false);
    selectAll.SetEnabled(false);
}

// The help pages shipped beside the program (Windows), under the installation
// prefix, or in the source tree when run from a build.
std::string HelpFilePath() {
    namespace fs = std::filesystem;
    for (const fs::path& dir :
         {ShippedDataFolder(), fs::path(VELLORAN_DATADIR), fs::path(VELLORAN_SOURCE_DATADIR)}) {
        std::error_code ec;
        if (!dir.empty() && fs::exists(dir / "help" / "index.html", ec))
            return Utf8FromPath(dir / "help" / "index.html");
    }
    return Utf8FromPath(fs::path(VELLORAN_DATADIR) / "help" / "index.html");
}

}  // namespace

void SetControls(FrmMain& frm, bool skip) {
    Application& app = frm.App();
    WithErrorHandler(app, "ModControls:SetControls", [&] {
        frm.SetAutoRedraw(true);
        if (frm.WindowState() == vbMinimized || skip) return;

        app.WinVersion = WinVersionCode(app.GetPlatform().GetVersionEx());
        frm.sBar.SetPanel(6, "Windows " + app.WinVersion);
        // Which Windows environment the boxes act on.
        frm.sBar.SetPanel(1, app.TargetDescription);
        app.HelpFile = HelpFilePath();
        frm.frameWin.ZOrderTop();

        frm.cmbsDelType.Clear();
        for (auto method : DeleteMethods()) frm.cmbsDelType.AddItem(std::string(method));
        frm.cmbsDelType.SetListIndex(0);

        LoadSettings(frm);

        // The boxes of a browser with no profile here.
        for (const GroupInfo& group : TaskArrays())
            if (!GroupAvailable(group, app.GetPlatform()))
                DisableArray(*frm.TaskArray(group.array), *frm.SelectAllBox(group.array));
    });
}

}  // namespace velloran
