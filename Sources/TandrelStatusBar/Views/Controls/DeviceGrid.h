#pragma once

#include <QRectF>
#include <QtGlobal>

class QPainter;

namespace tandrel {

/// How many pixels of what `painter` draws on make one logical pixel.
[[nodiscard]] qreal deviceScale(const QPainter& painter);
/// `logical` pixels rounded down to whole device pixels, at least one: a line of that width is
/// equally thick wherever it lies.
[[nodiscard]] qreal hairline(const QPainter& painter, qreal logical = 1.0);
/// `area` with its edges moved to the nearest device pixels.
[[nodiscard]] QRectF snapped(const QPainter& painter, const QRectF& area);

} // namespace tandrel
