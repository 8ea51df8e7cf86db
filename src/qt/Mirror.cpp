#include "qt/Mirror.hpp"

#include <QAbstractButton>
#include <QComboBox>
#include <QFontDatabase>
#include <QGroupBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QTextCursor>
#include <QTextDocument>
#include <algorithm>

#include "qt/Dispatch.hpp"

namespace velloran::gui {

QString ToQt(const std::string& s) { return QString::fromStdString(s); }
std::string FromQt(const QString& s) { return s.toStdString(); }

QString ToQtLines(const std::string& s) {
    QString q = ToQt(s);
    q.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    q.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    return q;
}

QPalette::ColorRole SystemColorRole(int index) {
    switch (index) {
        case 0:
            return QPalette::Midlight;  // scroll bar
        case 1:
            return QPalette::Dark;  // desktop
        case 2:
            return QPalette::Highlight;  // active caption
        case 3:
            return QPalette::Mid;  // inactive caption
        case 4:
            return QPalette::Window;  // menu
        case 5:
            return QPalette::Base;  // window
        case 6:
            return QPalette::Shadow;  // window frame
        case 7:
            return QPalette::WindowText;  // menu text
        case 8:
            return QPalette::Text;  // window text
        case 9:
            return QPalette::HighlightedText;  // caption text
        case 10:                               // active border
        case 11:
            return QPalette::Window;  // inactive border
        case 12:
            return QPalette::Dark;  // application workspace
        case 13:
            return QPalette::Highlight;
        case 14:
            return QPalette::HighlightedText;
        case 15:
            return QPalette::Button;  // button face
        case 16:
            return QPalette::Dark;  // button shadow
        case 17:
            return QPalette::PlaceholderText;  // grey text
        case 18:
            return QPalette::ButtonText;
        case 19:
            return QPalette::WindowText;  // inactive caption text
        case 20:
            return QPalette::Light;  // button highlight
        case 21:
            return QPalette::Shadow;  // 3-D dark shadow
        case 22:
            return QPalette::Midlight;  // 3-D light
        case 23:
            return QPalette::ToolTipText;
        case 24:
            return QPalette::ToolTipBase;
        default:
            return QPalette::Window;
    }
}

QColor ToQColor(OleColor color, const QPalette& palette) {
    if (color & 0x80000000u)
        return palette.color(QPalette::Active, SystemColorRole(static_cast<int>(color & 0xFFu)));
    return QColor(static_cast<int>(color & 0xFFu), static_cast<int>((color >> 8) & 0xFFu),
                  static_cast<int>((color >> 16) & 0xFFu));
}

QFont ToQFont(const Font& font, const QFont& base) {
    QFont f = base;
    // The classic bitmap faces do not exist here; the desktop's face stands in.
    if (font.name != "MS Sans Serif" && font.name != "Tahoma" && !font.name.empty() &&
        QFontDatabase::hasFamily(ToQt(font.name)))
        f.setFamily(ToQt(font.name));
    if (font.size > 0) f.setPointSizeF(font.size);
    f.setBold(font.bold);
    f.setUnderline(font.underline);
    return f;
}

void MirrorCommon(const Control& control, QWidget* widget) {
    widget->setEnabled(control.Enabled());
    // Hidden only on request: showing is left to the parent's own visibility.
    if (control.Visible() == widget->isHidden()) widget->setVisible(control.Visible());
    widget->setToolTip(ToQt(control.ToolTipText()));
    // The default face means "as the window": the window sets it once for all.
    if (control.GetFont() != Font{}) {
        const QFont f = ToQFont(control.GetFont(), widget->window()->font());
        if (widget->font() != f) widget->setFont(f);
    }
}

namespace {

// A colour for every state of the widget, so that a disabled field shows it too.
void SetRoleColor(QWidget* widget, QPalette::ColorRole role, const QColor& color) {
    QPalette p = widget->palette();
    for (auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled})
        p.setColor(group, role, color);
    widget->setPalette(p);
}

}  // namespace

