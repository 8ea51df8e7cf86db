#include "qt/MainView.hpp"

#include <QApplication>
#include <QCloseEvent>
#include <QComboBox>
#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTabWidget>
#include <QVBoxLayout>
#include <QWindowStateChangeEvent>

#include "app/Application.hpp"
#include "app/FrmMain.hpp"
#include "cleaning/TaskCatalogue.hpp"
#include "qt/Dispatch.hpp"
#include "qt/QtHost.hpp"
#include "qt/Widgets.hpp"

namespace velloran::gui {

namespace {

QString ObjectName(const Control& c) {
    return c.Index() >= 0 ? QStringLiteral("%1(%2)").arg(ToQt(c.Name())).arg(c.Index())
                          : ToQt(c.Name());
}

const GroupInfo* FindArray(const std::string& name) {
    for (const auto& info : TaskArrays())
        if (info.array == name) return &info;
    return nullptr;
}

QFrame* Separator(QWidget* parent) {
    auto* line = new QFrame(parent);
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    return line;
}

}  // namespace

MainView::MainView(FrmMain& form, QtHost& host) : form_(form), host_(host) {
    setObjectName(ToQt(form.Name()));
    setWindowIcon(QIcon(QStringLiteral(":/icons/velloran.svg")));
    setFont(ToQFont(form.GetFont(), QApplication::font()));

    auto* central = new QWidget(this);
    auto* outer = new QVBoxLayout(central);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);

    banner_ = new Banner(central);
    banner_->setObjectName(ToQt(form.picTop.Name()));
    banner_->SetTagline(tr("Privacy cleaner for Wine prefixes and the desktop"));
    outer->addWidget(banner_);
    bindings_.Mirror(form.picTop, [this] { MirrorCommon(form_.picTop, banner_); });

    auto* body = new QHBoxLayout;
    body->setContentsMargins(4, 6, 8, 6);
    body->setSpacing(6);
    body->addWidget(BuildSideColumn());

    auto* right = new QVBoxLayout;
    right->setSpacing(6);
    pages_ = new QStackedWidget(central);
    pages_->setObjectName("pages");
    pageWidgets_[&form.frameWin] = BuildPage(form.frameWin, 0, WindowsPage());
    pageWidgets_[&form.frameOTH] = BuildPage(form.frameOTH, 1, OtherBrowsersPage());
    pageWidgets_[&form.FrameIE] = BuildPage(form.FrameIE, 2, IEPage());
    pageWidgets_[&form.FramePG] = BuildPage(form.FramePG, 4, ProgramsPage());
    pageWidgets_[&form.FrameST] = BuildPage(form.FrameST, 5, SettingsPage());
    right->addWidget(pages_, 1);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    for (CommandButton* b : {&form.cmdClean, &form.cmdExit}) {
        auto* w = new QPushButton(central);
        w->setObjectName(ObjectName(*b));
        w->setMinimumWidth(84);
        w->setAutoDefault(false);
        BindButton(bindings_, *b, w);
        Remember(*b, w);
        buttons->addWidget(w);
    }
    auto* clean = static_cast<QPushButton*>(widgets_[&form.cmdClean]);
    clean->setDefault(true);
    clean->setIcon(ThemeIcon("edit-clear-all", "clean"));
    static_cast<QPushButton*>(widgets_[&form.cmdExit])
        ->setIcon(ThemeIcon("application-exit", "exit"));
    right->addLayout(buttons);
    body->addLayout(right, 1);
    outer->addLayout(body, 1);
    setCentralWidget(central);

    // Status bar: seven panels; an empty one takes no room.
    QStatusBar* bar = statusBar();
    bar->setSizeGripEnabled(false);
    std::vector<QLabel*> panels;
    for (int i = 1; i <= form.sBar.PanelCount(); ++i) {
        auto* label = new QLabel(bar);
        label->setObjectName(QStringLiteral("sBar.Panel(%1)").arg(i));
        label->setContentsMargins(4, 0, 4, 0);
        bar->addWidget(label, i == form.sBar.PanelCount() ? 1 : 0);
        panels.push_back(label);
    }
    Remember(form.sBar, bar);
    bindings_.Mirror(form.sBar, [this, panels] {
        MirrorCommon(form_.sBar, statusBar());
        for (int i = 1; i <= form_.sBar.PanelCount(); ++i) {
            QLabel* label = panels[static_cast<std::size_t>(i - 1)];
            label->setText(ToQt(form_.sBar.Panel(i)));
            label->setVisible(!form_.sBar.Panel(i).empty());
        }
    });

