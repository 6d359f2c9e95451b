#pragma once

#include "Platform/MainQueue.h"

#include <cstddef>
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
    void postWithoutWaking(std::function<void()> action) override;

    /// So many that wait are worth a wake-up by themselves.
    static constexpr std::size_t wakingCount = 64;

private:
    class Receiver;
    std::unique_ptr<Receiver> receiver_;
};

} // namespace tandrel
