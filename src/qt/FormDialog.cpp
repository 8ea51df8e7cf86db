#include "qt/FormDialog.hpp"

#include <QHeaderView>
#include <QPushButton>
#include <QTreeView>

#include <QCloseEvent>

#include "qt/Dispatch.hpp"
#include "qt/ListViewModel.hpp"

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

ControlCheckBox* FormDialog::MakeCheck(CheckBox& box, QWidget* parent) {
    auto* w = new ControlCheckBox(parent);
    w->setObjectName(ToQt(box.Name()));
    BindCheckBox(bindings_, box, w);
    return w;
}

QTreeView* FormDialog::MakeList(ListView& list, ListViewModel** model) {
    auto* view = new QTreeView(this);
    view->setObjectName(ToQt(list.Name()));
    view->setRootIsDecorated(false);
    view->setUniformRowHeights(true);
    view->setAllColumnsShowFocus(true);
    view->setSelectionMode(QAbstractItemView::SingleSelection);
    view->header()->setStretchLastSection(false);
    auto* m = new ListViewModel(list, view);
    view->setModel(m);
    connect(m, &ListViewModel::FitColumnRequested, view,
            [view](int column) { view->resizeColumnToContents(column); });
    bindings_.Mirror(list, [&list, view] { MirrorCommon(list, view); });
    for (int c = 0; c < list.ColumnCount(); ++c) view->resizeColumnToContents(c);
    if (model) *model = m;
    return view;
}

}  // namespace velloran::gui
