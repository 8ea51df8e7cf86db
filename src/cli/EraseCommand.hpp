#pragma once
// 'velloran-cli erase': the file eradicator from the console.
#include <string>
#include <vector>

namespace velloran {

int CmdErase(const std::vector<std::string>& args);

}  // namespace velloran
