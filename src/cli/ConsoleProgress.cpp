#include "cli/ConsoleProgress.hpp"

#include <algorithm>
#include <iostream>

#include "common/platform/Terminal.hpp"

namespace velloran {

namespace {

// Erase from the cursor to the end of the line.
constexpr const char* kClearToEnd = "\x1b[K";

// Cuts at a character boundary so a multi-byte name does not end in half a character.
std::string Fit(const std::string& text, int columns) {
    const std::size_t width = static_cast<std::size_t>(std::max(columns - 1, 1));
    std::string out;
    std::size_t shown = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c < 0x20 || c == 0x7f) continue;  // a line break in a name would break the line
        if ((c & 0xC0) != 0x80 && ++shown > width) break;
        out += text[i];
    }
    return out;
}

}  // namespace

ConsoleProgress::ConsoleProgress(std::ostream& err, bool active, int columns,
                                 Clock::duration interval, bool sharesOutputTerminal)
    : err_(&err),
      active_(active),
      columns_(columns),
      interval_(interval),
      sharesOutputTerminal_(sharesOutputTerminal) {}

std::unique_ptr<ConsoleProgress> ConsoleProgress::ForStandardError() {
    const bool tty = StandardErrorIsTerminal();
    return std::make_unique<ConsoleProgress>(std::cerr, tty, tty ? TerminalColumns(80) : 80,
                                             std::chrono::milliseconds(100),
                                             StandardOutputIsTerminal());
}

ConsoleProgress::~ConsoleProgress() {
    for (auto [control, id] : connections_) control->Changed.Disconnect(id);
    Clear();
}

void ConsoleProgress::Show(const std::string& text) {
    if (!active_) return;
    const Clock::time_point now = Clock::now();
    if (shown_ && now - last_ < interval_) return;
    last_ = now;
    shown_ = true;
    *err_ << '\r' << Fit(text, columns_) << kClearToEnd << std::flush;
}

void ConsoleProgress::Clear() {
    if (!active_ || !shown_) return;
    shown_ = false;
    *err_ << '\r' << kClearToEnd << std::flush;
}

void ConsoleProgress::Follow(std::vector<Control*> controls, std::function<std::string()> text) {
    if (!active_) return;
    text_ = std::move(text);
    for (Control* control : controls)
        connections_.emplace_back(control, control->Changed.Connect([this] { Show(text_()); }));
}

std::string ConsoleProgress::Percent(long value, long max, const std::string& caption) {
    const long percent = max > 0 ? std::clamp(value * 100 / max, 0L, 100L) : 0;
    std::string number = std::to_string(percent);
    number.insert(0, 3 - std::min<std::size_t>(number.size(), 3), ' ');
    return "[" + number + "%] " + caption;
}

}  // namespace velloran
