#pragma once
// Helpers the views share: colour and font mapping, text conversion, and the
// bindings that keep a widget in step with its control.
#include <QCheckBox>
#include <QColor>
#include <QFont>
#include <QPalette>
#include <QProgressBar>
#include <QString>
#include <functional>
#include <string>
#include <vector>

#include "common/controls/Controls.hpp"
#include "common/controls/Signal.hpp"

class QComboBox;
class QGroupBox;
class QLabel;
class QAbstractButton;
class QPlainTextEdit;

namespace velloran::gui {

QString ToQt(const std::string& s);
std::string FromQt(const QString& s);
// Window texts break lines with "\r\n"; Qt wants "\n".
QString ToQtLines(const std::string& s);

// 0x00BBGGRR as it is, 0x8000000N as the palette colour closest to system colour N.
QColor ToQColor(OleColor color, const QPalette& palette);
// The role of the palette that stands for system colour `index`.
QPalette::ColorRole SystemColorRole(int index);

// The window's classic face maps to the desktop's own family at the given size.
QFont ToQFont(const Font& font, const QFont& base);

// Connections to control signals that end with the view: controls outlive views.
class Bindings {
public:
    Bindings() = default;
    Bindings(const Bindings&) = delete;
    Bindings& operator=(const Bindings&) = delete;
    ~Bindings() { Clear(); }

    template <class... Args>
    void On(Signal<Args...>& signal, std::function<void(Args...)> slot) {
        const int id = signal.Connect(std::move(slot));
        undo_.push_back([&signal, id] { signal.Disconnect(id); });
    }
    // Runs `sync` now and after every change of `control`.
    void Mirror(Control& control, const std::function<void()>& sync) {
        sync();
        On<>(control.Changed, sync);
    }
    void Clear() {
        for (auto& u : undo_) u();
        undo_.clear();
    }

private:
    std::vector<std::function<void()>> undo_;
};

// A check box whose state only its control decides: a click asks the control,
// and the control's change paints the tick.
class ControlCheckBox : public QCheckBox {
public:
    using QCheckBox::QCheckBox;

protected:
    void nextCheckState() override {}
};

// A bar whose text is its caption word for word; Qt's own bar would read "%p",
// "%v" and "%m" in it as placeholders.
class CaptionProgressBar : public QProgressBar {
public:
    using QProgressBar::QProgressBar;
    void SetCaption(const QString& caption) {
        caption_ = caption;
        update();
    }
    QString text() const override { return caption_; }

private:
    QString caption_;
};

// Enabled, visible, tool tip and font of any control.
void MirrorCommon(const Control& control, QWidget* widget);

void BindCheckBox(Bindings& b, CheckBox& box, ControlCheckBox* widget);
void BindButton(Bindings& b, CommandButton& button, QAbstractButton* widget);
void BindComboBox(Bindings& b, ComboBox& combo, QComboBox* widget);
void BindFrame(Bindings& b, Frame& frame, QGroupBox* widget);
void BindLabel(Bindings& b, Label& label, QLabel* widget);
// Keeps the view scrolled to the end as text is appended.
void BindLog(Bindings& b, TextBox& text, QPlainTextEdit* widget);
void BindProgressBar(Bindings& b, ProgressBar& bar, CaptionProgressBar* widget);

}  // namespace velloran::gui
