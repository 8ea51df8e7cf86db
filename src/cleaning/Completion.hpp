#pragma once
// What happens when a job completes: the message (unless the user turned it off),
// saving the settings, and exiting, shutting down or restarting as the options
// say.
#include <string>
#include <vector>

#include "cleaning/Plan.hpp"

namespace velloran {

class ProgramShell;

void SuccessMsgBox(ProgramShell& app, const std::string& text, int style, const Options& options);

// What a job could not do, in a message of its own under `heading` (the first few
// lines, then how many more), counted in the program's outcome. Nothing when
// everything was done.
void TellWhatWasLeft(ProgramShell& app, const std::string& heading,
                     const std::vector<std::string>& lines);

// Ask the system to power off or restart. Every failure is ignored: a refusal
// leaves the program running with its windows as they are.
void ShutDownComputer(ProgramShell& app);
void RestartComputer(ProgramShell& app);

}  // namespace velloran
