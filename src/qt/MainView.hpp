#pragma once
// The main window's view: banner, page buttons, the five pages, Clean and Exit,
// and the status bar, all mirrored from FrmMain.
#include <QMainWindow>
#include <map>

#include "common/controls/ControlArray.hpp"
#include "qt/Mirror.hpp"

class QLabel;
class QStackedWidget;
class QTabWidget;
class QGroupBox;
class QPushButton;
class QVBoxLayout;

namespace velloran {
class FrmMain;
struct GroupInfo;
}  // namespace velloran

namespace velloran::gui {

class QtHost;
class PictureButton;
class Banner;

class MainView : public QMainWindow {
    Q_OBJECT
public:
    MainView(FrmMain& form, QtHost& host);
    ~MainView() override;

    // The widget that shows `control`; null when none does.
    QWidget* WidgetFor(const Control& control) const;
    QStackedWidget* PageStack() const { return pages_; }
    // Outer size in pixels for the form's twips at this screen's resolution.
    QSize OuterSizeForForm() const;

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    QWidget* BuildSideColumn();
    QWidget* BuildPage(Frame& page, int tabIndex, QWidget* contents);
    QWidget* WindowsPage();
    QWidget* OtherBrowsersPage();
    QWidget* IEPage();
    QWidget* ProgramsPage();
    QWidget* SettingsPage();
    QGroupBox* TaskGroup(Frame& frame, const std::string& array);
    QGroupBox* Group(Frame& frame);
    ControlCheckBox* Check(CheckBox& box);
    QPushButton* ToolButton(CommandButton& button, const char* themeIcon, const char* bundled);
    PictureButton* Picture(PictureBox& picture, const char* themeIcon, const char* bundled);
    void ShowFrontPage();
    void ApplyFixedSize();
    void Remember(const Control& control, QWidget* widget);

    FrmMain& form_;
    QtHost& host_;
    Bindings bindings_;
    Banner* banner_ = nullptr;
    QStackedWidget* pages_ = nullptr;
    std::map<const Control*, QWidget*> widgets_;
    std::map<const Frame*, QWidget*> pageWidgets_;
    std::map<const Frame*, PictureButton*> pageButtons_;
    bool applyingSize_ = false;
};

}  // namespace velloran::gui
