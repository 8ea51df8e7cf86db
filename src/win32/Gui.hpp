#pragma once
// What the Win32 views share: text at the W calls, sizes for the window's DPI,
// the message font, the check-box images, and the bindings that keep a window
// in step with its control.
// Win32.hpp first: it brings windows.h in the order the platform needs.
#include "common/platform/windows/Win32.hpp"

#include <commctrl.h>

#include <functional>
#include <string>
#include <vector>

#include "common/controls/Signal.hpp"

namespace velloran::win32 {

using win::Narrow;
using win::Wide;

// A caption as a button or frame shows it: "&" is a mnemonic marker there, and
// the controls' captions carry none, so a literal one is doubled.
std::wstring ButtonText(const std::string& caption);

// Sizes are written for 96 dots per inch and scaled to the window's.
UINT DpiOf(HWND window);
inline int Scale(int value, UINT dpi) { return MulDiv(value, static_cast<int>(dpi), 96); }
// Makes the process per-monitor aware where the manifest has not already.
void EnablePerMonitorDpi();
// The system's message font at `dpi`; the caller deletes it.
HFONT MessageFont(UINT dpi, int weight = FW_NORMAL, int percent = 100);

// A state image list for list and tree views: state 1 clear, 2 ticked, 3 greyed.
// Drawn by hand into a 32-bit DIB section, because Wine draws the tree view's
// own check boxes empty whatever their state. A tree view shows state n with
// image n, a list view with image n - 1.
enum class CheckImageUse { TreeView, ListView };
HIMAGELIST CheckImages(UINT dpi, CheckImageUse use);
inline constexpr UINT kStateClear = 1, kStateTicked = 2, kStateGreyed = 3;

// Connections to control signals that end with the view: controls outlive views.
class Bindings {
public:
    Bindings() = default;
    Bindings(const Bindings&) = delete;
    Bindings& operator=(const Bindings&) = delete;
    ~Bindings() { Clear(); }

    template <class... Args>
    void On(Signal<Args...>& signal, std::function<void(Args...)> slot) {
        const int id = signal.Connect(std::move(slot));
        undo_.push_back([&signal, id] { signal.Disconnect(id); });
    }
    void Clear() {
        for (auto& u : undo_) u();
        undo_.clear();
    }

private:
    std::vector<std::function<void()>> undo_;
};

// Lets pending messages run, with the dialog keys of the window they belong to.
// Returns false when the quit message arrived.
bool PumpPending();
// Runs one message; false on the quit message, which it posts again for the
// loops further out.
bool PumpOne(const MSG& msg);

}  // namespace velloran::win32
