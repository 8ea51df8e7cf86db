#include "qt/EradDialog.hpp"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMimeData>
#include <QPushButton>
#include <QTreeView>
#include <QUrl>
#include <QVBoxLayout>

#include "qt/Dispatch.hpp"
#include "qt/ListViewModel.hpp"
#include "tools/eradicator/FrmErad.hpp"

namespace velloran::gui {

namespace {

QPushButton* Button(Bindings& b, CommandButton& button, QWidget* parent) {
    auto* w = new QPushButton(parent);
    w->setObjectName(ToQt(button.Name()));
    w->setAutoDefault(false);
    w->setMinimumWidth(110);
    BindButton(b, button, w);
    return w;
}

// Local paths of a drop from a file manager; empty when it holds none.
std::vector<std::string> DroppedPaths(const QMimeData* data) {
    std::vector<std::string> out;
    if (!data || !data->hasUrls()) return out;
    for (const QUrl& url : data->urls())
        if (url.isLocalFile()) out.push_back(url.toLocalFile().toStdString());
    return out;
}

}  // namespace

EradDialog::EradDialog(frmErad& form, QWidget* parent) : FormDialog(form, parent), erad_(form) {
    setWindowIcon(QIcon(":/icons/velloran.svg"));
    auto* layout = new QGridLayout(this);
    layout->setContentsMargins(10, 10, 10, 10);
    layout->setSpacing(8);

    files_ = ListFor(form.lview);
    folders_ = ListFor(form.lviewF);
    layout->addWidget(new QLabel(tr("Files to eradicate:"), this), 0, 0);
    layout->addWidget(files_, 1, 0);
    auto* fileButtons = new QVBoxLayout;
    fileButtons->addWidget(Button(bindings_, form.cmdadd, this));
    fileButtons->addWidget(Button(bindings_, form.cmdremove, this));
    fileButtons->addStretch(1);
    fileButtons->addWidget(Button(bindings_, form.cmdwipe, this));
    layout->addLayout(fileButtons, 1, 1);

    layout->addWidget(new QLabel(tr("Folders to eradicate:"), this), 2, 0);
    layout->addWidget(folders_, 3, 0);
    auto* folderButtons = new QVBoxLayout;
    folderButtons->addWidget(Button(bindings_, form.cmdaddf, this));
    folderButtons->addWidget(Button(bindings_, form.cmdremovef, this));
    folderButtons->addStretch(1);
    folderButtons->addWidget(Button(bindings_, form.cmdwipef, this));
    layout->addLayout(folderButtons, 3, 1);

    bar_ = new CaptionProgressBar(this);
    bar_->setObjectName("pbar");
    bar_->setTextVisible(true);
    bar_->setAlignment(Qt::AlignCenter);
    bar_->setMinimumHeight(22);
    BindProgressBar(bindings_, form.pbar, bar_);
    layout->addWidget(bar_, 4, 0, 1, 2);
    layout->setColumnStretch(0, 1);
    resize(620, 460);
}

QTreeView* EradDialog::ListFor(ListView& list) {
    auto* view = new QTreeView(this);
    view->setObjectName(ToQt(list.Name()));
    view->setRootIsDecorated(false);
    view->setUniformRowHeights(true);
    view->setAllColumnsShowFocus(true);
    view->setSelectionMode(QAbstractItemView::SingleSelection);
    view->header()->setStretchLastSection(true);
    auto* model = new ListViewModel(list, view);
    view->setModel(model);
    connect(model, &ListViewModel::FitColumnRequested, view,
            [view](int column) { view->resizeColumnToContents(column); });
    connect(view->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [&list](const QModelIndex& current) {
                Dispatch([&list, row = current.row()] { list.Select(row); });
            });
    bindings_.Mirror(list, [&list, view] { MirrorCommon(list, view); });
    view->setAcceptDrops(true);
    view->viewport()->setAcceptDrops(true);
    view->viewport()->installEventFilter(this);
    return view;
}

bool EradDialog::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
        case QEvent::DragEnter:
        case QEvent::DragMove: {
            auto* e = static_cast<QDropEvent*>(event);
            if (DroppedPaths(e->mimeData()).empty()) return false;
            e->acceptProposedAction();
            return true;
        }
        case QEvent::Drop: {
            auto* e = static_cast<QDropEvent*>(event);
            std::vector<std::string> paths = DroppedPaths(e->mimeData());
            if (paths.empty()) return false;
            e->acceptProposedAction();
            // Either list: the form sorts files from folders.
            Dispatch([this, paths] { erad_.DropFiles(paths); });
            return true;
        }
        default:
            return FormDialog::eventFilter(watched, event);
    }
}

}  // namespace velloran::gui
