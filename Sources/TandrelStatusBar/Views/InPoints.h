#pragma once

#include <functional>

class QWidget;

namespace tandrel {

/// Calls `apply`, which sets sizes given in points, now and again whenever a point may have become
/// another number of pixels, for as long as `widget` lives. Main thread.
void applyInPoints(QWidget& widget, std::function<void()> apply);

} // namespace tandrel
