// The cookie manager's Qt view on the offscreen platform: it opens from the main
// window's button, ticks and moves rows through the form, and closes by Close.
#include <QApplication>
#include <QCheckBox>
#include <QPushButton>
#include <QTimer>
#include <QTreeView>
#include <QtTest>

#include "app/Application.hpp"
#include "app/FrmCookies.hpp"
#include "app/FrmMain.hpp"
#include "qt/CookiesDialog.hpp"
#include "qt/Dispatch.hpp"
#include "qt/MainView.hpp"
#include "qt/Resources.hpp"

#include "GuiRig.hpp"

using namespace velloran;
using namespace velloran::gui;

class CookiesDialogTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { InitResources(); }

    void opensFromManageCookiesAndMovesTickedRows() {
        GuiRig rig;
        rig.platform.specialFolders[CSIDL_COOKIES] = "/prefix/cookies";
        for (const char* name : {"bob@a.test[1].txt", "bob@b.test[1].txt", "X1Y2Z3.txt"})
            rig.platform.files.insert(std::string("/prefix/cookies/") + name);
        Application& app = rig.app;
        MainView& view = rig.ShowMain();
        auto* button = qobject_cast<QAbstractButton*>(view.WidgetFor(app.Main().cmdMCookies));
        QVERIFY(button);
        QVERIFY(button->isEnabled());

        QVERIFY(CheckModalOpenedBy<CookiesDialog>(button, [&](CookiesDialog* dialog) {
            FrmCookies& form = app.Cookies();
            QCOMPARE(dialog->windowTitle(), QString("Manage Cookies - 3 Cookies..."));
            QAbstractItemModel* del = dialog->DeleteList()->model();
            QCOMPARE(del->rowCount(), 2);
            QCOMPARE(del->headerData(1, Qt::Horizontal).toString(), QString("Browser / profile"));
            // A tick in the view reaches the form; Keep >> moves that row only.
            QVERIFY(del->setData(del->index(1, 0), Qt::Checked, Qt::CheckStateRole));
            QVERIFY(form.lvDelete.Row(1).checked);
            dialog->findChild<QPushButton*>("Command1")->click();
            QCoreApplication::processEvents();
            QCOMPARE(del->rowCount(), 1);
            QCOMPARE(dialog->KeepList()->model()->rowCount(), 1);
            // Select All of the keep list ticks its rows in the view too.
            dialog->findChild<QCheckBox*>("Check2")->click();
            QCoreApplication::processEvents();
            QCOMPARE(dialog->KeepList()
                         ->model()
                         ->data(dialog->KeepList()->model()->index(0, 0), Qt::CheckStateRole)
                         .toInt(),
                     int(Qt::Checked));
            dialog->findChild<QPushButton*>("cmdExit")->click();
        }));
        QVERIFY(!app.Cookies().IsLoaded());
        // Closing stored the kept site for the next opening and every cookie clean.
        QCOMPARE(QString::fromStdString(
                     rig.platform.texts[rig.home.Path() + "/.config/velloran/cookies-keep.txt"])
                     .contains("\nb.test\n"),
                 true);
    }
};

QTEST_MAIN(CookiesDialogTest)
#include "CookiesDialogTest.moc"
