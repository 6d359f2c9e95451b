#pragma once

#include <QRect>
#include <QtGlobal>

class QPainter;

namespace tandrel {

/// Draws the soft shadow of `card`, which has corners of `radius` logical pixels and hangs a
/// little above what lies below it. `isDark`: under a dark theme.
void drawCardShadow(QPainter& painter, const QRect& card, qreal radius, bool isDark);

} // namespace tandrel
