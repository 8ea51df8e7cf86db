#include "qt/AboutDialog.hpp"

#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

#include "about/FrmAbout.hpp"

namespace velloran::gui {

AboutDialog::AboutDialog(frmAbout& form, QWidget* parent) : FormDialog(form, parent) {
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(16, 16, 16, 12);
    grid->setHorizontalSpacing(16);

    auto* logo = new QLabel(this);
    logo->setPixmap(QIcon(":/icons/velloran.svg").pixmap(64, 64));
    logo->setAlignment(Qt::AlignTop | Qt::AlignHCenter);
    grid->addWidget(logo, 0, 0, 6, 1);

    auto label = [this](Label& control, int row, QGridLayout* g) {
        auto* w = new QLabel(this);
        w->setObjectName(ToQt(control.Name()));
        w->setTextInteractionFlags(Qt::TextSelectableByMouse);
        w->setWordWrap(true);
        BindLabel(bindings_, control, w);
        g->addWidget(w, row, 1);
        return w;
    };
    QLabel* title = label(form.lblTitle, 0, grid);
    QFont big = title->font();
    big.setPointSizeF(big.pointSizeF() * 1.6);
    big.setBold(true);
    title->setFont(big);
    label(form.lblVersion, 1, grid);
    label(form.lblSystem, 2, grid);
    label(form.lblTarget, 3, grid);
    auto* line = new QFrame(this);
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    grid->addWidget(line, 4, 1);
    label(form.lblDescription, 5, grid);

    auto* ok = new QPushButton(this);
    ok->setObjectName("cmdOK");
    ok->setDefault(true);
    ok->setMinimumWidth(88);
    BindButton(bindings_, form.cmdOK, ok);
    auto* row = new QHBoxLayout;
    row->addStretch(1);
    row->addWidget(ok);
    grid->addLayout(row, 6, 0, 1, 2);
    grid->setColumnStretch(1, 1);
    setMinimumWidth(420);
}

}  // namespace velloran::gui
