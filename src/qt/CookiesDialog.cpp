#include "qt/CookiesDialog.hpp"

#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTreeView>
#include <QVBoxLayout>

#include "app/FrmCookies.hpp"
#include "qt/ListViewModel.hpp"

namespace velloran::gui {

CookiesDialog::CookiesDialog(FrmCookies& form, QWidget* parent) : FormDialog(form, parent) {
    setWindowIcon(QIcon(":/icons/velloran.svg"));
    auto* layout = new QGridLayout(this);
    layout->setContentsMargins(10, 10, 10, 10);
    layout->setSpacing(8);

    delete_ = MakeList(form.lvDelete);
    keep_ = MakeList(form.lvKeep);
    layout->addWidget(delete_, 0, 0);
    layout->addWidget(keep_, 0, 2);
    layout->addWidget(MakeCheck(form.Check1, this), 1, 0);
    layout->addWidget(MakeCheck(form.Check2, this), 1, 2);

    auto* moves = new QVBoxLayout;
    moves->addStretch(1);
    moves->addWidget(MakeButton(form.Command1, this, 90));
    moves->addWidget(MakeButton(form.Command2, this, 90));
    moves->addStretch(1);
    layout->addLayout(moves, 0, 1);

    bar_ = MakeBar(form.pbar);
    layout->addWidget(bar_, 2, 0, 1, 3);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(MakeButton(form.cmdClean, this, 110));
    buttons->addWidget(MakeButton(form.cmdExit, this, 90));
    layout->addLayout(buttons, 3, 0, 1, 3);
    layout->setColumnStretch(0, 1);
    layout->setColumnStretch(2, 1);
    resize(900, 480);
}

}  // namespace velloran::gui
