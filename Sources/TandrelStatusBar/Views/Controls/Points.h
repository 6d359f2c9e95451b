#pragma once

#include <QFont>
#include <QtGlobal>

class QEvent;

namespace tandrel {

// All sizes of the interface are points: one point is 1/13 of the size of the user's default
// interface font, so that everything grows with the user's text. Main thread.

/// `points` in logical pixels.
[[nodiscard]] qreal pixels(qreal points);
/// `points` in whole logical pixels; at least 1 for anything above 0.
[[nodiscard]] int roundedPixels(qreal points);
/// The user's interface font at `points`.
[[nodiscard]] QFont systemFont(qreal points, QFont::Weight weight = QFont::Normal);

/// Whether a widget that receives `event` as a change event has to take its sizes anew.
[[nodiscard]] bool changesPoints(const QEvent& event);
/// Whether a widget with a font of its own, from `systemFont`, has to take it anew. Such a widget
/// gets no change event then: ask this in `event()`.
[[nodiscard]] bool changesSystemFont(const QEvent& event);

} // namespace tandrel
