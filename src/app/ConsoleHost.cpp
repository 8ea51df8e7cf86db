#include "app/ConsoleHost.hpp"

#include <iostream>
#include <ostream>

#include "common/Vb.hpp"
#include "common/controls/Form.hpp"

namespace velloran {

std::string ConsoleText(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r') {
            out += '\n';
            if (i + 1 < text.size() && text[i + 1] == '\n') ++i;
        } else {
            out += text[i];
        }
    }
    return out;
}

int ConsoleHost::MsgBox(const std::string& prompt, int style, const std::string& /*title*/) {
    out_ << '[' << style << "] " << ConsoleText(prompt) << '\n' << std::flush;
    const int buttons = style & 7;
    if (buttons == vbYesNo || buttons == vbYesNoCancel) return answerNo_ ? vbNo : vbYes;
    if (buttons == vbOKCancel) return answerNo_ ? vbCancel : vbOK;
    return vbOK;
}

void ConsoleHost::ShowModal(Form& form, Form* /*owner*/) { form.Activate(); }

void ConsoleHost::FormUnloaded(Form& /*form*/) {}

void ConsoleHost::ShowErrorReport(const std::string& reportText, const std::string& savedPath) {
    err_ << "velloran-cli: the run ended with an error\n" << reportText;
    if (!savedPath.empty()) err_ << "Report saved to " << savedPath << '\n';
    err_ << std::flush;
}

int UsageError(const std::string& message) {
    std::cerr << "velloran-cli: " << message << " (try 'velloran-cli help')\n";
    return kExitUsage;
}

bool RunSwitches::Take(const std::string& arg) {
    if (arg == "--preview")
        preview = true;
    else if (arg == "--yes" || arg == "--no")
        answerNo = arg == "--no";
    else
        return false;
    return true;
}

}  // namespace velloran
