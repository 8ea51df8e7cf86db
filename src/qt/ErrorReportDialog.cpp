#include "qt/ErrorReportDialog.hpp"

#include <QClipboard>
#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace velloran::gui {

ErrorReportDialog::ErrorReportDialog(QString report, QString savedPath, QWidget* parent)
    : QDialog(parent), report_(std::move(report)) {
    setObjectName("ErrorReport");
    setWindowTitle(tr("Velloran - Error Report"));
    auto* layout = new QVBoxLayout(this);

    auto* intro =
        new QLabel(tr("Velloran met an error it cannot recover from and will close.\n"
                      "The report below is kept on this computer; nothing has been sent."),
                   this);
    intro->setWordWrap(true);
    layout->addWidget(intro);

    text_ = new QPlainTextEdit(report_, this);
    text_->setObjectName("reportText");
    text_->setReadOnly(true);
    text_->setLineWrapMode(QPlainTextEdit::NoWrap);
    text_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    layout->addWidget(text_, 1);

    auto* where = new QLabel(this);
    where->setObjectName("savedPath");
    where->setTextInteractionFlags(Qt::TextSelectableByMouse);
    where->setWordWrap(true);
    where->setText(savedPath.isEmpty()
                       ? tr("The report could not be saved.")
                       : tr("Saved as %1").arg(QDir::toNativeSeparators(savedPath)));
    layout->addWidget(where);

    auto* buttons = new QDialogButtonBox(this);
    auto* save = buttons->addButton(tr("Save As..."), QDialogButtonBox::ActionRole);
    auto* copy = buttons->addButton(tr("Copy"), QDialogButtonBox::ActionRole);
    auto* close = buttons->addButton(QDialogButtonBox::Close);
    save->setObjectName("saveAs");
    copy->setObjectName("copy");
    connect(save, &QPushButton::clicked, this, &ErrorReportDialog::SaveAs);
    connect(copy, &QPushButton::clicked, this, &ErrorReportDialog::CopyToClipboard);
    connect(close, &QPushButton::clicked, this, &QDialog::accept);
    layout->addWidget(buttons);
    resize(560, 400);
}

bool ErrorReportDialog::SaveTo(const QString& path) const {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) return false;
    const QByteArray bytes = report_.toUtf8();
    return file.write(bytes) == bytes.size();
}

void ErrorReportDialog::CopyToClipboard() const { QGuiApplication::clipboard()->setText(report_); }

void ErrorReportDialog::SaveAs() {
    const QString path = QFileDialog::getSaveFileName(this, tr("Save Error Report"),
                                                      QDir::homePath() + "/velloran-error.txt",
                                                      tr("Text files (*.txt);;All files (*)"));
    if (path.isEmpty()) return;
    if (!SaveTo(path))
        QMessageBox::warning(this, windowTitle(),
                             tr("The report could not be written to %1.").arg(path));
}

}  // namespace velloran::gui
