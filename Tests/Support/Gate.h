#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace tandrel::test {

/// Holds up whoever comes through while it is closed, as it is at first: a disk or a keyring that
/// does not answer. Any thread.
class Gate {
public:
    /// Waits until the gate is open.
    void pass() {
        std::unique_lock lock(mutex_);
        ++waiting_;
        opened_.wait(lock, [this] { return isOpen_; });
        --waiting_;
    }

    /// Lets everybody through, also those who wait.
    void open() {
        const std::lock_guard lock(mutex_);
        isOpen_ = true;
        opened_.notify_all();
    }

    /// Nobody must wait.
    void close() {
        const std::lock_guard lock(mutex_);
        isOpen_ = false;
    }

    /// Whether somebody waits for it to be opened.
    [[nodiscard]] bool isHolding() const {
        const std::lock_guard lock(mutex_);
        return waiting_ > 0 && !isOpen_;
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable opened_;
    bool isOpen_ = false;
    std::size_t waiting_ = 0;
};

} // namespace tandrel::test
