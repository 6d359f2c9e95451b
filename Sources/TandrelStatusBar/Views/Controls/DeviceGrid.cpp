#include "Views/Controls/DeviceGrid.h"

#include <QPainter>
#include <QTransform>

#include <algorithm>
#include <cmath>

namespace tandrel {

qreal deviceScale(const QPainter& painter) {
    return painter.deviceTransform().m11();
}

qreal hairline(const QPainter& painter, qreal logical) {
    const qreal scale = deviceScale(painter);
    return std::max(1.0, std::floor(logical * scale)) / scale;
}

QRectF snapped(const QPainter& painter, const QRectF& area) {
    const QTransform toDevice = painter.deviceTransform();
    const QRectF device = toDevice.mapRect(area);
    const QPointF topLeft(std::round(device.left()), std::round(device.top()));
    const QPointF bottomRight(std::round(device.right()), std::round(device.bottom()));
    return toDevice.inverted().mapRect(QRectF(topLeft, bottomRight));
}

} // namespace tandrel
