#pragma once
// The junk file finder's view: the Filters tab (filters and drives, each with a
// check box), the Files Found tab over a model of the found-file rows, the
// counters, the location line or progress bar, Search and Exit.
#include "qt/FormDialog.hpp"

class QLabel;
class QPushButton;
class QTabWidget;
class QTreeView;
class QTreeWidget;

namespace velloran {
class FrmJunk;
class ListView;
}  // namespace velloran

namespace velloran::gui {

class ListViewModel;

class JunkDialog : public FormDialog {
    Q_OBJECT
public:
    JunkDialog(FrmJunk& form, QWidget* parent);

    QTabWidget* Tabs() const { return tabs_; }
    QTreeView* Filters() const { return filters_; }
    QTreeView* Files() const { return files_; }
    QTreeWidget* Drives() const { return drives_; }
    ListViewModel* FilesModel() const { return filesModel_; }
    CaptionProgressBar* Bar() const { return bar_; }

private:
    QTreeView* ListFor(ListView& list, ListViewModel*& model);
    void BindDrives();
    FrmJunk& junk_;
    QTabWidget* tabs_;
    QTreeView* filters_;
    QTreeView* files_;
    QTreeWidget* drives_;
    ListViewModel* filtersModel_ = nullptr;
    ListViewModel* filesModel_ = nullptr;
    CaptionProgressBar* bar_;
};

}  // namespace velloran::gui
