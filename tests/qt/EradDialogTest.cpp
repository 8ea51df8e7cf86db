// The eradicator's Qt view on the offscreen platform: drops from a file manager
// and the selection that Remove acts on.
#include <QApplication>
#include <QMimeData>
#include <QTemporaryDir>
#include <QTreeView>
#include <QUrl>
#include <QtTest>
#include <fstream>

#include "app/Application.hpp"
#include "app/FrmMain.hpp"
#include "app/frmErad.hpp"
#include "common/registry/RegistryTree.hpp"
#include "qt/Dispatch.hpp"
#include "qt/EradDialog.hpp"
#include "qt/QtHost.hpp"
#include "qt/Resources.hpp"

#include "GuiRig.hpp"

using namespace velloran;
using namespace velloran::gui;

class EradDialogTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { InitResources(); }

    void dropsLandInTheRightListAndRemoveTakesTheSelectedRow() {
        QTemporaryDir files;
        const QString folder = files.filePath("a folder");
        QDir().mkpath(folder);
        const QString file = files.filePath("notes.txt");
        std::ofstream(file.toStdString()) << "x";

        GuiRig rig;
        rig.platform.dirs.insert(folder.toStdString());
        rig.platform.files.insert(file.toStdString());
        Application& app = rig.app;
        frmErad& erad = app.Erad();
        Dispatch([&] { erad.Load(); });
        EradDialog dialog(erad, nullptr);
        dialog.show();

        auto drop = [&](QTreeView* list, const QList<QUrl>& urls) {
            QMimeData data;
            data.setUrls(urls);
            QWidget* target = list->viewport();
            const QPoint at(10, 10);
            QDragEnterEvent enter(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(target, &enter);
            QVERIFY(enter.isAccepted());
            QDropEvent dropped(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(target, &dropped);
            QVERIFY(dropped.isAccepted());
            QCoreApplication::processEvents();
        };
        // A folder and a file dropped on the file list: each goes to its own list.
        drop(dialog.Files(), {QUrl::fromLocalFile(folder), QUrl::fromLocalFile(file)});
        QCOMPARE(erad.lviewF.Count(), 1);
        QCOMPARE(erad.lview.Count(), 1);
        QCOMPARE(QString::fromStdString(erad.lviewF.Row(0).key), folder);
        QCOMPARE(dialog.Folders()->model()->rowCount(), 1);

        drop(dialog.Folders(), {QUrl::fromLocalFile(file)});
        QCOMPARE(erad.lview.Count(), 1);
        QCOMPARE(rig.messages.size(), size_t{1});
        QCOMPARE(rig.messages[0].prompt, std::string("File or Folder already exist in the list!"));

        // Text that is no file list is not taken.
        QMimeData text;
        text.setText("just words");
        QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &text, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(dialog.Files()->viewport(), &enter);
        QVERIFY(!enter.isAccepted());

        dialog.Folders()->setCurrentIndex(dialog.Folders()->model()->index(0, 0));
        QCoreApplication::processEvents();
        Dispatch([&] { erad.cmdremovef.UserClick(); });
        QCOMPARE(erad.lviewF.Count(), 0);
    }
};

QTEST_MAIN(EradDialogTest)
#include "EradDialogTest.moc"
