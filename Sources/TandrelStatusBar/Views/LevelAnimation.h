#pragma once

#include <chrono>

namespace tandrel {

/// A value on its way from where it was to where it should be, linearly over 50 ms.
class LevelAnimation {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    static constexpr std::chrono::milliseconds duration{50};

    /// Heads for `target` from wherever the value is at `now`.
    void setTarget(double target, TimePoint now) {
        from_ = value(now);
        target_ = target;
        start_ = now;
    }
    /// Is at `target` at once.
    void jumpTo(double target) {
        from_ = target;
        target_ = target;
    }

    [[nodiscard]] double value(TimePoint now) const {
        const std::chrono::duration<double, std::milli> elapsed = now - start_;
        const double progress = elapsed / std::chrono::duration<double, std::milli>(duration);
        return progress >= 1.0 ? target_ : from_ + (target_ - from_) * progress;
    }
    [[nodiscard]] bool isRunning(TimePoint now) const {
        return from_ != target_ && now - start_ < duration;
    }
    [[nodiscard]] double target() const { return target_; }

private:
    double from_ = 0.0;
    double target_ = 0.0;
    TimePoint start_{};
};

} // namespace tandrel
