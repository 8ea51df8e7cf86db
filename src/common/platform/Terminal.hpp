#pragma once
// The console's terminal: whether a standard stream is one, how wide it is, and
// the program's arguments and output as UTF-8.
#include <string>
#include <vector>

namespace velloran {

// The arguments after the program's name, as UTF-8 (on Windows main() receives
// them in the ANSI code page, which cannot hold every name).
std::vector<std::string> CommandLineArguments(int argc, char** argv);
// Makes the console show UTF-8 output as text; nothing to do where it always does.
void PrepareConsole();

bool StandardErrorIsTerminal();
bool StandardOutputIsTerminal();
// Columns of the terminal on standard error; `fallback` when it cannot tell.
int TerminalColumns(int fallback);

}  // namespace velloran
