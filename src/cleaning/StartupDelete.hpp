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

class ProgramShell;

inline constexpr const char* kStartupDeleteSwitch = "-delstart";
// SHFileOperation's FO_DELETE; the only operation the wrapper carries out.
inline constexpr int kShellOpDelete = 3;

// Adds `path` to the paths to delete at the next start (each once, in the order
// asked) and sets the autostart entry. A path holding a line break cannot be
// written as one line: it is refused with a message and False.
VbBool RequestStartupDelete(ProgramShell& app, const std::string& path);
// Sets the autostart entry: this program with "-delstart" (common/platform/Autostart.hpp).
void SetAutostartEntry(ProgramShell& app);
void RemoveAutostartEntry(ProgramShell& app);

// The shell's delete (SHFileOperation): `path` loses one trailing separator in
// place. Recycle flag 0 deletes for good, -1 moves to the trash, both silently
// skipping what cannot be removed; any other value asks the user first and
// reports failures in a message box. Always answers True.
VbBool ShellDelete(ProgramShell& app, int operation, std::string& path, std::int16_t recycle);

// Run once at start, after the settings are loaded (`recycleOption` is the value
// of the recycle-bin option then): when the command line is exactly "-delstart",
// deletes the listed paths (only from a list that is the user's own, which nobody
// else could have written), removes the autostart entry and the list, and ends the
// program. Any other command line does nothing.
void PerformStartupDelete(ProgramShell& app, int recycleOption);

}  // namespace velloran
