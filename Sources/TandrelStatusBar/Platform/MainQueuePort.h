#pragma once

#include "Platform/MainQueue.h"

#include <mutex>

namespace tandrel {

/// A way to the main queue for work that may outlive both: once closed, it drops what it is given.
/// Any thread.
class MainQueuePort {
public:
    /// The queue must live until the port is closed.
    explicit MainQueuePort(MainQueue& queue);

    void post(MainQueue::Action action);
    void close();

private:
    std::mutex mutex_;
    /// Null once closed.
    MainQueue* queue_;
};

} // namespace tandrel
