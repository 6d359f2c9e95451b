#include "Platform/Desktop/StatusIcon.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QPixmap>

namespace tandrel {

namespace {

constexpr qreal unit = 24;

/// The headphones, on a square of 24 units: band, then cups.
void drawHeadphones(QPainter& painter, const QColor& color, qreal extraWidth) {
    QPainterPath band;
    band.moveTo(4.5, 15.5);
    band.lineTo(4.5, 12);
    band.arcTo(QRectF(4.5, 4.5, 15, 15), 180, -180);
    band.lineTo(19.5, 15.5);
    painter.strokePath(band, QPen(color, 2 + extraWidth, Qt::SolidLine, Qt::RoundCap));
    const qreal edge = extraWidth / 2;
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    for (const qreal x : {3.5, 16.0}) {
        painter.drawRoundedRect(QRectF(x, 13, 4.5, 7.5).adjusted(-edge, -edge, edge, edge),
                                1.8 + edge, 1.8 + edge);
    }
}

QPixmap drawn(int size, bool isStreaming) {
    // Panels mostly have the shade of the other windows; the edge serves where they do not.
    const bool isDark = QGuiApplication::palette().color(QPalette::Window).lightnessF() < 0.5F;
    const QColor glyph = isDark ? QColor(0xf5, 0xf5, 0xf5) : QColor(0x30, 0x30, 0x30);
    const QColor edge = isDark ? QColor(0, 0, 0, 0x70) : QColor(0xff, 0xff, 0xff, 0xb0);
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(size / unit, size / unit);
    drawHeadphones(painter, edge, 2.0);
    drawHeadphones(painter, glyph, 0);
    if (isStreaming) {
        painter.setPen(QPen(isDark ? Qt::black : Qt::white, 1.2));
        painter.setBrush(QColor(0x2f, 0xb3, 0x4f));
        painter.drawEllipse(QPointF(18.6, 5.4), 4.4, 4.4);
    }
    return pixmap;
}

} // namespace

QIcon statusIcon(bool isStreaming) {
    const QString name = isStreaming ? QStringLiteral("com.quorvane.Tandrel-streaming-symbolic")
                                     : QStringLiteral("com.quorvane.Tandrel-symbolic");
    if (QIcon::hasThemeIcon(name)) {
        return QIcon::fromTheme(name);
    }
    QIcon icon;
    for (const int size : {16, 22, 24, 32, 48, 64}) {
        icon.addPixmap(drawn(size, isStreaming));
    }
    return icon;
}

} // namespace tandrel
