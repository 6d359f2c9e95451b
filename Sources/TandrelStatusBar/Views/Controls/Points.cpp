#include "Views/Controls/Points.h"

#include <QApplication>
#include <QEvent>
#include <QFontInfo>
#include <QScreen>

#include <algorithm>

namespace tandrel {

namespace {

constexpr qreal defaultFontPoints = 13.0;
constexpr qreal typographicPointsPerInch = 72.0;

/// Not from QFontInfo: that rounds to whole pixels.
qreal pixelSize(const QFont& font) {
    if (font.pixelSize() > 0) {
        return font.pixelSize();
    }
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (screen == nullptr) {
        return QFontInfo(font).pixelSize();
    }
    return font.pointSizeF() * screen->logicalDotsPerInchY() / typographicPointsPerInch;
}

} // namespace

qreal pixels(qreal points) {
    return points * pixelSize(QApplication::font()) / defaultFontPoints;
}

int roundedPixels(qreal points) {
    const int rounded = qRound(pixels(points));
    return points > 0.0 ? std::max(rounded, 1) : rounded;
}

QFont systemFont(qreal points, QFont::Weight weight) {
    QFont font = QApplication::font();
    if (font.pointSizeF() > 0.0) {
        font.setPointSizeF(font.pointSizeF() * points / defaultFontPoints);
    } else {
        font.setPixelSize(roundedPixels(points));
    }
    font.setWeight(weight);
    return font;
}

bool changesPoints(const QEvent& event) {
    return event.type() == QEvent::FontChange || event.type() == QEvent::StyleChange;
}

bool changesSystemFont(const QEvent& event) {
    return event.type() == QEvent::ApplicationFontChange;
}

} // namespace tandrel
