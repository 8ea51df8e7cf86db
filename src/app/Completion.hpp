#pragma once
// What happens when a job completes: the message (unless the user turned it off),
// saving the settings, and exiting, shutting down or restarting as the Settings
// page says.
#include <string>

namespace velloran {

class Application;

void SuccessMsgBox(Application& app, const std::string& text, int style);

// Ask the system to power off or restart. Every failure is ignored: a refusal
// leaves the program running with its windows as they are.
void ShutDownComputer(Application& app);
void RestartComputer(Application& app);

}  // namespace velloran
