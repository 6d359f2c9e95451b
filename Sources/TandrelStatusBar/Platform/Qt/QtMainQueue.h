#pragma once

#include "Platform/MainQueue.h"
#include "Platform/Qt/ActionReceiver.h"

#include <cstddef>

namespace tandrel {

/// Work for the thread that makes this object, run by its Qt event loop. Actions that still wait
/// when the queue is destroyed are dropped unrun. The queue must outlive whoever posts, and is not
/// destroyed by one of its own actions.
class QtMainQueue : public MainQueue {
public:
    void post(Action action) override;
    void postWithoutWaking(Action action) override;

    /// So many that wait are worth a wake-up by themselves.
    static constexpr std::size_t wakingCount = 64;

private:
    ActionReceiver receiver_;
};

} // namespace tandrel
