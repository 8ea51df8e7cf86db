#pragma once
// What happens when a job completes: the message (unless the user turned it off),
// saving the settings, and exiting as the Settings page says.
#include <string>

namespace velloran {

class Application;

void SuccessMsgBox(Application& app, const std::string& text, int style);

}  // namespace velloran
