// The junk finder's Qt view: the found-files model and the window opened from
// the main window, on the offscreen platform.
#include <QApplication>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTimer>
#include <QTreeView>
#include <QTreeWidget>
#include <QtTest>

#include "app/Application.hpp"
#include "app/FrmJunk.hpp"
#include "app/FrmMain.hpp"
#include "common/Vb.hpp"
#include "common/registry/RegistryTree.hpp"
#include "qt/Dispatch.hpp"
#include "qt/JunkDialog.hpp"
#include "qt/ListViewModel.hpp"
#include "qt/MainView.hpp"
#include "qt/QtHost.hpp"
#include "qt/Resources.hpp"

#include "GuiRig.hpp"

using namespace velloran;
using namespace velloran::gui;

class JunkDialogTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { InitResources(); }

    void modelFollowsManyRowsInBatches() {
        ListView lv("lvFiles");
        lv.AddColumn("Name");
        lv.AddColumn("Size");
        lv.AddColumn("Folder");
        lv.SetCheckboxes(true);
        QTreeView view;
        auto* model = new ListViewModel(lv, &view);
        view.setModel(model);
        view.setUniformRowHeights(true);
        view.resize(400, 300);
        view.show();
        QSignalSpy inserted(model, &QAbstractItemModel::rowsInserted);
        QSignalSpy fits(model, &ListViewModel::FitColumnRequested);

        constexpr int kRows = 100000;
        for (int i = 0; i < kRows; ++i) {
            const int row =
                lv.Add({}, "f" + std::to_string(i), {std::to_string(i) + " Bytes", "/d/"});
            lv.SetChecked(row, true);
            lv.SetColumnWidth(2, -2);
        }
        QCOMPARE(model->rowCount(), 0);  // announced with the next turn of the loop
        QCoreApplication::processEvents();
        QCOMPARE(model->rowCount(), kRows);
        QCOMPARE(inserted.count(), 1);
        QCOMPARE(fits.count(), 1);
        QCOMPARE(model->data(model->index(kRows - 1, 0), Qt::DisplayRole).toString(),
                 QString("f99999"));
        QCOMPARE(model->data(model->index(kRows - 1, 1), Qt::DisplayRole).toString(),
                 QString("99999 Bytes"));
        QCOMPARE(model->data(model->index(5, 0), Qt::CheckStateRole).toInt(), int(Qt::Checked));
        QCOMPARE(model->headerData(2, Qt::Horizontal, Qt::DisplayRole).toString(),
                 QString("Folder"));

        // A check box click goes to the control; the control's change comes back.
        QVERIFY(model->setData(model->index(7, 0), Qt::Unchecked, Qt::CheckStateRole));
        QVERIFY(!lv.Row(7).checked);
        QSignalSpy changed(model, &QAbstractItemModel::dataChanged);
        lv.SetChecked(3, false);
        QCoreApplication::processEvents();
        QVERIFY(changed.count() >= 1);
        QCOMPARE(model->data(model->index(3, 0), Qt::CheckStateRole).toInt(), int(Qt::Unchecked));

        // Removal of an announced row and of one still pending.
        lv.Remove(0);
        QCOMPARE(model->rowCount(), kRows - 1);
        QCOMPARE(model->data(model->index(0, 0), Qt::DisplayRole).toString(), QString("f1"));
        lv.Add({}, "late");
        lv.Remove(lv.Count() - 1);
        QCoreApplication::processEvents();
        QCOMPARE(model->rowCount(), lv.Count());
        lv.Clear();
        QCOMPARE(model->rowCount(), 0);
    }

    void junkWindowOpensFromTheMainWindowButton() {
        GuiRig rig;
        Application& app = rig.app;
        MainView& view = rig.ShowMain();

        auto* button = qobject_cast<QAbstractButton*>(view.WidgetFor(app.Main().cmdjunk));
        QVERIFY(button);
        QVERIFY(button->isEnabled());
        QVERIFY(CheckModalOpenedBy<JunkDialog>(button, [&](JunkDialog* dialog) {
            QCOMPARE(dialog->windowTitle(), QString("Junk Files"));
            QCOMPARE(dialog->parentWidget(), &view);
            QCOMPARE(dialog->Tabs()->tabText(0), QString("Filters"));
            QCOMPARE(dialog->Tabs()->tabText(1), QString("Files Found"));
            QVERIFY(dialog->Filters()->model()->rowCount() > 10);
            QCOMPARE(dialog->Filters()->model()->rowCount(), app.Junk().lvFilters.Count());
            QCOMPARE(dialog->Drives()->topLevelItemCount(), app.Junk().tvDrives.Count());
            dialog->findChild<QPushButton*>("cmdExit")->click();
        }));
        QVERIFY(!app.Junk().IsLoaded());
    }
};

QTEST_MAIN(JunkDialogTest)
#include "JunkDialogTest.moc"
