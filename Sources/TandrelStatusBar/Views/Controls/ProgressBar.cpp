#include "Views/Controls/ProgressBar.h"

#include "Views/Controls/Points.h"
#include "Views/Controls/Theme.h"

#include <QEvent>
#include <QPainter>
#include <QStyle>

#include <algorithm>
#include <cmath>

namespace tandrel {

namespace {

constexpr qreal heightPoints = 6.0;
constexpr qreal cornerRadius = 3.0;
constexpr qreal narrowestPoints = 80.0;
constexpr int steps = 1000;

} // namespace

ProgressBar::ProgressBar(const QString& accessibleName, QWidget* parent)
    : QProgressBar(parent) {
    setAccessibleName(accessibleName);
    setRange(0, steps);
    setValue(0);
    setTextVisible(false);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void ProgressBar::setProgress(double progress) {
    setValue(int(std::lround(std::clamp(progress, 0.0, 1.0) * steps)));
}

QSize ProgressBar::sizeHint() const {
    return {roundedPixels(narrowestPoints), roundedPixels(heightPoints)};
}

QSize ProgressBar::minimumSizeHint() const {
    return sizeHint();
}

void ProgressBar::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const qreal radius = pixels(cornerRadius);
    painter.setBrush(color(ColorRole::track, palette()));
    painter.drawRoundedRect(rect(), radius, radius);
    const int filled = int(std::lround(qreal(value()) / maximum() * width()));
    if (filled == 0) {
        return;
    }
    painter.setBrush(tintFill(ColorRole::accent, palette()));
    const QRect place =
        QStyle::visualRect(layoutDirection(), rect(), QRect(0, 0, filled, height()));
    painter.drawRoundedRect(place, std::min(radius, filled / 2.0), radius);
}

void ProgressBar::changeEvent(QEvent* event) {
    QProgressBar::changeEvent(event);
    if (changesPoints(*event)) {
        updateGeometry();
    }
    update();
}

} // namespace tandrel
