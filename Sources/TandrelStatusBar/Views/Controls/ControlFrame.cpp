#include "Views/Controls/ControlFrame.h"

#include "Views/Controls/DeviceGrid.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/Theme.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QWidget>

#include <algorithm>
#include <cmath>

namespace tandrel {

int controlHeight(const QFont& font) {
    constexpr qreal height = 26.0;
    constexpr qreal verticalPadding = 4.0;
    const qreal text = QFontMetricsF(font).height() + 2.0 * pixels(verticalPadding);
    return std::max(roundedPixels(height), int(std::ceil(text)));
}

void drawControlFrame(QPainter& painter, const QWidget& control, bool isActive) {
    const QPalette& palette = control.palette();
    const qreal width = hairline(painter, isActive ? pixels(2.0) : 1.0);
    QColor fill = controlFill(palette);
    if (!control.isEnabled()) {
        fill = mixed(fill, color(ColorRole::card, palette), 0.6);
    }
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(isActive ? focusRing(palette) : controlBorder(palette), width));
    painter.setBrush(fill);
    const qreal inset = width / 2.0;
    const qreal radius = pixels(controlRadius) - inset;
    painter.drawRoundedRect(snapped(painter, control.rect()).adjusted(inset, inset, -inset, -inset),
                            radius, radius);
    painter.restore();
}

} // namespace tandrel
