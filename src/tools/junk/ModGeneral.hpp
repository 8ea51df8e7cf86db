#pragma once
// Drive enumeration for the windows that search drives.
namespace velloran {

class WorkContext;
class Form;
class TreeView;

// Free bytes of the fixed drives listed by the last enumeration.
inline double DrivesFreeSpace = 0;

// Fills `tv` with a checked top-level node per removable and fixed drive, keyed by
// the drive's root path. `volumeInfo` also reads each drive's volume information.
// Errors go to the error reporter.
void Findallfiles(WorkContext& app, TreeView& tv, Form& owner, bool volumeInfo);

}  // namespace velloran
