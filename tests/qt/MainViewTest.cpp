// The Qt views driven through their widgets on the offscreen platform.
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>
#include <filesystem>
#include <functional>
#include <memory>

#include "GuiRig.hpp"
#include "app/Application.hpp"
#include "app/FrmCleaner.hpp"
#include "app/FrmMain.hpp"
#include "common/Vb.hpp"
#include "common/platform/linux/LinuxPlatform.hpp"
#include "common/registry/RegistryTree.hpp"
#include "common/registry/WinePrefixStore.hpp"
#include "qt/CleanerDialog.hpp"
#include "qt/Dispatch.hpp"
#include "qt/ErrorReportDialog.hpp"
#include "qt/FormDialog.hpp"
#include "qt/MainView.hpp"
#include "qt/Mirror.hpp"
#include "qt/QtHost.hpp"
#include "qt/Resources.hpp"

using namespace velloran;
using namespace velloran::gui;

namespace {

// The main window shown over the shared rig.
struct Rig : GuiRig {
    explicit Rig(const std::filesystem::path& prefix = {}) : GuiRig(prefix) { ShowMain(); }
};

// Runs `step` on every modal window that shows up until it answers true.
void OnModal(std::function<bool(QWidget*)> step) {
    auto* timer = new QTimer;
    timer->setInterval(10);
    QObject::connect(timer, &QTimer::timeout, [timer, step = std::move(step)] {
        QWidget* modal = QApplication::activeModalWidget();
        if (modal && step(modal)) {
            timer->stop();
            timer->deleteLater();
        }
    });
    timer->start();
}

// Ends the program from its activation, as a run that exits when done does.
struct EndingForm : Form {
    explicit EndingForm(QtHost& h) : Form(h, "EndingForm"), host(h) {}
    QtHost& host;
    int activations = 0;
    bool shownWhenActivated = false;

protected:
    void Form_Activate() override {
        ++activations;
        FormDialog* view = host.DialogOf(*this);
        shownWhenActivated = view && view->isVisible();
        EndProgram(5);
    }
};

}  // namespace

class MainViewTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { InitResources(); }

    void mainWindowHasTheFormsFixedSize() {
        Rig rig;
        const QSize outer = rig.view->OuterSizeForForm();
        if (rig.view->logicalDpiX() == 96 && rig.view->logicalDpiY() == 96)
            QCOMPARE(outer, QSize(533, 467));
        // The form's size is the outer one, title bar and borders included.
        QCOMPARE(rig.view->frameGeometry().size(), outer);
        rig.view->resize(800, 600);
        QCoreApplication::processEvents();
        QCOMPARE(rig.view->frameGeometry().size(), outer);
        rig.view->showMaximized();
        QCoreApplication::processEvents();
        QCOMPARE(rig.Main().WindowState(), int(vbNormal));
        QVERIFY(!rig.view->isMaximized());
        QCOMPARE(rig.view->frameGeometry().size(), outer);
        QCOMPARE(rig.view->windowTitle(), QString("Velloran"));
        QCOMPARE(rig.view->findChild<QLabel*>("sBar.Panel(6)")->text(), QString("Windows --"));
    }

    void pageButtonsBringTheirPageToTheFront() {
        Rig rig;
        FrmMain& m = rig.Main();
        QCOMPARE(rig.view->PageStack()->currentWidget(), rig.view->WidgetFor(m.frameWin));
        const struct {
            PictureBox* picture;
            Frame* page;
            int tab;
            const char* caption;
        } cases[] = {{&m.Picture2, &m.frameOTH, 1, "Other Browsers"},
                     {&m.Picture3, &m.FrameIE, 2, "Internet Explorer"},
                     {&m.Picture8, &m.FramePG, 4, "Programs"},
                     {&m.Picture4, &m.FrameST, 5, "Settings"},
                     {&m.Picture1, &m.frameWin, 0, "Windows"}};
        for (const auto& c : cases) {
            rig.Click(*c.picture);
            QCOMPARE(&m.FrontPage(), c.page);
            QCOMPARE(rig.view->PageStack()->currentWidget(), rig.view->WidgetFor(*c.page));
            auto* tabs = rig.Widget<QTabWidget>(m.sTab(c.tab));
            QCOMPARE(tabs->count(), 1);
            QCOMPARE(tabs->tabText(0), QString(c.caption));
            // Only the button of the front page is marked.
            for (PictureBox* p : {&m.Picture1, &m.Picture2, &m.Picture3, &m.Picture4, &m.Picture8})
                QCOMPARE(rig.Widget<QAbstractButton>(*p)->isChecked(), p == c.picture);
        }
    }

    void selectAllTicksTheMembersAndBoxesKeepCatalogueOrder() {
        Rig rig;
        FrmMain& m = rig.Main();
        rig.Click(m.win_chks);
        for (int i = 1; i <= 13; ++i) {
            QCOMPARE(m.win_chk(i).Value(), 1);
            QVERIFY(rig.Widget<QCheckBox>(m.win_chk(i))->isChecked());
        }
        // A member does not pull its Select All box along.
        rig.Click(m.win_chk(4));
        QCOMPARE(m.win_chk(4).Value(), 0);
        QVERIFY(!rig.Widget<QCheckBox>(m.win_chk(4))->isChecked());
        QVERIFY(rig.Widget<QCheckBox>(m.win_chks)->isChecked());
        // A value set by program shows too.
        Dispatch([&m] { m.oprg_chk(13).SetValue(1); });
        QVERIFY(rig.Widget<QCheckBox>(m.oprg_chk(13))->isChecked());

        // Captions as the controls hold them, in the page's order.
        auto* group = rig.view->WidgetFor(m.fraWinSystem);
        QList<QCheckBox*> boxes = group->findChildren<QCheckBox*>();
        QCOMPARE(boxes.size(), 14);
        QCOMPARE(boxes[0]->text(), QString(" Select All"));
        QCOMPARE(boxes[1]->objectName(), QString("win_chk(11)"));
        QCOMPARE(boxes[1]->text(), QString(" Erase Find Files/Folder History"));
        QCOMPARE(boxes[2]->objectName(), QString("win_chk(13)"));
    }

    void secureDeleteControlsTheDeleteMethodList() {
        Rig rig;
        FrmMain& m = rig.Main();
        rig.Click(m.Picture4);
        auto* combo = rig.Widget<QComboBox>(m.cmbsDelType);
        QCOMPARE(combo->count(), 3);
        QCOMPARE(combo->itemText(1), QString("Guttmann Scheme [Supreme, Fast]"));
        QVERIFY(!combo->isEnabled());

        rig.Click(m.stChk(Option::SecureDelete));
        QVERIFY(combo->isEnabled());
        QCOMPARE(combo->palette().color(QPalette::Base), QColor(Qt::white));
        QVERIFY(rig.Widget<QCheckBox>(m.stChk(Option::SecureDelete))->isChecked());

        emit combo->activated(2);
        QCOMPARE(m.cmbsDelType.ListIndex(), 2);
        QCOMPARE(combo->currentIndex(), 2);

        // The recycle bin excludes secure delete and greys the list out again.
        rig.Click(m.stChk(Option::RecycleBin));
        QVERIFY(rig.Widget<QCheckBox>(m.stChk(Option::RecycleBin))->isChecked());
        QVERIFY(!rig.Widget<QCheckBox>(m.stChk(Option::SecureDelete))->isChecked());
        QVERIFY(!combo->isEnabled());
        QCOMPARE(combo->palette().color(QPalette::Disabled, QPalette::Base),
                 ToQColor(kSysColorInactiveBorder, QApplication::palette()));

        rig.Click(m.stChk(Option::Restart));
        rig.Click(m.stChk(Option::ExitWhenDone));
        QVERIFY(rig.Widget<QCheckBox>(m.stChk(Option::ExitWhenDone))->isChecked());
        QVERIFY(!rig.Widget<QCheckBox>(m.stChk(Option::Restart))->isChecked());
    }

    void cleanWithNothingTickedOnlyTellsTheUser() {
        Rig rig;
        rig.Click(rig.Main().stChk(Option::NoNotify));  // options alone are not tasks
        rig.Click(rig.Main().cmdClean);
        QCOMPARE(rig.messages.size(), std::size_t(1));
        QCOMPARE(rig.messages[0].prompt,
                 std::string("Nothing to do, Please select a task by selecting the white boxes."));
        QCOMPARE(rig.messages[0].style, int(vbInformation));
        QVERIFY(!rig.app.CleanerLoaded());
        QVERIFY(!QApplication::activeModalWidget());
    }

    void cleanRunsInTheProgressWindow() {
        Rig rig;
        FrmMain& m = rig.Main();
        rig.Click(m.win_chk(5));
        QString log, caption;
        int value = -1, maximum = -2;
        bool ownerBlocked = false;
        OnModal([&](QWidget* modal) {
            auto* dialog = qobject_cast<CleanerDialog*>(modal);
            if (!dialog || dialog->Bar()->text() != "Completed All Jobs") return false;
            log = dialog->Log()->toPlainText();
            caption = dialog->Bar()->text();
            value = dialog->Bar()->value();
            maximum = dialog->Bar()->maximum();
            ownerBlocked = dialog->isModal() && dialog->parentWidget() == rig.view.get();
            dialog->close();  // the title-bar button
            return true;
        });
        rig.Click(m.cmdClean);

        QVERIFY(log.startsWith("Current User: "));
        QVERIFY(log.contains("\nWindows Type: Microsoft Windows --\nWindows Directory: "));
        QVERIFY(!log.contains('\r'));
        QCOMPARE(caption, QString("Completed All Jobs"));
        QCOMPARE(value, maximum);
        QVERIFY(ownerBlocked);
        QCOMPARE(rig.messages.size(), std::size_t(1));
        QCOMPARE(rig.messages[0].prompt, std::string("Selected Task(s) completed successfully."));
        // Closing by the title bar unloaded the form and raised the stop flag.
        QVERIFY(!rig.app.CleanerLoaded());
        QCOMPARE(rig.app.StopRequested, vbTrue);
        QVERIFY(!rig.host.DialogOf(rig.app.Cleaner()));
        QVERIFY(rig.reports.empty());
        QVERIFY(!Ending());
    }

    // The cache box on a prefix made from the IE fixtures: while the cache is
    // emptied the bar names the folder. VELLORAN_SHOT_DIR keeps a picture of it.
    void ieCacheRunShowsTheFolderInTheBar() {
        namespace fs = std::filesystem;
        QTemporaryDir dir;
        const fs::path prefix = fs::path(dir.path().toStdString()) / "prefix";
        const fs::path fixture = fs::path(VELLORAN_TEST_DATADIR) / "ie" / "prefix";
        const fs::path windows =
            prefix / "drive_c" / "users" / "tester" / "AppData" / "Local" / "Microsoft" / "Windows";
        fs::create_directories(windows);
        fs::create_directories(prefix / "dosdevices");
        fs::create_directories(prefix / "servers");
        fs::create_symlink("../drive_c", prefix / "dosdevices" / "c:");
        fs::copy_file(fixture / "user.reg", prefix / "user.reg");
        fs::copy(fixture / "profile", windows, fs::copy_options::recursive);
        WinePrefixStore::Options options;
        options.serverSearchRoots = {prefix / "servers"};
        WinePrefixStore registry(prefix, options);

        Rig rig(prefix);
        rig.app.SetRegistry(&registry);
        rig.Click(rig.Main().Picture3);
        rig.Click(rig.Main().ie_Chk(6));
        QStringList captions;
        const QString shotDir = qEnvironmentVariable("VELLORAN_SHOT_DIR");
        // Looks at every pump of the run (the cache walk pumps after each folder).
        QTimer poll;
        poll.setInterval(0);
        QObject::connect(&poll, &QTimer::timeout, [&] {
            auto* dialog = qobject_cast<CleanerDialog*>(QApplication::activeModalWidget());
            if (!dialog) return;
            const QString text = dialog->Bar()->text();
            if (captions.isEmpty() || captions.back() != text) {
                captions << text;
                if (!shotDir.isEmpty() && text.startsWith("Deleting temp/cache files in"))
                    dialog->grab().save(QDir(shotDir).filePath("screenshot-ie-cache.png"));
            }
            if (text == "Completed All Jobs") dialog->close();
        });
        poll.start();
        rig.Click(rig.Main().cmdClean);
        poll.stop();

        const fs::path cache = windows / "INetCache" / "Content.IE5";
        QVERIFY2(captions.filter("Deleting temp/cache files in \"" +
                                 QString::fromStdString(cache.string()))
                         .size() >= 1,
                 qPrintable(captions.join(" | ")));
        for (const auto& e : fs::recursive_directory_iterator(cache))
            QVERIFY2(!e.is_regular_file(), e.path().c_str());
        QVERIFY(rig.reports.empty());
    }

    void progressViewMirrorsBarAndLog() {
        Rig rig;
        FrmCleaner& cleaner = rig.app.Cleaner();
        cleaner.Load();
        CleanerDialog dialog(cleaner, rig.view.get());
        QCOMPARE(dialog.Bar()->text(), QString("Loading libraries..."));
        // The position may run past the group's count: the bar shows full.
        cleaner.cs_Progress("Erasing 100% of it", 3, 7);
        QCOMPARE(dialog.Bar()->value(), dialog.Bar()->maximum());
        QCOMPARE(dialog.Bar()->text(), QString("Erasing 100% of it"));
        cleaner.cs_Progress("Deleting %p%v.tmp", 3, 1);
        QCOMPARE(dialog.Bar()->text(), QString("Deleting %p%v.tmp"));
        // A maximum of 0 must not turn the bar into a busy indicator.
        cleaner.cs_Progress("x", 0, 0);
        QVERIFY(dialog.Bar()->maximum() > dialog.Bar()->minimum());
        QCOMPARE(dialog.Bar()->value(), 0);

        cleaner.txtprogress.SetText("one\r\ntwo");
        cleaner.txtprogress.AppendLine("three");
        cleaner.txtprogress.SetEnabled(false);
        cleaner.txtprogress.SetEnabled(true);
        cleaner.txtprogress.AppendLine("four");
        QCOMPARE(dialog.Log()->toPlainText(), QString("one\ntwo\nthree\nfour"));
        QVERIFY(dialog.Log()->isReadOnly());
        cleaner.txtprogress.SetText("new");
        QCOMPARE(dialog.Log()->toPlainText(), QString("new"));

        QTest::mouseClick(dialog.CancelButton(), Qt::LeftButton);
        QVERIFY(!cleaner.IsLoaded());
        QCOMPARE(rig.app.StopRequested, vbTrue);
    }

    void endingInsideTheProgressWindowUnwindsEveryLoop() {
        {
            Rig rig;
            FrmMain& m = rig.Main();
            rig.Click(m.win_chk(1));
            rig.Click(m.stChk(Option::ExitWhenDone));  // exit when done: the run ends the program
            rig.Click(m.cmdClean);
            QVERIFY(Ending());
            QCOMPARE(EndCode(), 0);
            QVERIFY(!m.IsLoaded());
            QVERIFY(!rig.app.CleanerLoaded());
            QVERIFY(!rig.view->isVisible());
            QVERIFY(!QApplication::activeModalWidget());
            // Input after the end reaches nothing.
            bool ran = false;
            Dispatch([&ran] { ran = true; });
            QVERIFY(!ran);
        }
        ResetEnding();
        {
            Rig rig;
            rig.view->close();  // the title-bar button
            QVERIFY(Ending());
            QCOMPARE(EndCode(), 0);
            QVERIFY(!rig.Main().IsLoaded());
        }
        ResetEnding();
        {
            // The nested loop returns and the host rethrows, so the caller unwinds too.
            QtHost host;
            host.RegisterView("EndingForm", [](Form& f, QWidget* parent) {
                return std::make_unique<FormDialog>(f, parent);
            });
            EndingForm form(host);
            form.Load();
            int code = -1;
            try {
                host.ShowModal(form, nullptr);
            } catch (const ProgramEnd& end) {
                code = end.code;
            }
            QCOMPARE(code, 5);
            QCOMPARE(form.activations, 1);
            QVERIFY(form.shownWhenActivated);
            QVERIFY(!host.DialogOf(form));
            ResetEnding();

            QTimer::singleShot(0, [] { Dispatch([] { EndProgram(3); }); });
            code = -1;
            try {
                host.DoEvents();
            } catch (const ProgramEnd& end) {
                code = end.code;
            }
            QCOMPARE(code, 3);
        }
        ResetEnding();
        Dispatch([] { throw std::runtime_error("a bug"); });
        QVERIFY(Ending());
        QCOMPARE(EndCode(), 1);
        ResetEnding();
        QVERIFY(!Ending());
    }

    void messageBoxesMapStylesAndAnswers() {
        QtHost host;
        const struct {
            int style;
            QMessageBox::Icon icon;
            QMessageBox::StandardButton press;
            int answer;
        } cases[] = {
            {vbYesNo + vbQuestion, QMessageBox::Question, QMessageBox::No, vbNo},
            {vbYesNoCancel + vbExclamation, QMessageBox::Warning, QMessageBox::Cancel, vbCancel},
            {vbOKCancel + vbCritical, QMessageBox::Critical, QMessageBox::Ok, vbOK},
            {vbOKOnly + vbInformation, QMessageBox::Information, QMessageBox::Ok, vbOK},
        };
        for (const auto& c : cases) {
            QString text;
            QMessageBox::Icon icon = QMessageBox::NoIcon;
            int buttonCount = 0;
            OnModal([&](QWidget* modal) {
                auto* box = qobject_cast<QMessageBox*>(modal);
                if (!box) return false;
                text = box->text();
                icon = box->icon();
                buttonCount = static_cast<int>(box->buttons().size());
                box->button(c.press)->click();
                return true;
            });
            QCOMPARE(host.MsgBox("first\r\nsecond", c.style, "Velloran"), c.answer);
            QCOMPARE(text, QString("first\nsecond"));
            QCOMPARE(icon, c.icon);
            QCOMPARE(buttonCount, (c.style & 0xF) == vbYesNoCancel ? 3
                                  : (c.style & 0xF) == vbOKOnly    ? 1
                                                                   : 2);
        }
    }

    void colourAndFilterConversions() {
        const QPalette pal = QApplication::palette();
        QCOMPARE(ToQColor(0x0000FF, pal), QColor(255, 0, 0));
        QCOMPARE(ToQColor(0xFF8000, pal), QColor(0, 0x80, 0xFF));
        QCOMPARE(ToQColor(kColorWhite, pal), QColor(Qt::white));
        QCOMPARE(ToQColor(kSysColorWindow, pal), pal.color(QPalette::Base));
        QCOMPARE(ToQColor(kSysColorButtonFace, pal), pal.color(QPalette::Button));
        QCOMPARE(QtFileFilter("Text Files|*.txt|All Files (*.*)|*.*"),
                 QString("Text Files (*.txt);;All Files (*.*)"));
        QCOMPARE(QtFileFilter("Pictures|*.bmp;*.jpg"), QString("Pictures (*.bmp *.jpg)"));
    }

    void errorReportCanBeCopiedAndSaved() {
        QTemporaryDir dir;
        ErrorReportDialog dialog("Description: Overflow\nNumber: 6\n", dir.filePath("saved.txt"));
        QVERIFY(dialog.ReportView()->isReadOnly());
        QCOMPARE(dialog.ReportView()->toPlainText(), QString("Description: Overflow\nNumber: 6\n"));
        QVERIFY(dialog.findChild<QLabel*>("savedPath")->text().contains("saved.txt"));
        QTest::mouseClick(dialog.findChild<QPushButton*>("copy"), Qt::LeftButton);
        QCOMPARE(QGuiApplication::clipboard()->text(),
                 QString("Description: Overflow\nNumber: 6\n"));
        const QString copy = dir.filePath("copy.txt");
        QVERIFY(dialog.SaveTo(copy));
        QFile f(copy);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), QByteArray("Description: Overflow\nNumber: 6\n"));
        QVERIFY(!dialog.SaveTo(dir.filePath("missing/dir/x.txt")));
    }
};

QTEST_MAIN(MainViewTest)
#include "MainViewTest.moc"
