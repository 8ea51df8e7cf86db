#pragma once
// 'velloran-cli tasks' and 'velloran-cli clean'.
#include <string>
#include <vector>

namespace velloran {

class FrmMain;

// Every task box and delete method, one "<array>:<index> TAB caption" per line.
int CmdTasks();
int ListTasks(FrmMain& frm);

// args[0] is "clean". Ticks the named boxes, runs the clean and prints its log.
// Returns the exit code.
int CmdClean(const std::vector<std::string>& args);

}  // namespace velloran
