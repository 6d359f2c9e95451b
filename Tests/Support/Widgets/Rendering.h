#pragma once

#include <QFont>
#include <QImage>
#include <QPalette>
#include <QWidget>

namespace tandrel::test {

/// What `widget` shows, at 1 device pixel per logical pixel, on a transparent ground.
[[nodiscard]] QImage rendered(QWidget& widget);
/// The same, drawn for a screen of `devicePixelRatio`.
[[nodiscard]] QImage rendered(QWidget& widget, qreal devicePixelRatio);
/// Whether no channel of the two colours differs by more than `tolerance` (of 255).
[[nodiscard]] bool isClose(const QColor& one, const QColor& other, int tolerance = 3);
/// How many pixels of `image` are close to `color`.
[[nodiscard]] int countOf(const QColor& color, const QImage& image, int tolerance = 3);

/// Shows `widget` and runs the event loop until it is on the screen.
void showAndWait(QWidget& widget);

/// The application's font and palette while it lives; then those from before.
class ApplicationLook {
public:
    ApplicationLook();
    ~ApplicationLook();
    ApplicationLook(const ApplicationLook&) = delete;
    ApplicationLook& operator=(const ApplicationLook&) = delete;

    /// Makes the interface font `factor` times as large and waits until all widgets know.
    void scaleFont(qreal factor) const;
    /// The same for the palette.
    void setPalette(const QPalette& palette) const;

private:
    QFont font_;
    QPalette palette_;
};

} // namespace tandrel::test
