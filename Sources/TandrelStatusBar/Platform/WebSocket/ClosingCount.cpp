#include "Platform/WebSocket/ClosingCount.h"

namespace tandrel {

ClosingCount::Token ClosingCount::begin() {
    {
        const std::lock_guard lock(mutex_);
        ++count_;
    }
    return {this, [counter = shared_from_this()](void*) { counter->end(); }};
}

void ClosingCount::end() {
    const std::lock_guard lock(mutex_);
    --count_;
    ended_.notify_all();
}

bool ClosingCount::waitForNone(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    return ended_.wait_for(lock, limit, [this] { return count_ == 0; });
}

} // namespace tandrel
