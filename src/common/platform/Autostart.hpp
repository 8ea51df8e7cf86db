#pragma once
// Starting the program once at the user's next login, for the start-up deletion,
// and where that deletion keeps its list.
//   Linux:   an XDG autostart entry, $XDG_CONFIG_HOME/autostart/velloran-delstart.desktop;
//            the list in $XDG_STATE_HOME/velloran/delstart.dat.
//   Windows: the "Run" value "Velloran" of HKEY_CURRENT_USER, the program's path and
//            the switch; the list in the program's folder, or in
//            %LOCALAPPDATA%\Velloran when that folder cannot be written.
#include <string>

namespace velloran {

class Platform;
class RegistryStore;

// The path of delstart.dat.
std::string StartupDeleteListPath();

// Makes the system start `program` with `argument` at the next login, replacing an
// earlier entry; files go through `platform` and registry values through
// `registry`, so that a preview records them. Throws VbError.
void SetLoginStart(Platform& platform, RegistryStore& registry, const std::string& program,
                   const std::string& argument);
// Removes that entry; nothing happens when there is none. Throws VbError.
void RemoveLoginStart(Platform& platform, RegistryStore& registry);

}  // namespace velloran
