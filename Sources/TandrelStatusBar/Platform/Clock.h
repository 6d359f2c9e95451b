#pragma once

#include "Foundation/Handle.h"

#include <chrono>
#include <functional>

namespace tandrel {

/// Time as the main thread sees it; virtual in tests.
class Clock {
public:
    using Duration = std::chrono::nanoseconds;

    Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    virtual ~Clock() = default;

    /// Calls `action` once on the main thread, `delay` from now; a zero delay means the next turn
    /// of the main loop, in the order of the calls. Destroying the handle cancels.
    [[nodiscard]] virtual Handle after(Duration delay, std::function<void()> action) = 0;

    /// Calls `action` on the main thread every `interval`, until the handle is destroyed.
    [[nodiscard]] virtual Handle every(Duration interval, std::function<void()> action) = 0;
};

} // namespace tandrel
