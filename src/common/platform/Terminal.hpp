#pragma once
// The console's terminal: whether a standard stream is one, and how wide it is.
namespace velloran {

bool StandardErrorIsTerminal();
bool StandardOutputIsTerminal();
// Columns of the terminal on standard error; `fallback` when it cannot tell.
int TerminalColumns(int fallback);

}  // namespace velloran
