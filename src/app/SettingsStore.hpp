#pragma once
// The Settings page's boxes and the stored options: loading runs the boxes'
// rules as clicks would, saving stores what the boxes hold.
namespace velloran {

class FrmMain;

// Reads the stored options into the boxes; each change runs the boxes' rules as a
// click would. Without the key nothing changes and no status text appears.
void LoadSettings(FrmMain& frm);
// Writes the options, creating the key when it is missing, and saves the registry.
void SaveSettings(FrmMain& frm);

}  // namespace velloran
