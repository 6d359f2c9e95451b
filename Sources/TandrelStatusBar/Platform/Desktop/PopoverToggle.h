#pragma once

#include <chrono>
#include <optional>

namespace tandrel {

/// What a click on the status item means. Clicks that follow each other at once are one: a double
/// click arrives as two. A click that took the focus away, and so closed the popover, is the one
/// that was to close it, and does not open it again. Pure: the time comes with each call.
class PopoverToggle {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    enum class Reaction { none, open, close };

    static constexpr std::chrono::milliseconds interval{250};

    [[nodiscard]] Reaction clicked(bool isOpen, TimePoint now);
    void closedByItself(TimePoint now) { closed_ = now; }

private:
    std::optional<TimePoint> click_;
    std::optional<TimePoint> closed_;
};

} // namespace tandrel
