#include "tools/junk/ModGeneral.hpp"

#include "common/ErrorHandler.hpp"
#include "common/ModFunctions.hpp"
#include "common/WorkContext.hpp"
#include "common/controls/Form.hpp"
#include "common/controls/ListView.hpp"

namespace velloran {

namespace {
// The drive-strings buffer holds at most this many roots.
constexpr int kMaxDrives = 256;
}  // namespace

void Findallfiles(WorkContext& app, TreeView& tv, Form& owner, bool volumeInfo) {
    WithErrorHandler(app, "ModGeneral:Findallfiles", [&] {
        DrivesFreeSpace = 0;
        Platform& platform = app.GetPlatform();
        const std::vector<LogicalDrive> drives = platform.LogicalDrives();
        owner.SetAutoRedraw(true);
        for (std::size_t i = 0; i < drives.size() && i < static_cast<std::size_t>(kMaxDrives);
             ++i) {
            const LogicalDrive& drive = drives[i];
            if (volumeInfo && drive.type != DRIVE_REMOVABLE && drive.type != DRIVE_CDROM) {
                // Read with the drive list; nothing uses it further.
                (void)drive.label;
                (void)drive.fileSystem;
            }
            app.WinVersion = WinVersionCode(platform.GetVersionEx());
            if (drive.type == DRIVE_REMOVABLE || drive.type == DRIVE_FIXED) {
                // Linux paths are case-sensitive: the root is shown as it is.
                tv.Add({}, drive.root, drive.root);
                if (drive.type == DRIVE_FIXED)
                    DrivesFreeSpace += DiskFreeSpace(platform, drive.root);
            }
            // Every listed drive starts checked, even when this one made no node.
            tv.SetChecked(tv.Count() - 1, true);
        }
    });
}

}  // namespace velloran
