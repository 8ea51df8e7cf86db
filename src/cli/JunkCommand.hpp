#pragma once
// 'velloran-cli junk scan|delete': the junk file finder driven from the console.
#include <string>
#include <vector>

namespace velloran {

// args[0] is "junk". Returns the exit code.
int CmdJunk(const std::vector<std::string>& args);

// A path on one output line: line breaks and backslashes escaped.
std::string EscapePathForLine(const std::string& path);

}  // namespace velloran
