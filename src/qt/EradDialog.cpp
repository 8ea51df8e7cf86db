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

#include "app/frmErad.hpp"
#include "qt/Dispatch.hpp"
#include "qt/ListViewModel.hpp"

namespace velloran::gui {

namespace {

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
    fileButtons->addWidget(MakeButton(form.cmdadd, this, 110));
    fileButtons->addWidget(MakeButton(form.cmdremove, this, 110));
    fileButtons->addStretch(1);
    fileButtons->addWidget(MakeButton(form.cmdwipe, this, 110));
    layout->addLayout(fileButtons, 1, 1);

    layout->addWidget(new QLabel(tr("Folders to eradicate:"), this), 2, 0);
    layout->addWidget(folders_, 3, 0);
    auto* folderButtons = new QVBoxLayout;
    folderButtons->addWidget(MakeButton(form.cmdaddf, this, 110));
    folderButtons->addWidget(MakeButton(form.cmdremovef, this, 110));
    folderButtons->addStretch(1);
    folderButtons->addWidget(MakeButton(form.cmdwipef, this, 110));
    layout->addLayout(folderButtons, 3, 1);

    bar_ = MakeBar(form.pbar);
    layout->addWidget(bar_, 4, 0, 1, 2);
    layout->setColumnStretch(0, 1);
    resize(620, 460);
}

QTreeView* EradDialog::ListFor(ListView& list) {
    QTreeView* view = MakeList(list);
    view->header()->setStretchLastSection(true);
    connect(view->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [&list](const QModelIndex& current) {
                Dispatch([&list, row = current.row()] { list.Select(row); });
            });
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
