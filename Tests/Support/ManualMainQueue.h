#pragma once

#include "Platform/MainQueue.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <vector>

namespace tandrel::test {

/// A main queue that the test runs by hand, on the test's own thread.
class ManualMainQueue : public MainQueue {
public:
    void post(Action action) override;
    void postWithoutWaking(Action action) override;

    /// Runs all that is waiting, and what that posts; returns how many actions ran.
    std::size_t drain();

    /// Runs what comes until `condition` holds or `limit` has passed; whether it held.
    bool drainUntil(const std::function<bool()>& condition,
                    std::chrono::milliseconds limit = std::chrono::seconds(20));

    [[nodiscard]] std::size_t size() const;
    /// How many actions were posted as worth a wake-up, ever.
    [[nodiscard]] std::size_t wakeUps() const;

private:
    mutable std::mutex mutex_;
    std::condition_variable posted_;
    std::vector<Action> actions_;
    std::size_t wakeUps_ = 0;
};

} // namespace tandrel::test
