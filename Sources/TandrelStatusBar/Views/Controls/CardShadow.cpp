#include "Views/Controls/CardShadow.h"

#include "Views/Controls/DeviceGrid.h"
#include "Views/Controls/Points.h"

#include <QImage>
#include <QPainter>
#include <QPixmap>
#include <QPixmapCache>

#include <array>
#include <cmath>
#include <utility>
#include <vector>

namespace tandrel {

namespace {

/// A shadow as light from above casts it: how soft, how far down (points), how dark.
struct Cast {
    qreal blur;
    qreal drop;
    qreal strength;
};

using Coverage = std::vector<float>;

std::size_t indexOf(int row, int column, int side) {
    return std::size_t(row) * std::size_t(side) + std::size_t(column);
}

/// One pass of a box over each row of a square; transposes, so that the next pass does the columns.
Coverage boxBlurred(const Coverage& source, int side, int reach) {
    Coverage result(source.size());
    const auto at = [side](int row, int column) { return indexOf(row, column, side); };
    for (int row = 0; row < side; ++row) {
        float sum = 0.0F;
        for (int column = -reach; column < side; ++column) {
            if (column + reach < side) {
                sum += source[at(row, column + reach)];
            }
            if (column - reach - 1 >= 0) {
                sum -= source[at(row, column - reach - 1)];
            }
            if (column >= 0) {
                result[at(column, row)] = sum / float(2 * reach + 1);
            }
        }
    }
    return result;
}

/// A square with a rounded square in its middle, `reach` from each edge, blurred: the corners and
/// edges of a shadow of any size. Three boxes come close to a Gaussian.
QPixmap shadowTile(int side, int reach, qreal radius, qreal blur, qreal strength) {
    QImage shape(side, side, QImage::Format_Alpha8);
    shape.fill(Qt::transparent);
    QPainter painter(&shape);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::black);
    painter.drawRoundedRect(QRectF(reach, reach, side - 2 * reach, side - 2 * reach), radius,
                            radius);
    painter.end();

    Coverage coverage(std::size_t(side) * std::size_t(side));
    for (int row = 0; row < side; ++row) {
        const uchar* line = shape.constScanLine(row);
        for (int column = 0; column < side; ++column) {
            coverage[indexOf(row, column, side)] = float(line[column]);
        }
    }
    // Three of them reach as far as twice the blur.
    const int boxReach = std::max(1, int(std::floor(blur * 2.0 / 3.0)));
    for (int pass = 0; pass < 6; ++pass) {
        coverage = boxBlurred(coverage, side, boxReach);
    }

    QImage tile(side, side, QImage::Format_ARGB32_Premultiplied);
    for (int row = 0; row < side; ++row) {
        for (int column = 0; column < side; ++column) {
            const float covered = coverage[indexOf(row, column, side)];
            tile.setPixel(column, row, qRgba(0, 0, 0, int(std::lround(covered * float(strength)))));
        }
    }
    return QPixmap::fromImage(tile);
}

void drawCast(QPainter& painter, const QRect& card, qreal radius, const Cast& cast) {
    const qreal devicePixelRatio = deviceScale(painter);
    const int blur = roundedPixels(cast.blur);
    const int reach = 2 * blur;
    // Far enough inside that the middle of each edge is straight.
    const int corner = 2 * reach + int(std::ceil(radius));
    const int side = 2 * corner + 1;
    const auto inDevice = [devicePixelRatio](qreal length) {
        return int(std::lround(length * devicePixelRatio));
    };
    const QString key = QStringLiteral("tandrel/shadow/%1/%2/%3/%4")
                            .arg(blur)
                            .arg(radius)
                            .arg(cast.strength)
                            .arg(devicePixelRatio);
    QPixmap tile;
    if (!QPixmapCache::find(key, &tile)) {
        tile = shadowTile(inDevice(side), inDevice(reach), radius * devicePixelRatio,
                          blur * devicePixelRatio, cast.strength);
        QPixmapCache::insert(key, tile);
    }

    const QRect outer =
        card.translated(0, roundedPixels(cast.drop)).adjusted(-reach, -reach, reach, reach);
    const std::array<int, 4> fromEdges{0, inDevice(corner), inDevice(corner + 1), inDevice(side)};
    const std::array<int, 4> toColumns{outer.left(), outer.left() + corner,
                                       outer.right() + 1 - corner, outer.right() + 1};
    const std::array<int, 4> toRows{outer.top(), outer.top() + corner, outer.bottom() + 1 - corner,
                                    outer.bottom() + 1};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            const QRect from(QPoint(fromEdges[column], fromEdges[row]),
                             QPoint(fromEdges[column + 1] - 1, fromEdges[row + 1] - 1));
            const QRect to(QPoint(toColumns[column], toRows[row]),
                           QPoint(toColumns[column + 1] - 1, toRows[row + 1] - 1));
            painter.drawPixmap(to, tile, from);
        }
    }
}

} // namespace

void drawCardShadow(QPainter& painter, const QRect& card, qreal radius, bool isDark) {
    // A wide one for the height above the ground, a tight one for the edge.
    const Cast wide{9.0, 5.0, isDark ? 0.55 : 0.28};
    const Cast tight{2.0, 1.0, isDark ? 0.40 : 0.14};
    drawCast(painter, card, radius, wide);
    drawCast(painter, card, radius, tight);
}

} // namespace tandrel
