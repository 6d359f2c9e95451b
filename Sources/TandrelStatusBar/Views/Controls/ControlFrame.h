#pragma once

#include <QtGlobal>

class QFont;
class QPainter;
class QWidget;

namespace tandrel {

/// The height, in logical pixels, of a field with one line of text in `font`.
[[nodiscard]] int controlHeight(const QFont& font);
/// Draws the ground and the rounded border that fields and pickers share, over all of `control`;
/// with `isActive` the border is the one of the focus.
void drawControlFrame(QPainter& painter, const QWidget& control, bool isActive);
/// The radius of that border's corners in points.
inline constexpr qreal controlRadius = 6.0;

} // namespace tandrel
