#pragma once

namespace velloran {

class FrmMain;

// Prepares the main window once at start: status bar, help file, the delete
// methods, the saved settings and the boxes of absent browsers. With `skip` set
// (the resize handling) or a minimised window it changes nothing.
void SetControls(FrmMain& frm, bool skip);

}  // namespace velloran
