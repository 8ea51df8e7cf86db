#pragma once
// Deleting at the next start what could not be deleted now (a file in use): the
// path is kept in delstart.dat, and an autostart entry starts the program with
// "-delstart" at the next login (common/platform/Autostart.hpp says where each
// lives). Started that way the main window deletes the path, removes both and ends
// the program.
#include <cstdint>
#include <string>

#include "common/Vb.hpp"

namespace velloran {

class Application;
class FrmMain;

inline constexpr const char* kStartupDeleteSwitch = "-delstart";
// SHFileOperation's FO_DELETE; the only operation the wrapper carries out.
inline constexpr int kShellOpDelete = 3;

// Records `path` as the one path to delete at the next start (replacing any
// earlier request) and sets the autostart entry. A path holding a line break
// cannot be written as one line: it is refused with a message and False.
VbBool RequestStartupDelete(Application& app, const std::string& path);
// Sets the autostart entry: this program with "-delstart".
void SetAutostartEntry(Application& app);
void RemoveAutostartEntry(Application& app);

// The shell's delete (SHFileOperation): `path` loses one trailing separator in
// place. Recycle flag 0 deletes for good, -1 moves to the trash, both silently
// skipping what cannot be removed; any other value asks the user first and
// reports failures in a message box. Always answers True.
VbBool ShellDelete(Application& app, int operation, std::string& path, std::int16_t recycle);

// Run once at start, after the settings are loaded: when the command line is
// exactly "-delstart", deletes the listed path, removes the autostart entry and the
// list, and ends the program. Any other command line does nothing.
void PerformStartupDelete(FrmMain& frm);

}  // namespace velloran
