#include "StatusIconScene.h"

#include "Views/Controls/StatusIcon.h"

#include <QColor>
#include <QIcon>
#include <QPainter>
#include <QRect>

#include <iterator>

namespace tandrel::gallery {

namespace {

constexpr int cell = 48;
constexpr int sizes[] = {16, 22, 32};

/// The sizes in a row, closed above open.
void drawPanel(QPainter& painter, const QRect& panel, const QColor& ground) {
    painter.fillRect(panel, ground);
    for (const bool isMicrophoneOpen : {false, true}) {
        const QIcon icon = statusIcon(isMicrophoneOpen);
        QRect place(panel.x(), panel.y() + (isMicrophoneOpen ? cell : 0), cell, cell);
        for (const int size : sizes) {
            QRect area(0, 0, size, size);
            area.moveCenter(place.center());
            icon.paint(&painter, area);
            place.translate(cell, 0);
        }
    }
}

} // namespace

QImage pictureOfStatusIcons(qreal scale) {
    constexpr int columns = std::size(sizes);
    const QSize size(cell * columns, cell * 4);
    QImage picture(size * scale, QImage::Format_RGB32);
    picture.setDevicePixelRatio(scale);
    QPainter painter(&picture);
    drawPanel(painter, QRect(0, 0, size.width(), cell * 2), QColor(0x1d, 0x1f, 0x21));
    drawPanel(painter, QRect(0, cell * 2, size.width(), cell * 2), QColor(0xe9, 0xea, 0xec));
    return picture;
}

} // namespace tandrel::gallery
