// velloran: the Qt front end.
#include <QApplication>
#include <QStringList>

#include "app/Application.hpp"
#include "app/FrmMain.hpp"
#include "common/Target.hpp"
#include "common/platform/linux/LinuxPlatform.hpp"
#include "qt/Dispatch.hpp"
#include "qt/MainView.hpp"
#include "qt/QtHost.hpp"
#include "qt/Resources.hpp"
#include "qt/Screenshots.hpp"

int main(int argc, char** argv) {
    using namespace velloran;
    using namespace velloran::gui;

    QApplication qapp(argc, argv);
    QApplication::setApplicationName("velloran");
    QApplication::setDesktopFileName("velloran");
    // Only the main window's form ends the program.
    QApplication::setQuitOnLastWindowClosed(false);
    InitResources();

    QStringList args = QCoreApplication::arguments().mid(1);
    QString screenshotDir;
    if (const auto at = args.indexOf("--screenshot"); at >= 0 && at + 1 < args.size()) {
        screenshotDir = args[at + 1];
        args.remove(at, 2);
    }

    const Target target = SelectTarget();
    LinuxPlatform platform(target);
    QtHost host;
    Application app(host, platform);
    app.CommandLine = args.join(' ').toStdString();
    app.TargetDescription = target.Describe();

    FrmMain& main = app.Main();
    MainView view(main, host);
    Dispatch([&main] {
        main.Form_Initialize();
        main.Load();
    });
    if (Ending()) return EndCode();

    view.show();
    if (!screenshotDir.isEmpty()) ScheduleScreenshots(app, view, host, screenshotDir);
    const int rc = QApplication::exec();
    return Ending() ? EndCode() : rc;
}
