#pragma once
// The console as a host: message boxes are printed as "[style] text" and answered
// Yes (or No with --no); modal windows run without being drawn.
#include <iosfwd>
#include <string>

#include "common/Host.hpp"

namespace velloran {

class ConsoleHost : public Host {
public:
    ConsoleHost(std::ostream& out, std::ostream& err, bool answerNo)
        : out_(out), err_(err), answerNo_(answerNo) {}

    int MsgBox(const std::string& prompt, int style, const std::string& title) override;
    void DoEvents() override {}
    void ShowModal(Form& form, Form* owner) override;
    void FormUnloaded(Form& form) override;
    void ShowErrorReport(const std::string& reportText, const std::string& savedPath) override;

    std::ostream& Out() { return out_; }

private:
    std::ostream& out_;
    std::ostream& err_;
    bool answerNo_;
};

// Line breaks of a message as the console prints them: CR LF and lone CR become LF.
std::string ConsoleText(const std::string& text);

// The exit status of a command line the program cannot use.
inline constexpr int kExitUsage = 2;
// Says what is wrong with the command line, on standard error, and how to get help;
// returns kExitUsage.
int UsageError(const std::string& message);

// The switches of every command that changes something: --preview, --yes, --no.
struct RunSwitches {
    bool preview = false;
    bool answerNo = false;
    // True when `arg` is one of them, now taken into account.
    bool Take(const std::string& arg);
};

}  // namespace velloran
