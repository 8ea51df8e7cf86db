#pragma once
// 'velloran-cli cookies': the cookie manager from the console.
#include <string>
#include <vector>

namespace velloran {

int CmdCookies(const std::vector<std::string>& args);

}  // namespace velloran
