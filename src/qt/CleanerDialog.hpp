#pragma once
// The progress window's view: the run log, the bar with its caption, Cancel.
#include "qt/FormDialog.hpp"

class QPlainTextEdit;
class QPushButton;

namespace velloran {
class FrmCleaner;
}

namespace velloran::gui {

class CleanerDialog : public FormDialog {
    Q_OBJECT
public:
    CleanerDialog(FrmCleaner& form, QWidget* parent);

    QPlainTextEdit* Log() const { return log_; }
    CaptionProgressBar* Bar() const { return bar_; }
    QPushButton* CancelButton() const { return cancel_; }

private:
    QPlainTextEdit* log_;
    CaptionProgressBar* bar_;
    QPushButton* cancel_;
};

}  // namespace velloran::gui
