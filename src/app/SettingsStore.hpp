#pragma once
// The options of the Settings page, kept under HKEY_CURRENT_USER
// "Software\Velloran\settings". Task boxes are never stored, nor the restart option.
#include <span>
#include <string_view>

namespace velloran {

class FrmMain;

// A stored value's name and the option box it holds (kDeleteMethodBox: the
// delete-method list), as the settings store and the console both name them.
inline constexpr int kDeleteMethodBox = -1;
struct StoredOption {
    std::string_view name;
    int box;
};
std::span<const StoredOption> StoredOptions();

// Reads the stored options into the boxes; each change runs the boxes' rules as a
// click would. Without the key nothing changes and no status text appears.
void LoadSettings(FrmMain& frm);
// Writes the options, creating the key when it is missing, and saves the registry.
void SaveSettings(FrmMain& frm);

}  // namespace velloran
