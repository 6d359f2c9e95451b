#include "Views/Controls/StatusIcon.h"

#include "Views/Controls/Symbol.h"
#include "Views/Controls/Theme.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPixmap>

namespace tandrel {

namespace {

/// The symbol with an edge around it, so that it reads on a panel of its own shade too.
QPixmap edged(int side, const QColor& glyph, const QColor& edge) {
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    const QPixmap shade = symbolPixmapOfSide(Symbol::headphones, side, edge, 1.0);
    for (const QPoint offset : {QPoint(-1, 0), QPoint(1, 0), QPoint(0, -1), QPoint(0, 1)}) {
        painter.drawPixmap(offset, shade);
    }
    painter.drawPixmap(0, 0, symbolPixmapOfSide(Symbol::headphones, side, glyph, 1.0));
    return pixmap;
}

void drawBadge(QPixmap& pixmap, const QColor& fill, const QColor& edge) {
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal side = pixmap.width();
    painter.setPen(QPen(edge, side / 16));
    painter.setBrush(fill);
    const qreal radius = side / 5;
    painter.drawEllipse(QPointF(side - radius - 1, radius + 1), radius, radius);
}

} // namespace

QIcon statusIcon(bool isStreaming) {
    const QString name = isStreaming ? QStringLiteral("com.quorvane.Tandrel-streaming-symbolic")
                                     : QStringLiteral("com.quorvane.Tandrel-symbolic");
    if (QIcon::hasThemeIcon(name)) {
        return QIcon::fromTheme(name);
    }
    // Panels mostly have the shade of the windows; the edge serves where they do not.
    const QPalette palette = QGuiApplication::palette();
    const bool isOnDark = isDark(palette);
    const QColor glyph = isOnDark ? QColor(0xf5, 0xf5, 0xf5) : QColor(0x2c, 0x2c, 0x2c);
    const QColor edge = isOnDark ? QColor(0, 0, 0, 0x80) : QColor(0xff, 0xff, 0xff, 0xc0);
    QIcon icon;
    for (const int side : {16, 22, 24, 32, 48}) {
        QPixmap pixmap = edged(side, glyph, edge);
        if (isStreaming) {
            drawBadge(pixmap, color(ColorRole::green, palette), isOnDark ? Qt::black : Qt::white);
        }
        icon.addPixmap(pixmap);
    }
    return icon;
}

} // namespace tandrel
