#include "Platform/MainQueuePort.h"

#include <utility>

namespace tandrel {

MainQueuePort::MainQueuePort(MainQueue& queue)
    : queue_(&queue) {}

void MainQueuePort::post(MainQueue::Action action) {
    const std::lock_guard lock(mutex_);
    if (queue_ != nullptr) {
        queue_->post(std::move(action));
    }
}

void MainQueuePort::close() {
    const std::lock_guard lock(mutex_);
    queue_ = nullptr;
}

} // namespace tandrel