    // The window: caption, pointer, state and size follow the form.
    bindings_.Mirror(form, [this] {
        setWindowTitle(ToQt(form_.Caption()));
        banner_->SetTitle(ToQt(form_.App().ProductName));
        if (form_.MousePointer() == vbHourglass)
            setCursor(Qt::WaitCursor);
        else
            unsetCursor();
        if (form_.WindowState() == vbNormal && (isMaximized() || isFullScreen())) showNormal();
        ApplyFixedSize();
    });
    for (Frame* page : form.Pages()) bindings_.Mirror(*page, [this] { ShowFrontPage(); });

    host_.SetMainView(form, this);
}

MainView::~MainView() = default;

void MainView::Remember(const Control& control, QWidget* widget) { widgets_[&control] = widget; }

QWidget* MainView::WidgetFor(const Control& control) const {
    auto it = widgets_.find(&control);
    return it == widgets_.end() ? nullptr : it->second;
}

// ---------------------------------------------------------------- building

PictureButton* MainView::Picture(PictureBox& picture, const char* themeIcon, const char* bundled) {
    auto* w = new PictureButton(this);
    w->setObjectName(ObjectName(picture));
    w->setIcon(ThemeIcon(themeIcon, bundled));
    bindings_.Mirror(picture, [&picture, w] {
        MirrorCommon(picture, w);
        w->setText(ToQt(picture.ToolTipText()));
    });
    QObject::connect(w, &QAbstractButton::clicked, w,
                     [&picture] { Dispatch([&picture] { picture.UserClick(); }); });
    Remember(picture, w);
    return w;
}

QWidget* MainView::BuildSideColumn() {
    auto* column = new QWidget(this);
    column->setObjectName("pageButtons");
    auto* layout = new QVBoxLayout(column);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(1);
    const struct {
        PictureBox* picture;
        Frame* page;
        const char* theme;
        const char* bundled;
    } pages[] = {
        {&form_.Picture1, &form_.frameWin, "computer", "windows"},
        {&form_.Picture2, &form_.frameOTH, "applications-internet", "browsers"},
        {&form_.Picture3, &form_.FrameIE, "internet-web-browser", "ie"},
        {&form_.Picture8, &form_.FramePG, "applications-other", "programs"},
        {&form_.Picture4, &form_.FrameST, "preferences-system", "settings"},
    };
    for (const auto& p : pages) {
        PictureButton* w = Picture(*p.picture, p.theme, p.bundled);
        w->setCheckable(true);
        // The tick shows the front page; only the form moves it.
        w->setAutoExclusive(false);
        QObject::connect(w, &QAbstractButton::clicked, w, [this] { ShowFrontPage(); });
        pageButtons_[p.page] = w;
        layout->addWidget(w);
    }
    layout->addStretch(1);
    layout->addWidget(Separator(column));
    layout->addWidget(Picture(form_.Picture7, "help-about", "about"));
    layout->addWidget(Picture(form_.cmdhelp, "help-browser", "help"));
    return column;
}

QWidget* MainView::BuildPage(Frame& page, int tabIndex, QWidget* contents) {
    auto* frame = new QWidget(pages_);
    frame->setObjectName(ObjectName(page));
    auto* layout = new QVBoxLayout(frame);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* tabs = new QTabWidget(frame);
    TabStrip& strip = form_.sTab(tabIndex);
    tabs->setObjectName(ObjectName(strip));
    tabs->addTab(contents, QString());
    layout->addWidget(tabs);
    bindings_.Mirror(page, [&page, frame] { MirrorCommon(page, frame); });
    bindings_.Mirror(strip, [&strip, tabs] {
        MirrorCommon(strip, tabs);
        for (int i = 0; i < strip.TabCount(); ++i) {
            if (i >= tabs->count()) tabs->addTab(new QWidget(tabs), QString());
            tabs->setTabText(i, ToQt(strip.Tab(i)));
        }
        if (strip.SelectedTab() >= 0 && strip.SelectedTab() < tabs->count())
            tabs->setCurrentIndex(strip.SelectedTab());
    });
    Remember(page, frame);
    Remember(strip, tabs);
    pages_->addWidget(frame);
    return frame;
}

