#pragma once

#include "Platform/MainQueue.h"

#include <QObject>

#include <cstddef>
#include <mutex>
#include <vector>

namespace tandrel {

/// Runs actions on the thread that it lives on, in the order of their posting. It collects them and
/// wakes the thread's event loop with one event for all that have come since the last run; two
/// vectors swap roles, so that a steady flow allocates nothing. What waits when it is destroyed is
/// dropped unrun.
class ActionReceiver : public QObject {
public:
    using Action = MainQueue::Action;

    ActionReceiver() = default;

    /// Any thread.
    void post(Action action);
    /// Does not wake the thread, unless this many wait by now. Any thread.
    void postWithoutWaking(Action action, std::size_t wakingCount);

protected:
    void customEvent(QEvent* event) override;

private:
    void add(Action&& action, std::size_t wakingCount);
    void runBatch();

    std::mutex mutex_;
    std::vector<Action> waiting_;
    bool wakeUpPosted_ = false;
    // Only on this object's thread.
    std::vector<Action> batch_;
    std::size_t next_ = 0;
};

} // namespace tandrel
