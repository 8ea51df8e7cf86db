#pragma once
// The file eradicator's view: the file list and the folder list, each with its add
// and remove buttons, the progress bar and the two wipe buttons. Files and folders
// dropped from a file manager (text/uri-list) on either list go to the form.
#include "qt/FormDialog.hpp"

class QTreeView;

namespace velloran {
class frmErad;
class ListView;
}  // namespace velloran

namespace velloran::gui {

class ListViewModel;

class EradDialog : public FormDialog {
    Q_OBJECT
public:
    EradDialog(frmErad& form, QWidget* parent);

    QTreeView* Files() const { return files_; }
    QTreeView* Folders() const { return folders_; }
    CaptionProgressBar* Bar() const { return bar_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QTreeView* ListFor(ListView& list);
    frmErad& erad_;
    QTreeView* files_;
    QTreeView* folders_;
    CaptionProgressBar* bar_;
};

}  // namespace velloran::gui
