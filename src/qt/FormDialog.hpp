#pragma once
// A modal window over a form. The form decides when it closes: the title-bar
// button asks the form to unload, and the host closes the dialog once it has.
#include <QDialog>

#include "common/controls/Form.hpp"
#include "common/controls/ListView.hpp"
#include "qt/Mirror.hpp"

class QPushButton;
class QTreeView;

namespace velloran::gui {

class ListViewModel;

class FormDialog : public QDialog {
    Q_OBJECT
public:
    FormDialog(Form& form, QWidget* parent);

    Form& GetForm() const { return form_; }
    // The form has been unloaded: leave the modal loop.
    void CloseByProgram();

protected:
    void closeEvent(QCloseEvent* event) override;
    // Escape goes the same way as the title-bar button.
    void reject() override;
    // A push button bound to a form's button, and a captioned bar bound to its bar.
    QPushButton* MakeButton(CommandButton& button, QWidget* parent, int minimumWidth);
    CaptionProgressBar* MakeBar(ProgressBar& bar);
    ControlCheckBox* MakeCheck(CheckBox& box, QWidget* parent);
    // A report-style list bound to a form's list view: one row selected at a time,
    // columns fitted to their contents. `model` receives the view's model.
    QTreeView* MakeList(ListView& list, ListViewModel** model = nullptr);
    Bindings bindings_;

private:
    void AskFormToClose();
    Form& form_;
    bool closing_ = false;
};

}  // namespace velloran::gui
