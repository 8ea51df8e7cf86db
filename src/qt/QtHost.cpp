#include "qt/QtHost.hpp"

#include <QApplication>
#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <stdexcept>

#include "about/frmAbout.hpp"
#include "app/FrmCleaner.hpp"
#include "app/FrmCookies.hpp"
#include "app/FrmJunk.hpp"
#include "app/frmErad.hpp"
#include "common/Vb.hpp"
#include "qt/AboutDialog.hpp"
#include "qt/CleanerDialog.hpp"
#include "qt/CookiesDialog.hpp"
#include "qt/Dispatch.hpp"
#include "qt/EradDialog.hpp"
#include "qt/ErrorReportDialog.hpp"
#include "qt/FormDialog.hpp"
#include "qt/JunkDialog.hpp"
#include "qt/Mirror.hpp"

namespace velloran::gui {

namespace {

constexpr int vbAbort = 3, vbRetry = 4, vbIgnore = 5;

struct ButtonSpec {
    QMessageBox::StandardButton button;
    int answer;
};

std::vector<ButtonSpec> ButtonsFor(int style) {
    switch (style & 0x0F) {
        case vbOKCancel:
            return {{QMessageBox::Ok, vbOK}, {QMessageBox::Cancel, vbCancel}};
        case 2:
            return {{QMessageBox::Abort, vbAbort},
                    {QMessageBox::Retry, vbRetry},
                    {QMessageBox::Ignore, vbIgnore}};
        case vbYesNoCancel:
            return {{QMessageBox::Yes, vbYes},
                    {QMessageBox::No, vbNo},
                    {QMessageBox::Cancel, vbCancel}};
        case vbYesNo:
            return {{QMessageBox::Yes, vbYes}, {QMessageBox::No, vbNo}};
        case 5:
            return {{QMessageBox::Retry, vbRetry}, {QMessageBox::Cancel, vbCancel}};
        default:
            return {{QMessageBox::Ok, vbOK}};
    }
}

QMessageBox::Icon IconFor(int style) {
    switch (style & 0x70) {
        case vbCritical:
            return QMessageBox::Critical;
        case vbQuestion:
            return QMessageBox::Question;
        case vbExclamation:
            return QMessageBox::Warning;
        case vbInformation:
            return QMessageBox::Information;
        default:
            return QMessageBox::NoIcon;
    }
}

}  // namespace

QtHost::QtHost() {
    RegisterView("FrmCleaner", [](Form& form, QWidget* parent) -> std::unique_ptr<FormDialog> {
        return std::make_unique<CleanerDialog>(dynamic_cast<FrmCleaner&>(form), parent);
    });
    RegisterView("frmAbout", [](Form& form, QWidget* parent) -> std::unique_ptr<FormDialog> {
        return std::make_unique<AboutDialog>(dynamic_cast<frmAbout&>(form), parent);
    });
    RegisterView("FrmCookies", [](Form& form, QWidget* parent) -> std::unique_ptr<FormDialog> {
        return std::make_unique<CookiesDialog>(dynamic_cast<FrmCookies&>(form), parent);
    });
    RegisterView("frmErad", [](Form& form, QWidget* parent) -> std::unique_ptr<FormDialog> {
        return std::make_unique<EradDialog>(dynamic_cast<frmErad&>(form), parent);
    });
    RegisterView("FrmJunk", [](Form& form, QWidget* parent) -> std::unique_ptr<FormDialog> {
        return std::make_unique<JunkDialog>(dynamic_cast<FrmJunk&>(form), parent);
    });
}

QtHost::~QtHost() = default;

void QtHost::RegisterView(const std::string& formName, ViewFactory factory) {
    factories_[formName] = std::move(factory);
}

void QtHost::SetMainView(Form& form, QWidget* view) {
    mainForm_ = &form;
    mainView_ = view;
}

QWidget* QtHost::ViewOf(const Form* form) const {
    if (!form) return nullptr;
    if (form == mainForm_) return mainView_;
    return DialogOf(*form);
}

FormDialog* QtHost::DialogOf(const Form& form) const {
    auto it = dialogs_.find(&form);
    return it == dialogs_.end() ? nullptr : it->second;
}

QWidget* QtHost::DialogParent() const {
    if (QWidget* modal = QApplication::activeModalWidget()) return modal;
    if (mainView_ && mainView_->isVisible()) return mainView_;
    return QApplication::activeWindow();
}

int QtHost::MsgBox(const std::string& prompt, int style, const std::string& title) {
    ThrowIfEnding();
    if (AnswerMessages) return AnswerMessages({prompt, style, title});

    QMessageBox box(DialogParent());
    box.setWindowTitle(ToQt(title));
    box.setText(ToQtLines(prompt));
    box.setIcon(IconFor(style));
    const auto choices = ButtonsFor(style);
    std::vector<std::pair<QAbstractButton*, int>> buttons;
    for (const auto& choice : choices)
        buttons.emplace_back(box.addButton(choice.button), choice.answer);
    const std::size_t defaultIndex = static_cast<std::size_t>((style >> 8) & 0x3);
    if (defaultIndex < buttons.size())
        box.setDefaultButton(static_cast<QPushButton*>(buttons[defaultIndex].first));
    // Escape means Cancel where there is one, and OK on a plain notice.
    for (auto& [button, answer] : buttons)
        if (answer == vbCancel || (choices.size() == 1 && answer == vbOK))
            box.setEscapeButton(button);
    box.exec();
    ThrowIfEnding();
    for (auto& [button, answer] : buttons)
        if (box.clickedButton() == button) return answer;
    return choices.size() == 1 ? choices.front().answer : vbCancel;
}

void QtHost::DoEvents() {
    ThrowIfEnding();
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    ThrowIfEnding();
}

void QtHost::ShowModal(Form& form, Form* owner) {
    ThrowIfEnding();
    auto factory = factories_.find(form.Name());
    if (factory == factories_.end())
        throw std::logic_error("no view for the window " + form.Name());
    QWidget* parent = ViewOf(owner);
    if (!parent) parent = DialogParent();
    std::unique_ptr<FormDialog> dialog = factory->second(form, parent);
    FormDialog* shown = dialog.get();
    dialogs_[&form] = shown;
    // Activation follows the showing, from inside the modal loop.
    QTimer::singleShot(0, shown, [&form] { Dispatch([&form] { form.Activate(); }); });
    if (form.IsLoaded()) shown->exec();
    // A nested ShowModal of the same form may have taken the slot meanwhile.
    auto it = dialogs_.find(&form);
    if (it != dialogs_.end() && it->second == shown) dialogs_.erase(it);
    dialog.reset();
    ThrowIfEnding();
}

void QtHost::FormUnloaded(Form& form) {
    if (&form == mainForm_) {
        if (mainView_) mainView_->hide();
        return;
    }
    if (FormDialog* dialog = DialogOf(form)) dialog->CloseByProgram();
}

QString QtFileFilter(const std::string& filter) {
    const QStringList parts = ToQt(filter).split(QLatin1Char('|'));
    QStringList out;
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        const QString& description = parts[i];
        const QString patterns = QString(parts[i + 1]).replace(QLatin1Char(';'), QLatin1Char(' '));
        out << (description.contains(QLatin1Char('(')) ? description
                                                       : description + " (" + patterns + ")");
    }
    return out.join(QLatin1String(";;"));
}

std::vector<std::string> QtHost::OpenFilesDialog(const std::string& title,
                                                 const std::string& filter) {
    ThrowIfEnding();
    const QStringList files =
        QFileDialog::getOpenFileNames(DialogParent(), ToQt(title), QString(), QtFileFilter(filter));
    ThrowIfEnding();
    std::vector<std::string> out;
    for (const QString& f : files) out.push_back(FromQt(f));
    return out;
}

std::string QtHost::BrowseForFolder(const std::string& title) {
    ThrowIfEnding();
    const QString dir = QFileDialog::getExistingDirectory(DialogParent(), ToQt(title));
    ThrowIfEnding();
    return FromQt(dir);
}

void QtHost::ShowErrorReport(const std::string& reportText, const std::string& savedPath) {
    if (OnErrorReport) {
        OnErrorReport(reportText, savedPath);
        return;
    }
    // While ending, every loop returns at once: there is nobody left to read it.
    if (Ending()) return;
    ErrorReportDialog dialog(ToQt(reportText), ToQt(savedPath), DialogParent());
    dialog.exec();
}

}  // namespace velloran::gui
