#include "qt/FormDialog.hpp"

#include <QPushButton>

#include <QCloseEvent>

#include "qt/Dispatch.hpp"

namespace velloran::gui {

FormDialog::FormDialog(Form& form, QWidget* parent) : QDialog(parent), form_(form) {
    setObjectName(ToQt(form.Name()));
    setFont(ToQFont(form.GetFont(), QDialog::font()));
    bindings_.Mirror(form, [this] { setWindowTitle(ToQt(form_.Caption())); });
}

void FormDialog::CloseByProgram() {
    closing_ = true;
    done(QDialog::Accepted);
}

void FormDialog::AskFormToClose() {
    // Unloading reaches the host, which calls CloseByProgram; a refusal keeps us open.
    Dispatch([this] {
        if (form_.IsLoaded()) form_.Unload(vbFormControlMenu);
    });
}

void FormDialog::closeEvent(QCloseEvent* event) {
    if (closing_) {
        event->accept();
        return;
    }
    event->ignore();
    AskFormToClose();
}

void FormDialog::reject() {
    if (closing_)
        QDialog::reject();
    else
        AskFormToClose();
}

QPushButton* FormDialog::MakeButton(CommandButton& button, QWidget* parent, int minimumWidth) {
    auto* w = new QPushButton(parent);
    w->setObjectName(ToQt(button.Name()));
    w->setAutoDefault(false);
    w->setMinimumWidth(minimumWidth);
    BindButton(bindings_, button, w);
    return w;
}

CaptionProgressBar* FormDialog::MakeBar(ProgressBar& bar) {
    auto* w = new CaptionProgressBar(this);
    w->setObjectName(ToQt(bar.Name()));
    w->setTextVisible(true);
    w->setAlignment(Qt::AlignCenter);
    w->setMinimumHeight(22);
    BindProgressBar(bindings_, bar, w);
    return w;
}

}  // namespace velloran::gui
