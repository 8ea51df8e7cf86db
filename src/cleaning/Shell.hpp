#pragma once
// What the run, the completion actions and the error reporter need of the windows
// above them, and no more: the main window as a form (its pointer, its unload),
// the progress window's log and bar while one is loaded, the status texts, and
// storing the options. The application is the real one; the windows stay above.
#include <optional>
#include <string>

#include "cleaning/Plan.hpp"
#include "common/Outcome.hpp"
#include "common/WorkContext.hpp"

namespace velloran {

class Form;
class TextBox;
class ProgressBar;

// The progress window of a cleaning run as the run sees it.
class RunView {
public:
    virtual ~RunView() = default;
    virtual TextBox& Log() = 0;
    virtual ProgressBar& Bar() = 0;
    virtual Form& Window() = 0;
};

class ProgramShell : public WorkContext {
public:
    using WorkContext::WorkContext;

    std::string HelpFile;
    std::string CommandLine;
    // Which Windows environment the program works on, for the status bar.
    std::string TargetDescription;
    // Set while an error is being reported; the program ends after it.
    bool Reporting = false;
    // What the runs and tools of this program did, task by task.
    RunOutcome Outcome;
    // The options as read from the store at start: a save writes only what differs
    // from them, so that what another process stored meanwhile stays.
    std::optional<Options> LoadedOptions;

    // The main window: owner of the modal windows; unloading it takes the others.
    virtual Form& MainForm() = 0;
    // The progress window while it is loaded, else null.
    virtual RunView* LoadedRunView() = 0;
    // A text in the main window's status panel 7 (nothing without a main window).
    virtual void SetStatusText(const std::string& text) = 0;
    // Stores the options, as the main window's close and every completed job do.
    virtual void SaveSettings(const Options& options) = 0;

    // Shortcut for a message box under the application title.
    int MsgBox(const std::string& text, int style) { return GetHost().MsgBox(text, style, Title); }
};

}  // namespace velloran
