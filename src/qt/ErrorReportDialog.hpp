#pragma once
// Shows an error report for the user to read, save elsewhere or copy. Nothing
// is sent anywhere from here.
#include <QDialog>
#include <QString>

class QPlainTextEdit;
class QPushButton;

namespace velloran::gui {

class ErrorReportDialog : public QDialog {
    Q_OBJECT
public:
    ErrorReportDialog(QString report, QString savedPath, QWidget* parent = nullptr);

    QPlainTextEdit* ReportView() const { return text_; }
    // Writes the report to `path`; false when the file cannot be written.
    bool SaveTo(const QString& path) const;
    void CopyToClipboard() const;

private:
    void SaveAs();
    QString report_;
    QPlainTextEdit* text_;
};

}  // namespace velloran::gui
