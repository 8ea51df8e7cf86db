#include "qt/CleanerDialog.hpp"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/FrmCleaner.hpp"

namespace velloran::gui {

CleanerDialog::CleanerDialog(FrmCleaner& form, QWidget* parent) : FormDialog(form, parent) {
    setWindowIcon(QIcon(":/icons/velloran.svg"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(10, 10, 10, 10);
    layout->setSpacing(8);

    log_ = new QPlainTextEdit(this);
    log_->setObjectName("txtprogress");
    log_->setLineWrapMode(QPlainTextEdit::NoWrap);
    log_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    layout->addWidget(log_, 1);

    bar_ = new CaptionProgressBar(this);
    bar_->setObjectName("pbar");
    bar_->setTextVisible(true);
    bar_->setAlignment(Qt::AlignCenter);
    bar_->setMinimumHeight(22);
    layout->addWidget(bar_);

    auto* row = new QHBoxLayout;
    row->addStretch(1);
    cancel_ = new QPushButton(this);
    cancel_->setObjectName("cmdCancel");
    cancel_->setMinimumWidth(96);
    cancel_->setAutoDefault(false);
    row->addWidget(cancel_);
    layout->addLayout(row);

    BindLog(bindings_, form.txtprogress, log_);
    BindProgressBar(bindings_, form.pbar, bar_);
    BindButton(bindings_, form.cmdCancel, cancel_);
    resize(520, 360);
}

}  // namespace velloran::gui
