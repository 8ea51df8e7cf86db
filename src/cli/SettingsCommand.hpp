#pragma once
// 'velloran-cli settings'.
#include <string>
#include <vector>

namespace velloran {

// args[0] is "settings"; the rest are NAME=VALUE changes. Returns the exit code.
int CmdSettings(const std::vector<std::string>& args);

}  // namespace velloran
