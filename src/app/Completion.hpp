#pragma once
// What happens when a job completes: the message (unless the user turned it off),
// saving the settings, and exiting, shutting down or restarting as the Settings
// page says.
#include <string>
#include <vector>

namespace velloran {

class Application;

void SuccessMsgBox(Application& app, const std::string& text, int style);

// What a job could not do, in a message of its own under `heading` (the first few
// lines, then how many more), counted for the console's exit status. Nothing when
// everything was done.
void TellWhatWasLeft(Application& app, const std::string& heading,
                     const std::vector<std::string>& lines);

// Ask the system to power off or restart. Every failure is ignored: a refusal
// leaves the program running with its windows as they are.
void ShutDownComputer(Application& app);
void RestartComputer(Application& app);

}  // namespace velloran
