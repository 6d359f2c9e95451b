#pragma once

#include "Platform/MainQueue.h"

#include <memory>

namespace tandrel {

/// Work for the thread that makes this object, run by its Qt event loop. Actions that still wait
/// when the queue is destroyed are dropped unrun. The queue must outlive whoever posts, and is not
/// destroyed by one of its own actions.
class QtMainQueue : public MainQueue {
public:
    QtMainQueue();
    ~QtMainQueue() override;

    void post(std::function<void()> action) override;

private:
    class Receiver;
    std::unique_ptr<Receiver> receiver_;
};

} // namespace tandrel
