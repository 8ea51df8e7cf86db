#include "app/TaskCatalogue.hpp"

#include <array>

namespace velloran {

namespace {

constexpr std::array<TaskCaption, 13> kWindows{{
    {1, "Erase Desktop Stream History"},
    {2, "Erase Common Dialog History List"},
    {3, "Erase Find Files History"},
    {4, "Erase Find Computer History"},
    {5, "Erase Run History"},
    {6, "Erase Recent Document List"},
    {7, "Erase Find Printer History List"},
    {8, "Empty Recycle Bin"},
    {9, "Empty Clipboard Contents"},
    {10, "Erase Common Dialog Open/Save List"},
    {11, "Erase Find Files/Folder History"},
    {12, "Erase Encrypted Hidden Logs"},
    {13, "Clear Page File (Swap File)"},
}};
constexpr std::array<int, 13> kWindowsOrder{11, 13, 1, 3, 2, 10, 4, 5, 6, 7, 12, 8, 9};

constexpr std::array<TaskCaption, 7> kIE{{
    {1, "Clear Typed URL History"},
    {2, "Clear Autocomplete Forms"},
    {3, "Restore Window Position"},
    {4, "Clear Encrypted Hidden Logs"},
    {5, "Clear Autocomplete Passwords"},
    {6, "Clear Cache (Temporary files)"},
    {7, "Clear Browsing History"},
}};
constexpr std::array<int, 7> kIEOrder{1, 2, 5, 6, 7, 4, 3};

// Netscape and Opera share the same four tasks at the same indexes.
constexpr std::array<TaskCaption, 4> kOtherBrowser{{
    {1, "Clear Typed URL History"},
    {2, "Delete Temporary Internet Files"},
    {3, "Clear Cookies"},
    {4, "Clear Form Data"},
}};
constexpr std::array<int, 4> kOtherBrowserOrder{1, 2, 3, 4};

constexpr std::array<TaskCaption, 13> kPrograms{{
    {1, "Clear All Winzip Tracks"},
    {2, "Clear Frontpage Recent File History"},
    {3, "Clear Frontpage Recent Page History"},
    {4, "Clear Frontpage Recent Web History"},
    {5, "Clear Frontpage Recent Created Servers"},
    {6, "Clear Frontpage URL History"},
    {7, "Clear Management Console Recent File List"},
    {8, "Clear Media Player Recent Play List"},
    {9, "Clear Microsoft Access Recent File List"},
    {10, "Clear Microsoft Excel Recent File List"},
    {11, "Clear Microsoft PowerPoint Recent file List"},
    {12, "Clear Microsoft Word Recent file List"},
    {13, "Clear Netmeeting call history"},
}};
constexpr std::array<int, 13> kProgramsOrder{1, 7, 8, 13, 9, 10, 11, 12, 2, 3, 4, 5, 6};

constexpr std::array<TaskArrayInfo, 5> kArrays{{
    {"win_chk", "win_chks", "Windows System", kWindows, kWindowsOrder},
    {"ie_Chk", "ie_Chks", "Internet Explorer Browser", kIE, kIEOrder},
    {"ns_Chk", "ns_Chks", "Netscape Browser 6.x/7.x", kOtherBrowser, kOtherBrowserOrder},
    {"op_Chk", "op_Chks", "Opera Browser", kOtherBrowser, kOtherBrowserOrder},
    {"oprg_chk", "oprg_chks", "Programs", kPrograms, kProgramsOrder},
}};

constexpr std::array<TaskCaption, 6> kOptions{{
    {0, "Delete files to recycle bin"},
    {1, "Securely delete files"},
    {3, "Do not notify me when job is completed."},
    {4, "Exit when done."},
    {5, "Shut down computer when done."},
    {6, "Restart computer when done."},
}};

constexpr std::array<std::string_view, 3> kDeleteMethods{
    "File Zapper [Standard, Slow]",
    "Guttmann Scheme [Supreme, Fast]",
    "Zero And Delete [Supreme, Fast]",
};

}  // namespace

std::span<const TaskArrayInfo> TaskArrays() { return kArrays; }
std::span<const TaskCaption> OptionBoxes() { return kOptions; }
std::span<const std::string_view> DeleteMethods() { return kDeleteMethods; }

}  // namespace velloran
