#pragma once
// Developer aid: grabs each page of the main window, the progress window after a
// run, the About box and the junk finder before and after a scan of a small
// made-up folder into PNG files, then ends the program.
#include <QString>

namespace velloran {
class Application;
}

namespace velloran::gui {

class MainView;
class QtHost;

// Starts the sequence once the event loop runs.
void ScheduleScreenshots(Application& app, MainView& view, QtHost& host, const QString& dir);

}  // namespace velloran::gui
