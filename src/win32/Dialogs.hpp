#pragma once
// The views of the secondary windows: the progress window, the junk finder, the
// eradicator, the cookie manager, the About box, and the error report.
#include <memory>
#include <string>

#include "win32/View.hpp"

namespace velloran::win32 {

class Win32Host;

// Tells the host which view shows each secondary form.
void RegisterDialogViews(Win32Host& host);

// The error report to read or copy; it closes itself.
std::unique_ptr<View> MakeErrorReportView(const std::string& report, const std::string& savedPath,
                                          HWND owner);

}  // namespace velloran::win32
