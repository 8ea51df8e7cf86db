#include "qt/AboutDialog.hpp"

#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "about/frmAbout.hpp"

namespace velloran::gui {

AboutDialog::AboutDialog(frmAbout& form, QWidget* parent) : FormDialog(form, parent) {
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(16, 16, 16, 12);
    grid->setHorizontalSpacing(16);

    auto* logo = new QLabel(this);
    logo->setPixmap(QIcon(":/icons/velloran.svg").pixmap(64, 64));
    logo->setAlignment(Qt::AlignTop | Qt::AlignHCenter);
    grid->addWidget(logo, 0, 0);

    auto* texts = new QVBoxLayout;
    texts->setSpacing(4);
    grid->addLayout(texts, 0, 1);
    auto label = [this, texts](Label& control) {
        auto* w = new QLabel(this);
        w->setObjectName(ToQt(control.Name()));
        w->setTextInteractionFlags(Qt::TextSelectableByMouse);
        w->setWordWrap(true);
        BindLabel(bindings_, control, w);
        texts->addWidget(w);
        return w;
    };
    QLabel* title = label(form.lblTitle);
    QFont big = title->font();
    big.setPointSizeF(big.pointSizeF() * 1.6);
    big.setBold(true);
    title->setFont(big);
    label(form.lblVersion);
    label(form.lblSystem);
    label(form.lblTarget);
    texts->addSpacing(4);
    auto* line = new QFrame(this);
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    texts->addWidget(line);
    texts->addSpacing(4);
    label(form.lblDescription);
    texts->addStretch(1);

    auto* ok = new QPushButton(this);
    ok->setObjectName("cmdOK");
    ok->setDefault(true);
    ok->setMinimumWidth(88);
    BindButton(bindings_, form.cmdOK, ok);
    auto* row = new QHBoxLayout;
    row->addStretch(1);
    row->addWidget(ok);
    grid->addLayout(row, 1, 0, 1, 2);
    grid->setColumnStretch(1, 1);
    texts->itemAt(texts->count() - 2)->widget()->setMinimumWidth(300);
    grid->setSizeConstraint(QLayout::SetFixedSize);
}

}  // namespace velloran::gui
