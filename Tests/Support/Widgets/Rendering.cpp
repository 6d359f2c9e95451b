#include "Support/Widgets/Rendering.h"

#include "Support/Qt/EventLoop.h"

#include <QApplication>
#include <QPainter>
#include <QWindow>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

namespace tandrel::test {

QImage rendered(QWidget& widget) {
    return rendered(widget, 1.0);
}

QImage rendered(QWidget& widget, qreal devicePixelRatio) {
    const QSizeF size = QSizeF(widget.size()) * devicePixelRatio;
    QImage image(int(std::ceil(size.width())), int(std::ceil(size.height())),
                 QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(devicePixelRatio);
    image.fill(Qt::transparent);
    widget.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image;
}

bool isClose(const QColor& one, const QColor& other, int tolerance) {
    return std::abs(one.red() - other.red()) <= tolerance &&
           std::abs(one.green() - other.green()) <= tolerance &&
           std::abs(one.blue() - other.blue()) <= tolerance &&
           std::abs(one.alpha() - other.alpha()) <= tolerance;
}

int countOf(const QColor& color, const QImage& image, int tolerance) {
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            count += isClose(image.pixelColor(x, y), color, tolerance) ? 1 : 0;
        }
    }
    return count;
}

void showAndWait(QWidget& widget) {
    widget.show();
    widget.activateWindow();
    const bool isShown = runUntil([&widget] {
        return widget.windowHandle() != nullptr && widget.windowHandle()->isExposed() &&
               widget.isActiveWindow();
    });
    ASSERT_TRUE(isShown) << "the window did not come up";
}

ApplicationLook::ApplicationLook()
    : font_(QApplication::font())
    , palette_(QApplication::palette()) {}

ApplicationLook::~ApplicationLook() {
    QApplication::setFont(font_);
    QApplication::setPalette(palette_);
    QCoreApplication::processEvents();
}

void ApplicationLook::scaleFont(qreal factor) const {
    QFont font = font_;
    font.setPointSizeF(factor * font.pointSizeF());
    QApplication::setFont(font);
    QCoreApplication::processEvents();
}

void ApplicationLook::setPalette(const QPalette& palette) const {
    QApplication::setPalette(palette);
    QCoreApplication::processEvents();
}

} // namespace tandrel::test
