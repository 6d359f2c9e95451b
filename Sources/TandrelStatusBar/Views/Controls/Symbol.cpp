#include "Views/Controls/Symbol.h"

#include "Views/Controls/Points.h"

#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>

#include <cmath>

/// Resources of a static library exist only once they are asked for; the macro needs the global
/// namespace.
static void initializeResources() {
    Q_INIT_RESOURCE(Resources);
}

namespace tandrel {

namespace {

/// Beside text of size 1 a symbol fills a square of this side, reaching from below the baseline to
/// above the capitals.
constexpr qreal sideOfFontSize = 1.2;

QPixmap render(const QString& path, int side, qreal devicePixelRatio) {
    initializeResources();
    const int devicePixels = int(std::ceil(side * devicePixelRatio));
    QPixmap pixmap(devicePixels, devicePixels);
    pixmap.fill(Qt::transparent);
    QSvgRenderer renderer(path);
    QPainter painter(&pixmap);
    renderer.render(&painter, QRectF(0.0, 0.0, devicePixels, devicePixels));
    painter.end();
    pixmap.setDevicePixelRatio(devicePixelRatio);
    return pixmap;
}

} // namespace

QString symbolName(Symbol symbol) {
    switch (symbol) {
    case Symbol::headphones:
        return QStringLiteral("headphones");
    case Symbol::circle:
        return QStringLiteral("circle");
    case Symbol::circleFill:
        return QStringLiteral("circle.fill");
    case Symbol::checkmarkCircleFill:
        return QStringLiteral("checkmark.circle.fill");
    case Symbol::micFill:
        return QStringLiteral("mic.fill");
    case Symbol::stopFill:
        return QStringLiteral("stop.fill");
    case Symbol::safari:
        return QStringLiteral("safari");
    case Symbol::arrowUpRight:
        return QStringLiteral("arrow.up.right");
    case Symbol::arrowClockwise:
        return QStringLiteral("arrow.clockwise");
    case Symbol::exclamationmarkTriangleFill:
        return QStringLiteral("exclamationmark.triangle.fill");
    case Symbol::eye:
        return QStringLiteral("eye");
    case Symbol::eyeSlash:
        return QStringLiteral("eye.slash");
    case Symbol::chevronUpDown:
        return QStringLiteral("chevron.up.chevron.down");
    }
    return {};
}

int symbolSide(qreal points) {
    return roundedPixels(points * sideOfFontSize);
}

QPixmap symbolPixmap(Symbol symbol, qreal points, const QColor& color, qreal devicePixelRatio) {
    return symbolPixmapOfSide(symbol, symbolSide(points), color, devicePixelRatio);
}

QPixmap symbolPixmapOfSide(Symbol symbol, int side, const QColor& color, qreal devicePixelRatio) {
    const QString name = symbolName(symbol);
    const QString key = QStringLiteral("tandrel/%1/%2/%3/%4")
                            .arg(name)
                            .arg(side)
                            .arg(devicePixelRatio)
                            .arg(color.name(QColor::HexArgb));
    QPixmap pixmap;
    if (QPixmapCache::find(key, &pixmap)) {
        return pixmap;
    }
    pixmap = render(QStringLiteral(":/tandrel/Symbols/%1.svg").arg(name), side, devicePixelRatio);
    QPainter painter(&pixmap);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(QRectF(0.0, 0.0, side + 1.0, side + 1.0), color);
    painter.end();
    QPixmapCache::insert(key, pixmap);
    return pixmap;
}

QPixmap applicationImage(qreal points, qreal devicePixelRatio) {
    return render(QStringLiteral(":/tandrel/ApplicationImage.svg"), roundedPixels(points),
                  devicePixelRatio);
}

} // namespace tandrel
