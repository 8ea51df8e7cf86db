#include "qt/Widgets.hpp"

#include <QEnterEvent>
#include <QFontMetrics>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>

namespace velloran::gui {

QIcon ThemeIcon(const char* themeName, const char* bundled) {
    return QIcon::fromTheme(
        QString::fromLatin1(themeName),
        QIcon(QStringLiteral(":/icons/") + QString::fromLatin1(bundled) + ".svg"));
}

// ---------------------------------------------------------------- Banner

Banner::Banner(QWidget* parent) : QWidget(parent), logo_(QStringLiteral(":/icons/velloran.svg")) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void Banner::SetTitle(const QString& title) {
    title_ = title;
    update();
}

void Banner::SetTagline(const QString& tagline) {
    tagline_ = tagline;
    update();
}

QSize Banner::sizeHint() const { return {400, 50}; }

void Banner::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF r = rect();
    QLinearGradient g(r.topLeft(), r.topRight());
    g.setColorAt(0.0, QColor(0x12, 0x3a, 0x5c));
    g.setColorAt(0.55, QColor(0x1d, 0x6a, 0x8a));
    g.setColorAt(1.0, QColor(0x3f, 0xa3, 0x9b));
    p.fillRect(r, g);

    // A soft arc on the right keeps the strip from looking flat.
    QPainterPath arc;
    arc.addEllipse(QPointF(r.right() - 40, r.bottom() + 40), 150, 110);
    p.fillPath(arc, QColor(255, 255, 255, 22));
    QPainterPath arc2;
    arc2.addEllipse(QPointF(r.right() + 10, r.top() - 30), 110, 70);
    p.fillPath(arc2, QColor(255, 255, 255, 16));

    const int h = height();
    const int iconSize = h - 14;
    logo_.paint(&p, QRect(12, 7, iconSize, iconSize));

    const int x = 12 + iconSize + 10;
    QFont titleFont = font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.75);
    titleFont.setBold(true);
    QFont tagFont = font();
    const QFontMetrics tm(titleFont), gm(tagFont);
    const int block = tm.height() + gm.height() - 2;
    const int top = (h - block) / 2;
    p.setPen(Qt::white);
    p.setFont(titleFont);
    p.drawText(QRect(x, top, width() - x - 8, tm.height()), Qt::AlignLeft | Qt::AlignVCenter,
               title_);
    p.setPen(QColor(0xd8, 0xee, 0xf0));
    p.setFont(tagFont);
    p.drawText(QRect(x, top + tm.height() - 2, width() - x - 8, gm.height()),
               Qt::AlignLeft | Qt::AlignVCenter,
               gm.elidedText(tagline_, Qt::ElideRight, width() - x - 8));
    // A hairline below separates the strip from the window face.
    p.setPen(QColor(0x0c, 0x2a, 0x44));
    p.drawLine(r.bottomLeft(), r.bottomRight());
}

// ---------------------------------------------------------------- PictureButton

namespace {
constexpr int kIcon = 24;
constexpr int kWidth = 80;
constexpr int kPad = 5;
}  // namespace

PictureButton::PictureButton(QWidget* parent) : QAbstractButton(parent) {
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::TabFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

int PictureButton::TextHeight() const {
    if (text().isEmpty()) return 0;
    const QFontMetrics fm(font());
    return fm
        .boundingRect(QRect(0, 0, kWidth - 2 * kPad, 1000), Qt::AlignHCenter | Qt::TextWordWrap,
                      text())
        .height();
}

QSize PictureButton::sizeHint() const {
    const int textHeight = TextHeight();
    return {kWidth, kPad + kIcon + (textHeight ? 2 + textHeight : 0) + kPad};
}

void PictureButton::enterEvent(QEnterEvent* event) {
    hover_ = true;
    update();
    QAbstractButton::enterEvent(event);
}

void PictureButton::leaveEvent(QEvent* event) {
    hover_ = false;
    update();
    QAbstractButton::leaveEvent(event);
}

void PictureButton::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF box = QRectF(rect()).adjusted(1.5, 1.5, -1.5, -1.5);
    const QPalette& pal = palette();
    QColor highlight = pal.color(QPalette::Highlight);
    if (isChecked() || isDown()) {
        QColor fill = highlight;
        fill.setAlpha(isDown() ? 90 : 60);
        p.setPen(QPen(highlight, 1));
        p.setBrush(fill);
        p.drawRoundedRect(box, 5, 5);
    } else if (hover_ && isEnabled()) {
        QColor fill = highlight;
        fill.setAlpha(28);
        p.setPen(QPen(fill.darker(110), 1));
        p.setBrush(fill);
        p.drawRoundedRect(box, 5, 5);
    }
    if (hasFocus()) {
        p.setPen(QPen(highlight, 1, Qt::DotLine));
        p.setBrush(Qt::NoBrush);
        p.drawRoundedRect(box.adjusted(2, 2, -2, -2), 4, 4);
    }
    const QIcon::Mode mode = isEnabled() ? QIcon::Normal : QIcon::Disabled;
    icon().paint(&p, QRect((width() - kIcon) / 2, kPad, kIcon, kIcon), Qt::AlignCenter, mode);
    if (!text().isEmpty()) {
        p.setPen(
            pal.color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::ButtonText));
        p.drawText(QRect(kPad, kPad + kIcon + 2, width() - 2 * kPad, height() - kPad - kIcon - 2),
                   Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap, text());
    }
}

}  // namespace velloran::gui
