#include "Views/Controls/Spinner.h"

#include "Views/Controls/Points.h"

#include <QEvent>
#include <QPainter>
#include <QTimerEvent>

#include <algorithm>
#include <chrono>

namespace tandrel {

namespace {

constexpr qreal sidePoints = 12.0;
constexpr int spokes = 8;
constexpr std::chrono::milliseconds stepInterval{100};

} // namespace

Spinner::Spinner(ColorRole role, QWidget* parent)
    : QWidget(parent)
    , role_(role) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void Spinner::setColor(const QColor& color) {
    color_ = color;
    update();
}

QSize Spinner::sizeHint() const {
    const int side = roundedPixels(sidePoints);
    return {side, side};
}

void Spinner::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal side = std::min(width(), height());
    painter.translate(width() / 2.0, height() / 2.0);
    painter.rotate(360.0 * step_ / spokes);
    QColor ink = color_.isValid() ? color_ : tandrel::color(role_, palette());
    for (int spoke = 0; spoke < spokes; ++spoke) {
        // The brightest spoke leads, the rest is its trail.
        ink.setAlphaF(float(1.0 - 0.8 * spoke / (spokes - 1)));
        painter.setPen(QPen(ink, side * 0.115, Qt::SolidLine, Qt::RoundCap));
        painter.drawLine(QPointF(0.0, -side * 0.25), QPointF(0.0, -side * 0.43));
        painter.rotate(-360.0 / spokes);
    }
}

void Spinner::timerEvent(QTimerEvent* event) {
    if (event->timerId() != timer_.timerId()) {
        QWidget::timerEvent(event);
        return;
    }
    step_ = (step_ + 1) % spokes;
    update();
}

void Spinner::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    timer_.start(int(stepInterval.count()), this);
}

void Spinner::hideEvent(QHideEvent* event) {
    timer_.stop();
    QWidget::hideEvent(event);
}

void Spinner::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (changesPoints(*event)) {
        updateGeometry();
    }
    update();
}

} // namespace tandrel
