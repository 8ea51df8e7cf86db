#pragma once
// 'velloran-cli tasks' and 'velloran-cli clean'.
#include <string>
#include <vector>

namespace velloran {

// Every task and delete method: "name TAB array:index TAB caption" per line, or
// with --json an array of objects.
int CmdTasks(const std::vector<std::string>& args);

// args[0] is "clean". Builds the plan from the named tasks, runs the clean and
// prints its log (or, with --json, its outcome). Returns the exit code.
int CmdClean(const std::vector<std::string>& args);

}  // namespace velloran