ControlCheckBox* MainView::Check(CheckBox& box) {
    auto* w = new ControlCheckBox(this);
    w->setObjectName(ObjectName(box));
    BindCheckBox(bindings_, box, w);
    Remember(box, w);
    return w;
}

QGroupBox* MainView::Group(Frame& frame) {
    auto* g = new QGroupBox(this);
    g->setObjectName(ObjectName(frame));
    BindFrame(bindings_, frame, g);
    Remember(frame, g);
    return g;
}

QGroupBox* MainView::TaskGroup(Frame& frame, const std::string& array) {
    QGroupBox* g = Group(frame);
    auto* layout = new QVBoxLayout(g);
    layout->setContentsMargins(8, 4, 8, 6);
    layout->setSpacing(0);
    const GroupInfo* info = FindArray(array);
    ControlArray<CheckBox>& boxes = *form_.TaskArray(array);
    layout->addWidget(Check(*form_.SelectAllBox(array)));
    layout->addSpacing(2);
    layout->addWidget(Separator(g));
    layout->addSpacing(2);
    for (int index : info->displayOrder) layout->addWidget(Check(boxes(index)));
    layout->addStretch(1);
    return g;
}

QPushButton* MainView::ToolButton(CommandButton& button, const char* themeIcon,
                                  const char* bundled) {
    auto* w = new QPushButton(this);
    w->setObjectName(ObjectName(button));
    w->setFlat(true);
    w->setIcon(ThemeIcon(themeIcon, bundled));
    w->setCursor(Qt::PointingHandCursor);
    // Flat until the pointer is over it, then the hover colour.
    w->setStyleSheet(QStringLiteral(
        "QPushButton { text-align: left; padding: 4px 8px; border: 1px solid transparent; "
        "border-radius: 3px; }"
        "QPushButton:hover:enabled { background-color: #dcebf7; border-color: #7eb4dd; }"
        "QPushButton:pressed { background-color: #c3dcf0; }"));
    BindButton(bindings_, button, w);
    Remember(button, w);
    return w;
}

QWidget* MainView::WindowsPage() {
    auto* page = new QWidget(this);
    auto* layout = new QHBoxLayout(page);
    layout->setContentsMargins(6, 6, 6, 6);
    layout->addWidget(TaskGroup(form_.fraWinSystem, "win_chk"), 1);
    auto* side = new QVBoxLayout;
    QGroupBox* tools = Group(form_.fraOtherTools);
    auto* tl = new QVBoxLayout(tools);
    tl->setContentsMargins(6, 4, 6, 6);
    tl->addWidget(ToolButton(form_.cmdjunk, "edit-find", "junk"));
    tl->addWidget(ToolButton(form_.cmderad, "edit-delete", "eradicator"));
    side->addWidget(tools);
    side->addStretch(1);
    layout->addLayout(side);
    return page;
}

QWidget* MainView::OtherBrowsersPage() {
    auto* page = new QWidget(this);
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(6, 6, 6, 6);
    layout->addWidget(TaskGroup(form_.fraOpera, "op_Chk"));
    layout->addWidget(TaskGroup(form_.fraNetscape, "ns_Chk"));
    layout->addWidget(TaskGroup(form_.fraChromium, "ch_Chk"));
    layout->addStretch(1);
    return page;
}

QWidget* MainView::IEPage() {
    auto* page = new QWidget(this);
    auto* layout = new QHBoxLayout(page);
    layout->setContentsMargins(6, 6, 6, 6);
    auto* left = new QVBoxLayout;
    left->addWidget(TaskGroup(form_.fraIE, "ie_Chk"));
    left->addStretch(1);
    layout->addLayout(left, 1);
    auto* side = new QVBoxLayout;
    QGroupBox* tools = Group(form_.fraIETools);
    auto* tl = new QVBoxLayout(tools);
    tl->setContentsMargins(6, 4, 6, 6);
    tl->addWidget(ToolButton(form_.cmdMCookies, "preferences-web-browser-cookies", "cookies"));
    side->addWidget(tools);
    side->addStretch(1);
    layout->addLayout(side);
    return page;
}

