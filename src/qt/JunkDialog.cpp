#include "qt/JunkDialog.hpp"

#include <QApplication>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTabWidget>
#include <QTreeView>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "app/FrmJunk.hpp"
#include "qt/Dispatch.hpp"
#include "qt/ListViewModel.hpp"

namespace velloran::gui {

namespace {

QLabel* MakeLabel(Bindings& b, Label& label, QWidget* parent) {
    auto* w = new QLabel(parent);
    w->setObjectName(ToQt(label.Name()));
    BindLabel(b, label, w);
    return w;
}

}  // namespace

JunkDialog::JunkDialog(FrmJunk& form, QWidget* parent) : FormDialog(form, parent), junk_(form) {
    setWindowIcon(QIcon(":/icons/velloran.svg"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(10, 10, 10, 10);
    layout->setSpacing(8);

    auto* frame = new QGroupBox(this);
    frame->setObjectName("Frame1");
    BindFrame(bindings_, form.Frame1, frame);
    auto* frameLayout = new QVBoxLayout(frame);
    frameLayout->setContentsMargins(6, 6, 6, 6);
    tabs_ = new QTabWidget(frame);
    tabs_->setObjectName("sTab");
    frameLayout->addWidget(tabs_);
    layout->addWidget(frame, 1);

    // Filters tab: the filter list beside the drive tree, Select All boxes below.
    auto* filtersPage = new QWidget(tabs_);
    auto* fl = new QGridLayout(filtersPage);
    fl->setContentsMargins(6, 6, 6, 6);
    filters_ = ListFor(form.lvFilters, filtersModel_);
    filters_->setParent(filtersPage);
    drives_ = new QTreeWidget(filtersPage);
    drives_->setObjectName("tvDrives");
    drives_->setHeaderHidden(true);
    drives_->setRootIsDecorated(false);
    drives_->setMaximumWidth(190);
    MirrorCommon(form.tvDrives, drives_);
    BindDrives();
    fl->addWidget(filters_, 0, 0);
    fl->addWidget(drives_, 0, 1);
    fl->addWidget(MakeCheck(form.chkselfilters, filtersPage), 1, 0);
    fl->addWidget(MakeCheck(form.chkselDrives, filtersPage), 1, 1);
    fl->setColumnStretch(0, 1);
    tabs_->addTab(filtersPage, QString());

    // Files Found tab.
    auto* filesPage = new QWidget(tabs_);
    auto* fv = new QVBoxLayout(filesPage);
    fv->setContentsMargins(6, 6, 6, 6);
    files_ = ListFor(form.lvFiles, filesModel_);
    files_->setParent(filesPage);
    fv->addWidget(files_, 1);
    auto* filesRow = new QHBoxLayout;
    ControlCheckBox* allFiles = MakeCheck(form.chkselallfiles, filesPage);
    // The classic face of this one box stands for the desktop's own.
    allFiles->setFont(ToQFont(Font{}, QApplication::font()));
    filesRow->addWidget(allFiles);
    filesRow->addStretch(1);
    QPushButton* del = MakeButton(form.cmddelete, filesPage, 90);
    del->setFlat(true);
    del->setStyleSheet(QStringLiteral(
        "QPushButton { padding: 3px 14px; border: 1px solid palette(mid); border-radius: 3px; }"
        "QPushButton:hover:enabled { background-color: #dcebf7; border-color: #7eb4dd; }"
        "QPushButton:pressed { background-color: #c3dcf0; }"));
    filesRow->addWidget(del);
    fv->addLayout(filesRow);
    tabs_->addTab(filesPage, QString());

    bindings_.Mirror(form.sTab, [this, &form] {
        MirrorCommon(form.sTab, tabs_);
        const QSignalBlocker block(tabs_);
        for (int i = 0; i < form.sTab.TabCount() && i < tabs_->count(); ++i) {
            tabs_->setTabText(i, ToQt(form.sTab.Tab(i)));
            tabs_->setTabEnabled(i, form.sTab.TabEnabled(i));
        }
        tabs_->setCurrentIndex(form.sTab.SelectedTab());
    });
    connect(tabs_, &QTabWidget::currentChanged, this,
            [this, &form](int i) { Dispatch([&form, i] { form.sTab.SetSelectedTab(i); }); });

    // Counters, then the location line that the progress bar replaces while deleting.
    auto* counters = new QHBoxLayout;
    counters->addWidget(MakeLabel(bindings_, form.lblfound, this));
    counters->addSpacing(24);
    counters->addWidget(MakeLabel(bindings_, form.lblTsize, this));
    counters->addStretch(1);
    layout->addLayout(counters);
    QLabel* loc = MakeLabel(bindings_, form.lblloc, this);
    loc->setMinimumHeight(22);
    loc->setTextFormat(Qt::PlainText);
    layout->addWidget(loc);
    bar_ = MakeBar(form.pbar);
    layout->addWidget(bar_);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(MakeButton(form.cmdFind, this, 90));
    buttons->addWidget(MakeButton(form.cmdExit, this, 90));
    layout->addLayout(buttons);

    bindings_.Mirror(form, [this, &form] {
        if (form.MousePointer() == vbHourglass)
            setCursor(Qt::BusyCursor);
        else
            unsetCursor();
    });
    resize(640, 460);
}

QTreeView* JunkDialog::ListFor(ListView& list, ListViewModel*& model) {
    QTreeView* view = MakeList(list, &model);
    view->setSelectionMode(QAbstractItemView::ExtendedSelection);
    // Fitting a column of many rows looks at a sample of them.
    view->header()->setResizeContentsPrecision(500);
    return view;
}

void JunkDialog::BindDrives() {
    TreeView& tv = junk_.tvDrives;
    auto rebuild = [this, &tv] {
        const QSignalBlocker block(drives_);
        drives_->clear();
        for (int i = 0; i < tv.Count(); ++i) {
            const TreeNode& node = tv.Node(i);
            auto* item = new QTreeWidgetItem(drives_, QStringList{ToQt(node.text)});
            item->setIcon(0, QIcon::fromTheme("drive-harddisk"));
            item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
            item->setCheckState(0, node.checked ? Qt::Checked : Qt::Unchecked);
        }
    };
    rebuild();
    Connect(bindings_, tv.Reset, rebuild);
    Connect(bindings_, tv.NodeAdded, [rebuild](int) { rebuild(); });
    Connect(bindings_, tv.NodeChanged, [this, &tv](int i) {
        if (QTreeWidgetItem* item = drives_->topLevelItem(i)) {
            const QSignalBlocker block(drives_);
            item->setCheckState(0, tv.Node(i).checked ? Qt::Checked : Qt::Unchecked);
        }
    });
    connect(drives_, &QTreeWidget::itemChanged, this, [this, &tv](QTreeWidgetItem* item, int) {
        const int i = drives_->indexOfTopLevelItem(item);
        const bool checked = item->checkState(0) == Qt::Checked;
        Dispatch([&tv, i, checked] {
            if (i >= 0 && i < tv.Count()) tv.SetChecked(i, checked);
        });
        // The control decides: show its state whatever it did.
        const QSignalBlocker block(drives_);
        if (i >= 0 && i < tv.Count())
            item->setCheckState(0, tv.Node(i).checked ? Qt::Checked : Qt::Unchecked);
    });
}

}  // namespace velloran::gui
