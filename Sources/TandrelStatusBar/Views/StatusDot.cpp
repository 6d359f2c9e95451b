#include "Views/StatusDot.h"

#include "Views/Controls/Points.h"

#include <QEvent>
#include <QPainter>

namespace tandrel {

StatusDot::StatusDot(ColorRole role, QWidget* parent)
    : QWidget(parent)
    , role_(role) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize StatusDot::sizeHint() const {
    const int side = roundedPixels(6);
    return {side, side};
}

void StatusDot::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color(role_, palette()));
    painter.drawEllipse(rect());
}

void StatusDot::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (changesPoints(*event)) {
        updateGeometry();
    }
    update();
}

} // namespace tandrel
