#pragma once
// The Host of the Qt front end: message boxes, the event pump, modal windows,
// file dialogs and the error report, all with real widgets.
#include <QPointer>
#include <QWidget>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "common/Host.hpp"

namespace velloran::gui {

class FormDialog;

struct MessageRequest {
    std::string prompt;
    int style = 0;
    std::string title;
};

class QtHost : public Host {
public:
    using ViewFactory = std::function<std::unique_ptr<FormDialog>(Form&, QWidget* parent)>;

    // Knows the views of the progress window and the About box.
    QtHost();
    ~QtHost() override;

    // The view ShowModal creates for forms of this name.
    void RegisterView(const std::string& formName, ViewFactory factory);
    // The main window's view: owner of the dialogs, hidden when its form unloads.
    void SetMainView(Form& form, QWidget* view);
    // The widget that shows `form` now, if any.
    QWidget* ViewOf(const Form* form) const;
    FormDialog* DialogOf(const Form& form) const;

    // When set, message boxes are answered by this instead of being shown.
    std::function<int(const MessageRequest&)> AnswerMessages;
    // When set, error reports go here instead of into a dialog.
    std::function<void(const std::string& report, const std::string& savedPath)> OnErrorReport;

    int MsgBox(const std::string& prompt, int style, const std::string& title) override;
    void DoEvents() override;
    void ShowModal(Form& form, Form* owner) override;
    void FormUnloaded(Form& form) override;
    std::vector<std::string> OpenFilesDialog(const std::string& title,
                                             const std::string& filter) override;
    std::string BrowseForFolder(const std::string& title) override;
    void ShowErrorReport(const std::string& reportText, const std::string& savedPath) override;

private:
    QWidget* DialogParent() const;

    std::map<std::string, ViewFactory> factories_;
    std::map<const Form*, FormDialog*> dialogs_;
    const Form* mainForm_ = nullptr;
    QPointer<QWidget> mainView_;
};

// The Windows-style filter "Text (*.txt)|*.txt|All|*.*" as Qt writes it.
QString QtFileFilter(const std::string& filter);

}  // namespace velloran::gui
