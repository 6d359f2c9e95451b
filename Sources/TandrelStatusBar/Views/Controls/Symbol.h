#pragma once

#include <QColor>
#include <QPixmap>
#include <QString>
#include <QtGlobal>

namespace tandrel {

/// The drawings of the interface, all in one stroke.
enum class Symbol {
    headphones,
    circle,
    circleFill,
    checkmarkCircleFill,
    micFill,
    stopFill,
    safari,
    arrowUpRight,
    arrowClockwise,
    exclamationmarkTriangleFill,
    eye,
    eyeSlash,
    chevronUpDown,
};

/// The symbol's name with dots, such as "arrow.up.right".
[[nodiscard]] QString symbolName(Symbol symbol);
/// The side, in whole logical pixels, of the square that a symbol fills beside text of `points`.
[[nodiscard]] int symbolSide(qreal points);
/// The symbol as it stands beside text of `points`, in one colour, for a screen of
/// `devicePixelRatio`.
[[nodiscard]] QPixmap symbolPixmap(Symbol symbol, qreal points, const QColor& color,
                                   qreal devicePixelRatio);
/// The symbol in a square of `side` logical pixels, as trays ask for it.
[[nodiscard]] QPixmap symbolPixmapOfSide(Symbol symbol, int side, const QColor& color,
                                         qreal devicePixelRatio);
/// The application's image, a square of `points`.
[[nodiscard]] QPixmap applicationImage(qreal points, qreal devicePixelRatio);

} // namespace tandrel
