#include "Views/Controls/StatusIconEngine.h"

#include "Views/Controls/Symbol.h"
#include "Views/Controls/Theme.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPalette>

#include <algorithm>
#include <utility>

namespace tandrel {

namespace {

/// The symbol with an edge around it, so that it reads on a panel of its own shade too.
void drawEdged(QPainter& painter, int side, const QColor& glyph, const QColor& edge) {
    const QPixmap shade = symbolPixmapOfSide(Symbol::headphones, side, edge, 1.0);
    const int width = std::max(1, side / 24);
    for (const QPoint offset : {QPoint(-1, 0), QPoint(1, 0), QPoint(0, -1), QPoint(0, 1)}) {
        painter.drawPixmap(offset * width, shade);
    }
    painter.drawPixmap(0, 0, symbolPixmapOfSide(Symbol::headphones, side, glyph, 1.0));
}

void drawBadge(QPainter& painter, int side, const QColor& fill, const QColor& edge) {
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal radius = side / 5.0;
    painter.setPen(QPen(edge, side / 16.0));
    painter.setBrush(fill);
    painter.drawEllipse(QPointF(side - radius - 1, radius + 1), radius, radius);
}

} // namespace

StatusIconEngine::StatusIconEngine(QString themeName, bool isMicrophoneOpen)
    : themeName_(std::move(themeName))
    , isMicrophoneOpen_(isMicrophoneOpen) {}

QPixmap StatusIconEngine::pixmap(const QSize& size, QIcon::Mode /*mode*/, QIcon::State /*state*/) {
    const int side = std::min(size.width(), size.height());
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    if (pixmap.isNull()) {
        return pixmap;
    }
    // Panels mostly have the shade of the windows; the edge serves where they do not.
    const QPalette palette = QGuiApplication::palette();
    const bool isOnDark = isDark(palette);
    const QColor glyph = isOnDark ? QColor(0xf5, 0xf5, 0xf5) : QColor(0x2c, 0x2c, 0x2c);
    const QColor edge = isOnDark ? QColor(0, 0, 0, 0x80) : QColor(0xff, 0xff, 0xff, 0xc0);
    QPainter painter(&pixmap);
    drawEdged(painter, side, glyph, edge);
    if (isMicrophoneOpen_) {
        drawBadge(painter, side, color(ColorRole::green, palette),
                  isOnDark ? Qt::black : Qt::white);
    }
    return pixmap;
}

void StatusIconEngine::paint(QPainter* painter, const QRect& rect, QIcon::Mode mode,
                             QIcon::State state) {
    const QPixmap drawn = pixmap(rect.size() * painter->device()->devicePixelRatio(), mode, state);
    painter->drawPixmap(rect, drawn);
}

QIconEngine* StatusIconEngine::clone() const {
    return new StatusIconEngine(themeName_, isMicrophoneOpen_);
}

QList<QSize> StatusIconEngine::availableSizes(QIcon::Mode /*mode*/, QIcon::State /*state*/) {
    return {{16, 16}, {22, 22}, {24, 24}, {32, 32}, {48, 48}};
}

} // namespace tandrel
