#pragma once
// The cleaning groups and their tasks, declared once: each group's box array,
// captions, console names, verifying and closing lines, browser-open check,
// worker and availability; each task's index, caption, name, cleaning line and
// worker call. The main window builds its boxes from it, the console its names,
// the run its order. The index is the contract with the stored selection.
#include <memory>
#include <span>
#include <string_view>

#include "common/Vb.hpp"

namespace velloran {

class Platform;
class ProgramShell;
class TaskWorker;

// One task of a group: `line` null means the box runs nothing of its own.
using TaskCall = void (*)(TaskWorker& worker, ProgramShell& shell);
struct TaskInfo {
    int index;
    std::string_view caption;  // without the leading blank the check box shows
    std::string_view name;     // the console's name after the group's ("run-history")
    const char* line;
    TaskCall run;
};

// A browser group's open-window check and the message it gives.
struct BrowserWindowCheck {
    const char* windowClass;
    const char* firstText;
    const char* lastText;
};

struct GroupInfo {
    std::string_view array;      // control array name, e.g. "win_chk"
    std::string_view selectAll;  // its Select All box, e.g. "win_chks"
    std::string_view frame;      // caption of the frame that holds it
    std::string_view name;       // the console's group name, e.g. "windows"
    std::span<const TaskInfo> tasks;
    std::span<const int> displayOrder;  // indexes as the page lists them

    // The run of the group.
    const char* location;               // its error location, "ClsClean:DoWindows"
    const char* verifying;              // the line before its tasks
    const char* completed;              // the progress text after them
    const BrowserWindowCheck* browser;  // null: no browser to close first
    bool pumpAfterVerifying;            // lets the window repaint before the worker starts
    bool pumpAfterEachBox;              // and between boxes
    std::shared_ptr<TaskWorker> (*makeWorker)(ProgramShell& shell);
    // Whether the group's boxes can be used here; null: always.
    bool (*available)(Platform& platform);
};

// In run order: Windows, Internet Explorer, Netscape, Opera, Chromium-based, Programs.
std::span<const GroupInfo> TaskArrays();
// The group of an array name or a console group name; null when unknown.
const GroupInfo* FindGroup(std::string_view arrayOrName);
std::size_t GroupPosition(const GroupInfo& group);
const TaskInfo* FindTask(const GroupInfo& group, int index);
// Whether the group's boxes are usable on this system (a browser has a profile).
bool GroupAvailable(const GroupInfo& group, Platform& platform);

// The option boxes of the Settings page (index 2 does not exist).
struct OptionInfo {
    int index;
    std::string_view caption;
    std::string_view name;  // the console's name, "secure-delete"
};
std::span<const OptionInfo> OptionBoxes();
// The delete methods, by list index, and their console names.
std::span<const std::string_view> DeleteMethods();
std::span<const std::string_view> DeleteMethodNames();

inline constexpr std::string_view kSelectAllCaption = "Select All";

}  // namespace velloran
