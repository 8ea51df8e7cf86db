#pragma once
// A one-line status on standard error, rewritten in place, for long console work
// (a junk scan of a big disk, a deletion, a wipe). It shows only when standard
// error is a terminal, and never writes to standard output, so scripts and logs
// see the same bytes with or without it.
#include <chrono>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/controls/Control.hpp"
#include "common/platform/Terminal.hpp"

namespace velloran {

class ConsoleProgress {
public:
    using Clock = std::chrono::steady_clock;

    // `active` false makes every call a no-op. Redraws closer together than
    // `interval` are skipped: a scan changes its folder far faster than anyone reads.
    ConsoleProgress(std::ostream& err, bool active, int columns = 80,
                    Clock::duration interval = std::chrono::milliseconds(100),
                    bool sharesOutputTerminal = false);
    // On standard error when it is a terminal, as wide as the terminal.
    static std::unique_ptr<ConsoleProgress> ForStandardError();
    ConsoleProgress(const ConsoleProgress&) = delete;
    ConsoleProgress& operator=(const ConsoleProgress&) = delete;
    ~ConsoleProgress();

    // Replaces the line with `text` (cut to the width).
    void Show(const std::string& text);
    // Removes the line, leaving the cursor at the start of an empty line.
    void Clear();
    // Called before a line goes to standard output: clears the status line when
    // both write to the same terminal, so the output line starts clean.
    void MakeRoomForOutput() {
        if (sharesOutputTerminal_) Clear();
    }
    // Shows `text()` whenever one of `controls` changes; ends with this object.
    void Follow(std::vector<Control*> controls, std::function<std::string()> text);

    // "[ 42%] caption" for a progress bar's value of its maximum.
    static std::string Percent(long value, long max, const std::string& caption);

private:
    std::ostream* err_;
    bool active_;
    int columns_;
    Clock::duration interval_;
    Clock::time_point last_{};
    bool sharesOutputTerminal_;
    bool shown_ = false;
    std::function<std::string()> text_;
    std::vector<std::pair<Control*, int>> connections_;
};

}  // namespace velloran
