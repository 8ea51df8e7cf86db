#pragma once
// The XDG autostart entry that starts the program at the next login.
#include <string>

namespace velloran {

// $XDG_CONFIG_HOME/autostart/velloran-delstart.desktop
std::string AutostartEntryPath();

// One argument of a desktop entry's Exec line: double-quoted when it holds a
// reserved character, '%' doubled so that it is not read as a field code.
std::string DesktopExecArgument(const std::string& arg);
// Escapes a value for a desktop entry line (backslash, tab, line breaks).
std::string DesktopStringValue(const std::string& value);
// The autostart file for an Exec command line.
std::string AutostartEntryText(const std::string& execLine);

}  // namespace velloran
