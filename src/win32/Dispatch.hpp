#pragma once
// The one boundary between the Win32 message loop and the core. Every window
// procedure that calls into a form goes through Dispatch: no exception may
// cross a window procedure, as the system's code between it and the loop
// cannot unwind.
#include <functional>

namespace velloran::win32 {

// Runs `body`. ProgramEnd marks the program as ending and posts the quit that
// leaves every running loop; any other exception is a bug, told on the error
// stream, and ends the program with code 1. Input that arrives while ending is
// dropped.
void Dispatch(const std::function<void()>& body);

bool Ending();
int EndCode();
void BeginEnd(int code);
// A nested loop that returns while the program is ending rethrows ProgramEnd, so
// that the core code below it unwinds to the outer boundary too.
void ThrowIfEnding();

// Clears the ending state and the pending quit; for tests that end the program
// and go on.
void ResetEnding();

}  // namespace velloran::win32
