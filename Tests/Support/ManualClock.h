#pragma once

#include "Platform/Clock.h"

#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace tandrel::test {

/// Virtual time. Nothing runs until `advance()` (or `runPending()`), which runs what falls due in
/// the order of the due times, and of the calls among equals.
class ManualClock : public Clock {
public:
    ManualClock();
    ~ManualClock() override;

    [[nodiscard]] Handle after(Duration delay, std::function<void()> action) override;
    [[nodiscard]] Handle every(Duration interval, std::function<void()> action) override;

    /// Moves time on by `duration`, running all that falls due on the way, new work included.
    void advance(Duration duration);
    /// Runs what is due now, without moving time.
    void runPending() { advance(Duration::zero()); }

    [[nodiscard]] Duration elapsed() const;
    /// Timers that still wait.
    [[nodiscard]] std::size_t pendingCount() const;
    /// Every delay asked of `after()`, in order; zero delays included.
    [[nodiscard]] const std::vector<Duration>& requestedDelays() const;

private:
    struct Shared;
    std::shared_ptr<Shared> shared_;
    [[nodiscard]] Handle schedule(Duration delay, Duration interval, std::function<void()> action);
};

} // namespace tandrel::test
