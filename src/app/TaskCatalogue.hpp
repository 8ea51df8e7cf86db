#pragma once
// The main window's catalogue as data: which index means which task, which frame
// holds it and in which order the page shows it. The index is the contract with
// the run driver and the settings store.
#include <span>
#include <string_view>

namespace velloran {

struct TaskCaption {
    int index;
    std::string_view caption;  // without the leading blank the check box shows
};

struct TaskArrayInfo {
    std::string_view array;      // control array name, e.g. "win_chk"
    std::string_view selectAll;  // its Select All box, e.g. "win_chks"
    std::string_view frame;      // caption of the frame that holds it
    std::span<const TaskCaption> tasks;
    std::span<const int> displayOrder;  // indexes as the page lists them
};

// In the order the console lists them: win_chk, ie_Chk, ns_Chk, op_Chk, oprg_chk.
std::span<const TaskArrayInfo> TaskArrays();

// The option boxes of the Settings page (index 2 does not exist).
std::span<const TaskCaption> OptionBoxes();
// The delete methods, by list index.
std::span<const std::string_view> DeleteMethods();

inline constexpr std::string_view kSelectAllCaption = "Select All";

}  // namespace velloran
