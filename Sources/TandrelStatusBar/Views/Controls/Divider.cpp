#include "Views/Controls/Divider.h"

#include "Views/Controls/DeviceGrid.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/Theme.h"

#include <QEvent>
#include <QPainter>

namespace tandrel {

Divider::Divider(QWidget* parent)
    : QWidget(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QSize Divider::sizeHint() const {
    return {0, roundedPixels(1.0)};
}

void Divider::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    QRectF line = snapped(painter, rect());
    line.setHeight(hairline(painter, height()));
    painter.fillRect(line, color(ColorRole::divider, palette()));
}

void Divider::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (changesPoints(*event)) {
        updateGeometry();
    }
    update();
}

} // namespace tandrel
