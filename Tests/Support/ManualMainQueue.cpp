#include "Support/ManualMainQueue.h"

#include "Support/WaitUntil.h"

#include <utility>

namespace tandrel::test {

void ManualMainQueue::post(Action action) {
    const std::lock_guard lock(mutex_);
    actions_.push_back(std::move(action));
    ++wakeUps_;
    posted_.notify_one();
}

void ManualMainQueue::postWithoutWaking(Action action) {
    const std::lock_guard lock(mutex_);
    actions_.push_back(std::move(action));
}

std::size_t ManualMainQueue::drain() {
    std::size_t count = 0;
    for (;;) {
        std::vector<Action> batch;
        {
            const std::lock_guard lock(mutex_);
            batch.swap(actions_);
        }
        if (batch.empty()) {
            return count;
        }
        for (const auto& action : batch) {
            action();
            ++count;
        }
    }
}

bool ManualMainQueue::drainUntil(const std::function<bool()>& condition,
                                 std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + stretched(limit);
    for (;;) {
        drain();
        if (condition()) {
            return true;
        }
        std::unique_lock lock(mutex_);
        // Woken now and then, since the condition may depend on more than posted work.
        const auto next = std::chrono::steady_clock::now() + std::chrono::milliseconds(5);
        posted_.wait_until(lock, next, [this] { return !actions_.empty(); });
        if (actions_.empty() && std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
    }
}

std::size_t ManualMainQueue::size() const {
    const std::lock_guard lock(mutex_);
    return actions_.size();
}

std::size_t ManualMainQueue::wakeUps() const {
    const std::lock_guard lock(mutex_);
    return wakeUps_;
}

} // namespace tandrel::test
