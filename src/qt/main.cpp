// velloran: the Qt front end.
#include <QApplication>
#include <QClipboard>
#include <QGuiApplication>
#include <QMessageBox>
#include <QStringList>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>

#include "app/Application.hpp"
#include "app/ConsoleSession.hpp"
#include "app/FrmMain.hpp"
#include "app/Version.hpp"
#include "cleaning/StartupDelete.hpp"
#include "common/Target.hpp"
#include "common/VbError.hpp"
#include "common/platform/linux/LinuxPlatform.hpp"
#include "common/registry/OpenStore.hpp"
#include "common/registry/RegistryTree.hpp"
#include "qt/Dispatch.hpp"
#include "qt/MainView.hpp"
#include "qt/QtHost.hpp"
#include "qt/Resources.hpp"
#include "qt/Screenshots.hpp"

int main(int argc, char** argv) {
    using namespace velloran;
    using namespace velloran::gui;

    // Decided before the toolkit starts: the autostart entry may run before the
    // session's display is ready, and neither answer needs a window.
    if (argc == 2 && std::strcmp(argv[1], kStartupDeleteSwitch) == 0) return RunStartupDelete();
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        std::cout << VersionLine("velloran") << '\n';
        return 0;
    }

    // Without a display the toolkit aborts with a core dump; say what to use instead.
    const auto unset = [](const char* name) {
        const char* value = std::getenv(name);
        return value == nullptr || *value == '\0';
    };
    if (unset("DISPLAY") && unset("WAYLAND_DISPLAY") && unset("QT_QPA_PLATFORM")) {
        std::cerr << "velloran: no display found (DISPLAY and WAYLAND_DISPLAY are not set); "
                     "velloran-cli works without one\n";
        return 1;
    }

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
    // Screenshots run a real clean; its registry changes must go nowhere.
    std::unique_ptr<RegistryStore> store;
    std::unique_ptr<RegistryStore> settings;
    if (screenshotDir.isEmpty()) {
        try {
            store = OpenRegistryStore(target);
            settings = OpenSettingsStore(target);
        } catch (const VbError& e) {
            QMessageBox::critical(nullptr, "Velloran",
                                  QString::fromStdString("The registry of " + target.Describe() +
                                                         " cannot be read:\n" + e.Description()));
            return 1;
        }
    } else {
        store = std::make_unique<MemoryStore>();
    }
    LinuxPlatform platform(target);
    // The toolkit owns the clipboard while it runs, on X11 and Wayland alike.
    platform.clipboardClearer = [] { QGuiApplication::clipboard()->clear(); };
    QtHost host;
    Application app(host, platform);
    app.SetRegistry(store.get());
    app.SetSettingsRegistry(settings.get());
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
