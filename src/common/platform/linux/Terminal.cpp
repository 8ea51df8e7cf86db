#include "common/platform/Terminal.hpp"

#include <sys/ioctl.h>
#include <unistd.h>

namespace velloran {

std::vector<std::string> CommandLineArguments(int argc, char** argv) {
    return {argv + 1, argv + argc};
}

void PrepareConsole() {}

bool StandardErrorIsTerminal() { return ::isatty(STDERR_FILENO) == 1; }
bool StandardOutputIsTerminal() { return ::isatty(STDOUT_FILENO) == 1; }

int TerminalColumns(int fallback) {
    winsize size{};
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    return fallback;
}

}  // namespace velloran
