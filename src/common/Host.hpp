#pragma once
// Everything a window needs from the world around it. The Qt front end, the
// console and the tests each implement it.
#include <string>
#include <vector>

namespace velloran {

class Form;

// Thrown to end the program: it unwinds to the front end's outermost boundary.
struct ProgramEnd {
    int code = 0;
};
[[noreturn]] inline void EndProgram(int code = 0) { throw ProgramEnd{code}; }

class Host {
public:
    virtual ~Host() = default;

    // A message box; returns the button pressed (vbOK, vbYes, ...).
    virtual int MsgBox(const std::string& prompt, int style, const std::string& title) = 0;
    // Lets pending window messages run (re-entrant clicks included).
    virtual void DoEvents() = 0;
    // Shows a loaded form modally; calls form.Activate() once it is shown and
    // returns when the form is unloaded.
    virtual void ShowModal(Form& form, Form* owner) = 0;
    // The form has been unloaded: its view goes away.
    virtual void FormUnloaded(Form& form) = 0;
    // File dialog for opening several files; empty when cancelled.
    virtual std::vector<std::string> OpenFilesDialog(const std::string& title,
                                                     const std::string& filter) {
        (void)title;
        (void)filter;
        return {};
    }
    // Folder browser; empty when cancelled.
    virtual std::string BrowseForFolder(const std::string& title) {
        (void)title;
        return {};
    }
    // An error report for the user to read, save or copy (never sent by itself).
    virtual void ShowErrorReport(const std::string& reportText, const std::string& savedPath) {
        (void)reportText;
        (void)savedPath;
    }
};

}  // namespace velloran
