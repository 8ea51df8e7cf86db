#pragma once
// One front end for the Qt tests: the forms on the fake platform with a private
// home and configuration folder, a memory registry, message boxes answered and
// kept. Nothing of this machine (drives, windows, the user's own files) is read.
#include <QAbstractButton>
#include <QApplication>
#include <QCoreApplication>
#include <QTemporaryDir>
#include <QtTest>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "app/Application.hpp"
#include "app/FrmMain.hpp"
#include "common/Vb.hpp"
#include "common/platform/linux/LinuxPlatform.hpp"
#include "common/registry/RegistryTree.hpp"
#include "qt/Dispatch.hpp"
#include "qt/MainView.hpp"
#include "qt/QtHost.hpp"
#include "support/EnvGuard.hpp"
#include "support/FakePlatform.hpp"

namespace velloran::gui {

// A temporary home that the XDG folders point into for the rig's lifetime.
struct PrivateHome {
    QTemporaryDir dir;
    test::EnvGuard env;
    PrivateHome() {
        const std::string home = dir.path().toStdString();
        for (const char* sub : {"config", "data", "cache"})
            std::filesystem::create_directories(home + "/." + sub);
        env.Set("HOME", home.c_str());
        env.Set("XDG_CONFIG_HOME", (home + "/.config").c_str());
        env.Set("XDG_DATA_HOME", (home + "/.data").c_str());
        env.Set("XDG_CACHE_HOME", (home + "/.cache").c_str());
    }
    std::string Path() const { return dir.path().toStdString(); }
};

struct GuiRig {
    PrivateHome home;
    test::FakePlatform platform;
    // The files of a prefix, for a test that cleans a real one on disk.
    std::unique_ptr<LinuxPlatform> disk;
    MemoryStore registry;
    QtHost host;
    Application app{host, platform};
    std::vector<MessageRequest> messages;
    std::vector<std::string> reports;
    std::unique_ptr<MainView> view;

    // `prefix`: the Windows environment a run cleans, on disk; none by default.
    explicit GuiRig(const std::filesystem::path& prefix = {}) {
        platform.home = home.Path();
        platform.drives = {{"/", DRIVE_FIXED, "ext4", ""},
                           {"/media/usb", DRIVE_REMOVABLE, "vfat", ""}};
        if (!prefix.empty()) UsePrefix(prefix);
        app.SetRegistry(&registry);
        host.AnswerMessages = [this](const MessageRequest& m) {
            messages.push_back(m);
            return vbOK;
        };
        host.OnErrorReport = [this](const std::string& report, const std::string&) {
            reports.push_back(report);
        };
    }
    ~GuiRig() { view.reset(); }

    // Loads the main form and shows its window.
    MainView& ShowMain() {
        view = std::make_unique<MainView>(app.Main(), host);
        Dispatch([this] {
            app.Main().Form_Initialize();
            app.Main().Load();
        });
        view->show();
        QCoreApplication::processEvents();
        return *view;
    }

    FrmMain& Main() { return app.Main(); }
    template <class W = QWidget>
    W* Widget(const Control& c) {
        return qobject_cast<W*>(view->WidgetFor(c));
    }
    void Click(const Control& c) {
        QWidget* w = view->WidgetFor(c);
        QVERIFY2(w, c.Name().c_str());
        QTest::mouseClick(w, Qt::LeftButton, {}, QPoint(6, w->height() / 2));
    }

private:
    // File work goes to the prefix on disk; its folders are the ones the real
    // platform finds there.
    void UsePrefix(const std::filesystem::path& prefix) {
        disk = std::make_unique<LinuxPlatform>(Target{prefix, home.Path() + "/.config"});
        platform.realFiles = disk.get();
        platform.windowsDir = disk->WindowsDirectory();
        for (int csidl = 0; csidl < 0x40; ++csidl)
            if (auto path = disk->SpecialFolderPath(csidl)) platform.specialFolders[csidl] = *path;
    }
};

// Clicks `button` and, once a modal window of type `Dialog` shows (a window loads
// its lists before it shows), hands it to `check`, which must close it. False
// when no such window showed.
template <class Dialog, class Check>
bool CheckModalOpenedBy(QAbstractButton* button, Check check) {
    bool seen = false;
    QTimer poll;
    poll.setInterval(10);
    QObject::connect(&poll, &QTimer::timeout, [&] {
        auto* dialog = qobject_cast<Dialog*>(QApplication::activeModalWidget());
        if (!dialog || seen) return;
        seen = true;
        poll.stop();
        check(dialog);
    });
    poll.start();
    button->click();
    return seen;
}

}  // namespace velloran::gui
