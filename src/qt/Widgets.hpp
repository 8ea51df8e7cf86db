#pragma once
// Painted widgets of the main window: the banner and the picture buttons.
#include <QAbstractButton>
#include <QIcon>
#include <QWidget>

namespace velloran::gui {

// The branded strip across the top of the main window.
class Banner : public QWidget {
    Q_OBJECT
public:
    explicit Banner(QWidget* parent = nullptr);
    void SetTitle(const QString& title);
    void SetTagline(const QString& tagline);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString title_;
    QString tagline_;
    QIcon logo_;
};

// An icon with its name below it; "checked" marks the page in front.
class PictureButton : public QAbstractButton {
    Q_OBJECT
public:
    explicit PictureButton(QWidget* parent = nullptr);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    int TextHeight() const;
    bool hover_ = false;
};

// Theme icon by name, with a bundled picture when the desktop theme lacks it.
QIcon ThemeIcon(const char* themeName, const char* bundled);

}  // namespace velloran::gui
