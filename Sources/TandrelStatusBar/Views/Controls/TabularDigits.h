#pragma once

#include <QString>

class QFontMetricsF;
class QPainter;
class QRectF;

namespace tandrel {

// Digits of equal width in any font: the fonts' own tabular figures cannot be asked for before
// Qt 6.7.

/// The width of `text` with each digit as wide as the widest.
[[nodiscard]] qreal tabularWidth(const QString& text, const QFontMetricsF& metrics);
/// Draws `text` that way on one line, in the painter's font and pen.
void drawTabular(QPainter& painter, const QRectF& area, Qt::Alignment alignment,
                 const QString& text);

} // namespace tandrel
