#include "qt/Screenshots.hpp"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProgressBar>
#include <QTemporaryDir>
#include <QTimer>
#include <QWidget>
#include <functional>
#include <iostream>
#include <memory>

#include "app/Application.hpp"
#include "app/FrmJunk.hpp"
#include "app/FrmMain.hpp"
#include "app/frmErad.hpp"
#include "common/Vb.hpp"
#include "qt/CleanerDialog.hpp"
#include "qt/CookiesDialog.hpp"
#include "qt/Dispatch.hpp"
#include "qt/EradDialog.hpp"
#include "qt/JunkDialog.hpp"
#include "qt/ListViewModel.hpp"
#include "qt/MainView.hpp"
#include "qt/QtHost.hpp"

namespace velloran::gui {

namespace {

void Save(QWidget* widget, const QString& dir, const QString& name) {
    QCoreApplication::processEvents();
    const QString path = QDir(dir).filePath(name);
    if (!widget->grab().save(path)) std::cerr << "could not write " << path.toStdString() << '\n';
}

// Polls until `ready` answers a widget, then hands it to `then`; modal loops keep
// the timer running.
void WhenReady(std::function<QWidget*()> ready, std::function<void(QWidget*)> then,
               int triesLeft = 200) {
    QTimer::singleShot(50, [ready = std::move(ready), then = std::move(then), triesLeft]() mutable {
        if (QWidget* w = ready()) {
            then(w);
        } else if (triesLeft > 0) {
            WhenReady(std::move(ready), std::move(then), triesLeft - 1);
        } else {
            std::cerr << "screenshot: window did not appear\n";
            BeginEnd(1);
        }
    });
}

// A small folder of junk for the finder to list.
std::string MakeJunkFolder() {
    auto* dir = new QTemporaryDir(QDir::temp().filePath("velloran-shot-XXXXXX"));
    dir->setAutoRemove(true);
    QObject::connect(qApp, &QCoreApplication::aboutToQuit, [dir] { delete dir; });
    const char* files[] = {"notes.txt",
                           "report.doc.bak",
                           "~$report.doc",
                           "setup.log",
                           "cache/thumbnails/normal/3f1a.png",
                           "tmp/build.log",
                           "tmp/x1.tmp",
                           "projects/app/main.cpp.orig",
                           "projects/app/main.cpp~",
                           "projects/app/.main.cpp.swp",
                           "Downloads/iso-image.part",
                           "Downloads/photo.jpg",
                           "Thumbs.db"};
    int n = 0;
    for (const char* name : files) {
        const QString path = QDir(dir->path()).filePath(QString::fromLatin1(name));
        QDir().mkpath(QFileInfo(path).path());
        QFile f(path);
        ++n;
        if (f.open(QIODevice::WriteOnly)) f.write(QByteArray(1000 * n * n, 'x'));
    }
    QDir().mkpath(QDir(dir->path()).filePath("cache/thumbnails/normal"));
    return dir->path().toStdString();
}

// The cookie manager as it opens on this machine's browsers, the last window shown.
void CookiesScreenshots(MainView& view, FrmMain& main, const QString& dir) {
    WhenReady([] { return qobject_cast<CookiesDialog*>(QApplication::activeModalWidget()); },
              [&view, dir](QWidget* w) {
                  Save(w, dir, "screenshot-cookies.png");
                  w->close();
                  QTimer::singleShot(0, [&view] { view.close(); });
              });
    Dispatch([&main] { main.cmdMCookies.UserClick(); });
}

// The eradicator with a few files and a folder gathered.
void EradScreenshots(Application& app, MainView& view, FrmMain& main, const QString& dir) {
    WhenReady([] { return qobject_cast<EradDialog*>(QApplication::activeModalWidget()); },
              [&app, &view, &main, dir](QWidget* w) {
                  frmErad& erad = app.Erad();
                  const std::string folder = MakeJunkFolder();
                  Dispatch([&erad, &folder] {
                      erad.DropFiles({folder + "/notes.txt", folder + "/report.doc.bak",
                                      folder + "/Downloads/photo.jpg", folder + "/cache",
                                      folder + "/tmp"});
                  });
                  Save(w, dir, "screenshot-eradicator.png");
                  w->close();
                  QTimer::singleShot(0,
                                     [&view, &main, dir] { CookiesScreenshots(view, main, dir); });
              });
    Dispatch([&main] { main.cmderad.UserClick(); });
}

// The junk finder: its filters and drives, then a scan of a small folder.
void JunkScreenshots(Application& app, MainView& view, FrmMain& main, const QString& dir) {
    WhenReady([] { return qobject_cast<JunkDialog*>(QApplication::activeModalWidget()); },
              [&app, &view, &main, dir](QWidget* w) {
                  auto* dialog = static_cast<JunkDialog*>(w);
                  FrmJunk& junk = app.Junk();
                  const std::string folder = MakeJunkFolder();
                  Dispatch([&junk, &folder] {
                      for (int i = 0; i < junk.tvDrives.Count(); ++i)
                          junk.tvDrives.SetChecked(i, false);
                      junk.tvDrives.SetChecked(junk.tvDrives.Add({}, folder, folder), true);
                  });
                  Save(dialog, dir, "screenshot-junk-filters.png");
                  Dispatch([&junk] { junk.cmdFind.UserClick(); });
                  dialog->FilesModel()->Flush();
                  Save(dialog, dir, "screenshot-junk-files.png");
                  dialog->close();
                  QTimer::singleShot(
                      0, [&app, &view, &main, dir] { EradScreenshots(app, view, main, dir); });
              });
    Dispatch([&main] { main.cmdjunk.UserClick(); });
}

}  // namespace

void ScheduleScreenshots(Application& app, MainView& view, QtHost& host, const QString& dir) {
    QDir().mkpath(dir);
    // Message boxes are answered as a user would, so the run goes to its end.
    host.AnswerMessages = [](const MessageRequest&) { return vbOK; };
    FrmMain& main = app.Main();

    QTimer::singleShot(300, [&app, &view, &main, dir] {
        const std::pair<PictureBox*, const char*> pages[] = {
            {&main.Picture1, "screenshot-main-windows.png"},
            {&main.Picture2, "screenshot-main-otherbrowsers.png"},
            {&main.Picture3, "screenshot-main-ie.png"},
            {&main.Picture8, "screenshot-main-programs.png"},
            {&main.Picture4, "screenshot-main-settings.png"},
        };
        // A realistic selection: a few tasks ticked, secure delete chosen.
        Dispatch([&main] {
            for (int i : {11, 13, 1, 5, 6, 9}) main.win_chk(i).UserClick();
            main.ie_Chks.UserClick();
            for (int i : {7, 8}) main.oprg_chk(i).UserClick();
            main.stChk(Option::SecureDelete).UserClick();
        });
        for (auto [picture, file] : pages) {
            Dispatch([picture] { picture->UserClick(); });
            Save(&view, dir, file);
        }
        // The run itself sticks to registry traces, which go to a throw-away store.
        Dispatch([&main] {
            main.Picture1.UserClick();
            main.win_chk(6).UserClick();
            main.win_chk(9).UserClick();
            main.ie_Chks.UserClick();
            for (int i : {7, 8}) main.oprg_chk(i).UserClick();
        });

        // The About box, then a run in the progress window.
        WhenReady([] { return QApplication::activeModalWidget(); },
                  [dir](QWidget* about) {
                      Save(about, dir, "screenshot-about.png");
                      about->close();
                  });
        Dispatch([&main] { main.Picture7.UserClick(); });

        WhenReady(
            [] {
                auto* dialog = qobject_cast<CleanerDialog*>(QApplication::activeModalWidget());
                return dialog && dialog->Bar()->text() == "Completed All Jobs" ? dialog : nullptr;
            },
            [&app, &view, &main, dir](QWidget* progress) {
                Save(progress, dir, "screenshot-progress.png");
                progress->close();
                QTimer::singleShot(
                    0, [&app, &view, &main, dir] { JunkScreenshots(app, view, main, dir); });
            });
        Dispatch([&main] { main.cmdClean.UserClick(); });
        (void)app;
    });
}

}  // namespace velloran::gui
