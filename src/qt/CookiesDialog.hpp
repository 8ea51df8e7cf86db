#pragma once
// The cookie manager's view: the delete list and the keep list side by side, each
// with its Select All box, the two move buttons between them, the progress bar,
// Delete and Close. The caption carries the form's count.
#include "qt/FormDialog.hpp"

class QTreeView;

namespace velloran {
class FrmCookies;
class ListView;
}  // namespace velloran

namespace velloran::gui {

class CookiesDialog : public FormDialog {
    Q_OBJECT
public:
    CookiesDialog(FrmCookies& form, QWidget* parent);

    QTreeView* DeleteList() const { return delete_; }
    QTreeView* KeepList() const { return keep_; }
    CaptionProgressBar* Bar() const { return bar_; }

private:
    QTreeView* delete_;
    QTreeView* keep_;
    CaptionProgressBar* bar_;
};

}  // namespace velloran::gui
