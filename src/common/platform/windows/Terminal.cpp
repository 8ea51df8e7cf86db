#include "common/platform/Terminal.hpp"

#include <windows.h>

namespace velloran {

namespace {

bool IsConsole(DWORD which) {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(which), &mode) != 0;
}

}  // namespace

bool StandardErrorIsTerminal() { return IsConsole(STD_ERROR_HANDLE); }
bool StandardOutputIsTerminal() { return IsConsole(STD_OUTPUT_HANDLE); }

int TerminalColumns(int fallback) {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info)) {
        const int columns = info.srWindow.Right - info.srWindow.Left + 1;
        if (columns > 0) return columns;
    }
    return fallback;
}

}  // namespace velloran
