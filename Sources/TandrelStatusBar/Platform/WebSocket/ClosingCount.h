#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace tandrel {

/// Counts the closing handshakes under way, so that the program's end can wait for them. Any
/// thread.
class ClosingCount : public std::enable_shared_from_this<ClosingCount> {
public:
    /// Stands for one closing handshake, until the last copy is gone.
    using Token = std::shared_ptr<void>;

    [[nodiscard]] Token begin();
    /// Whether all have ended within `limit`.
    [[nodiscard]] bool waitForNone(std::chrono::milliseconds limit);

private:
    void end();

    std::mutex mutex_;
    std::condition_variable ended_;
    int count_ = 0;
};

} // namespace tandrel
