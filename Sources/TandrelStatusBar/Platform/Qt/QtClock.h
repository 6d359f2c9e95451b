#pragma once

#include "Platform/Clock.h"

namespace tandrel {

/// Time by the Qt event loop of the thread that calls. Delays are rounded up to milliseconds and
/// never fire early; they may be as long as `Duration` can say. `every()` keeps its phase, skips
/// the ticks that a busy loop missed, and takes an interval of less than a millisecond as one, of
/// more than 24 days as that.
class QtClock : public Clock {
public:
    [[nodiscard]] Handle after(Duration delay, std::function<void()> action) override;
    [[nodiscard]] Handle every(Duration interval, std::function<void()> action) override;
};

} // namespace tandrel
