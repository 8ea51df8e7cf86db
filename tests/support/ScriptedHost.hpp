#pragma once
// A host for tests: answers message boxes from a queue, records every box, and
// runs scripted actions at the n-th DoEvents (how re-entrant Cancel is tested).
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "common/Host.hpp"
#include "common/Vb.hpp"
#include "common/controls/Form.hpp"

namespace velloran::test {

struct RecordedBox {
    std::string text;
    int style;
    std::string title;
};

class ScriptedHost : public Host {
public:
    std::deque<int> answers;  // taken in order; when empty, OK / Yes
    std::vector<RecordedBox> boxes;
    std::vector<std::string> shown;     // forms shown modally, by name
    std::vector<std::string> unloaded;  // forms unloaded, by name
    std::vector<std::string> reports;   // error reports presented
    int doEvents = 0;
    std::map<int, std::function<void()>> atDoEvents;
    // Runs when a form has been shown and activated (the user acting in it).
    std::function<void(Form&)> whileShown;

    int MsgBox(const std::string& prompt, int style, const std::string& title) override {
        boxes.push_back({prompt, style, title});
        if (!answers.empty()) {
            int a = answers.front();
            answers.pop_front();
            return a;
        }
        return (style & 7) == vbYesNo || (style & 7) == vbYesNoCancel ? vbYes : vbOK;
    }
    void DoEvents() override {
        ++doEvents;
        if (auto it = atDoEvents.find(doEvents); it != atDoEvents.end()) {
            auto action = std::move(it->second);
            atDoEvents.erase(it);
            action();
        }
    }
    void ShowModal(Form& form, Form* /*owner*/) override {
        shown.push_back(form.Name());
        form.Activate();
        if (whileShown && form.IsLoaded()) whileShown(form);
    }
    void FormUnloaded(Form& form) override { unloaded.push_back(form.Name()); }
    // What the file dialog and the folder browser answer, in order; empty: cancelled.
    std::deque<std::vector<std::string>> chosenFiles;
    std::deque<std::string> chosenFolders;
    std::vector<std::string> dialogTitles;
    std::vector<std::string> OpenFilesDialog(const std::string& title,
                                             const std::string& filter) override {
        dialogTitles.push_back(title + "|" + filter);
        if (chosenFiles.empty()) return {};
        auto files = chosenFiles.front();
        chosenFiles.pop_front();
        return files;
    }
    std::string BrowseForFolder(const std::string& title) override {
        dialogTitles.push_back(title);
        if (chosenFolders.empty()) return {};
        auto folder = chosenFolders.front();
        chosenFolders.pop_front();
        return folder;
    }
    void ShowErrorReport(const std::string& text, const std::string& /*path*/) override {
        reports.push_back(text);
    }
};

}  // namespace velloran::test
