#pragma once
// Power off and reboot through systemd-logind on the system bus.
#include <string>

namespace velloran::linuxfs {

enum class PowerAction { PowerOff, Reboot };

// Asks logind for the action without letting polkit prompt (interactive false).
// `busAddress` names another bus than the system bus (tests run a private one);
// empty means the system bus. False when the bus cannot be reached or logind
// refuses; `error`, when given, receives why.
bool RequestPowerAction(PowerAction action, const std::string& busAddress,
                        std::string* error = nullptr);

}  // namespace velloran::linuxfs
