#pragma once
// The About box's view.
#include "qt/FormDialog.hpp"

namespace velloran {
class frmAbout;
}

namespace velloran::gui {

class AboutDialog : public FormDialog {
    Q_OBJECT
public:
    AboutDialog(frmAbout& form, QWidget* parent);
};

}  // namespace velloran::gui
