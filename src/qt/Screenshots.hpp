#pragma once
// Developer aid: grabs each page of the main window, the progress window after a
// run and the About box into PNG files, then ends the program.
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