void BindCheckBox(Bindings& b, CheckBox& box, ControlCheckBox* widget) {
    b.Mirror(box, [&box, widget] {
        MirrorCommon(box, widget);
        widget->setText(ToQt(box.Caption()));
        widget->setTristate(box.Value() == 2);
        widget->setCheckState(box.Value() == 1   ? Qt::Checked
                              : box.Value() == 2 ? Qt::PartiallyChecked
                                                 : Qt::Unchecked);
    });
    QObject::connect(widget, &QAbstractButton::clicked, widget,
                     [&box] { Dispatch([&box] { box.UserClick(); }); });
}

void BindButton(Bindings& b, CommandButton& button, QAbstractButton* widget) {
    b.Mirror(button, [&button, widget] {
        MirrorCommon(button, widget);
        if (!button.Caption().empty()) widget->setText(ToQt(button.Caption()));
    });
    QObject::connect(widget, &QAbstractButton::clicked, widget,
                     [&button] { Dispatch([&button] { button.UserClick(); }); });
}

void BindComboBox(Bindings& b, ComboBox& combo, QComboBox* widget) {
    b.Mirror(combo, [&combo, widget] {
        const QSignalBlocker block(widget);
        MirrorCommon(combo, widget);
        bool same = widget->count() == combo.ListCount();
        for (int i = 0; same && i < combo.ListCount(); ++i)
            same = widget->itemText(i) == ToQt(combo.List(i));
        if (!same) {
            widget->clear();
            for (int i = 0; i < combo.ListCount(); ++i) widget->addItem(ToQt(combo.List(i)));
        }
        widget->setCurrentIndex(combo.ListIndex());
        const QColor back = ToQColor(combo.BackColor(), widget->palette());
        SetRoleColor(widget, QPalette::Base, back);
        SetRoleColor(widget, QPalette::Button, back);
    });
    QObject::connect(widget, &QComboBox::activated, widget, [&combo, widget](int index) {
        Dispatch([&combo, index] { combo.SetListIndex(index); });
        // A refused choice shows the control's own index again.
        const QSignalBlocker block(widget);
        widget->setCurrentIndex(combo.ListIndex());
    });
}

void BindFrame(Bindings& b, Frame& frame, QGroupBox* widget) {
    b.Mirror(frame, [&frame, widget] {
        MirrorCommon(frame, widget);
        widget->setTitle(ToQt(frame.Caption()));
    });
}

void BindLabel(Bindings& b, Label& label, QLabel* widget) {
    b.Mirror(label, [&label, widget] {
        MirrorCommon(label, widget);
        widget->setText(ToQtLines(label.Caption()));
    });
}

void BindLog(Bindings& b, TextBox& text, QPlainTextEdit* widget) {
    const auto toEnd = [widget] {
        widget->verticalScrollBar()->setValue(widget->verticalScrollBar()->maximum());
    };
    b.Mirror(text, [&text, widget, toEnd] {
        MirrorCommon(text, widget);
        widget->setReadOnly(text.Locked());
        const QString now = ToQtLines(text.Text());
        if (now == widget->toPlainText()) return;
        widget->setPlainText(now);
        toEnd();
    });
    // A new line is added at the end; the shown text is never compared again.
    b.On(text.LineAdded,
         std::function<void(const std::string&)>([widget, toEnd](const std::string& line) {
             QTextCursor c(widget->document());
             c.movePosition(QTextCursor::End);
             c.insertText(QStringLiteral("\n") + ToQtLines(line));
             toEnd();
         }));
}

void BindProgressBar(Bindings& b, ProgressBar& bar, CaptionProgressBar* widget) {
    b.Mirror(bar, [&bar, widget] {
        MirrorCommon(bar, widget);
        // A value above the maximum shows full; a maximum of 0 would make Qt's bar busy.
        const int max = static_cast<int>(std::max<long>(bar.Max(), 1));
        const long value = bar.Max() <= 0 ? (bar.Value() > 0 ? 1 : 0) : bar.Value();
        widget->setRange(0, max);
        widget->setValue(static_cast<int>(std::clamp<long>(value, 0, max)));
        widget->SetCaption(ToQt(bar.Caption()));
    });
}

}  // namespace velloran::gui