QWidget* MainView::ProgramsPage() {
    auto* page = new QWidget(this);
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(6, 6, 6, 6);
    layout->addWidget(TaskGroup(form_.fraPrograms, "oprg_chk"));
    return page;
}

QWidget* MainView::SettingsPage() {
    auto* page = new QWidget(this);
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(6, 6, 6, 6);
    QGroupBox* settings = Group(form_.fraSettings);
    auto* sl = new QVBoxLayout(settings);
    sl->setContentsMargins(8, 6, 8, 8);
    sl->setSpacing(8);

    QGroupBox* eradicator = Group(form_.fraEradicator);
    auto* el = new QGridLayout(eradicator);
    el->setContentsMargins(8, 4, 8, 8);
    el->setVerticalSpacing(2);
    el->addWidget(Check(form_.stChk(Option::RecycleBin)), 0, 0, 1, 2);
    el->addWidget(Check(form_.stChk(Option::SecureDelete)), 1, 0, 1, 2);
    auto* combo = new QComboBox(eradicator);
    combo->setObjectName(ObjectName(form_.cmbsDelType));
    BindComboBox(bindings_, form_.cmbsDelType, combo);
    Remember(form_.cmbsDelType, combo);
    el->addItem(new QSpacerItem(20, 1, QSizePolicy::Fixed), 2, 0);
    el->addWidget(combo, 2, 1);
    el->setColumnStretch(1, 1);
    sl->addWidget(eradicator);

    QGroupBox* general = Group(form_.fraGeneral);
    auto* gl = new QVBoxLayout(general);
    gl->setContentsMargins(8, 4, 8, 8);
    gl->setSpacing(2);
    for (int i : {3, 4, 5, 6}) gl->addWidget(Check(form_.stChk(i)));
    sl->addWidget(general);
    sl->addStretch(1);
    layout->addWidget(settings);
    return page;
}

// ---------------------------------------------------------------- mirroring

void MainView::ShowFrontPage() {
    Frame& front = form_.FrontPage();
    if (QWidget* w = pageWidgets_.count(&front) ? pageWidgets_[&front] : nullptr)
        pages_->setCurrentWidget(w);
    for (auto& [page, button] : pageButtons_) button->setChecked(page == &front);
}

QSize MainView::OuterSizeForForm() const {
    const double dpiX = logicalDpiX() > 0 ? logicalDpiX() : 96;
    const double dpiY = logicalDpiY() > 0 ? logicalDpiY() : 96;
    return {static_cast<int>(form_.Width() * dpiX / 1440.0 + 0.5),
            static_cast<int>(form_.Height() * dpiY / 1440.0 + 0.5)};
}

void MainView::ApplyFixedSize() {
    if (form_.WindowState() == vbMinimized || form_.Width() <= 0 || form_.Height() <= 0) return;
    // The form's size is the outer one; the title bar and borders come off it.
    QSize margins(0, 0);
    if (isVisible()) margins = frameGeometry().size() - geometry().size();
    const QSize inner = OuterSizeForForm() - margins;
    if (size() == inner && minimumSize() == inner && maximumSize() == inner) return;
    applyingSize_ = true;
    setFixedSize(inner);
    applyingSize_ = false;
}

void MainView::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    ShowFrontPage();
    ApplyFixedSize();
}

void MainView::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() != QEvent::WindowStateChange) return;
    const int state = isMinimized() ? vbMinimized : isMaximized() ? vbMaximized : vbNormal;
    Dispatch([this, state] {
        form_.SetWindowState(state);
        form_.Resize();
    });
    if (!isMinimized() && form_.WindowState() == vbNormal && (isMaximized() || isFullScreen()))
        showNormal();
}

void MainView::resizeEvent(QResizeEvent* event) {
    QMainWindow::resizeEvent(event);
    if (applyingSize_ || !isVisible()) return;
    Dispatch([this] { form_.Resize(); });
    ApplyFixedSize();
}

void MainView::closeEvent(QCloseEvent* event) {
    // The form decides; ending the program closes this window with it.
    event->ignore();
    Dispatch([this] {
        if (!form_.IsLoaded() || form_.Unload(vbFormControlMenu)) EndProgram(0);
    });
}

}  // namespace velloran::gui
