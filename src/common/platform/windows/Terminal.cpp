#include "common/platform/Terminal.hpp"

#include "common/platform/windows/Win32.hpp"

// After windows.h:
#include <shellapi.h>

namespace velloran {

std::vector<std::string> CommandLineArguments(int /*argc*/, char** /*argv*/) {
    std::vector<std::string> args;
    int count = 0;
    wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
    if (!wide) return args;
    for (int i = 1; i < count; ++i) args.push_back(win::Narrow(wide[i]));
    LocalFree(wide);
    return args;
}

void PrepareConsole() { SetConsoleOutputCP(CP_UTF8); }

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
