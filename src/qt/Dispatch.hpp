#pragma once
// The one boundary between Qt's event loop and the core. Every slot that calls
// into a form goes through Dispatch: no exception may cross the event loop.
#include <functional>

namespace velloran::gui {

// Runs `body`. ProgramEnd marks the program as ending and leaves every running
// event loop with its code; any other exception is a bug, logged, and ends the
// program with code 1. Input that arrives while ending is dropped.
void Dispatch(const std::function<void()>& body);

bool Ending();
int EndCode();
// Marks the program as ending (the first code wins) and leaves the event loops.
void BeginEnd(int code);
// A nested loop that returns while the program is ending rethrows ProgramEnd, so
// that the core code below it unwinds to the outer boundary too.
void ThrowIfEnding();

// Clears the ending state and Qt's pending quit; for tests that end the program
// and go on.
void ResetEnding();

}  // namespace velloran::gui
