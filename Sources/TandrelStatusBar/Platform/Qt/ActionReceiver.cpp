#include "Platform/Qt/ActionReceiver.h"

#include "Platform/Qt/WakeEvent.h"

#include <QCoreApplication>

#include <utility>

namespace tandrel {

void ActionReceiver::post(Action action) {
    add(std::move(action), 1);
}

void ActionReceiver::postWithoutWaking(Action action, std::size_t wakingCount) {
    add(std::move(action), wakingCount);
}

void ActionReceiver::add(Action&& action, std::size_t wakingCount) {
    {
        const std::lock_guard lock(mutex_);
        waiting_.push_back(std::move(action));
        if (waiting_.size() < wakingCount || std::exchange(wakeUpPosted_, true)) {
            return;
        }
    }
    // With the lock free: the thread that this wakes wants it first of all.
    QCoreApplication::postEvent(this, new WakeEvent);
}

void ActionReceiver::customEvent(QEvent* /*event*/) {
    // First the rest of an outer batch, should one of its actions run an event loop of its own: the
    // order holds even then.
    runBatch();
    {
        const std::lock_guard lock(mutex_);
        batch_.clear();
        next_ = 0;
        batch_.swap(waiting_);
        wakeUpPosted_ = false;
    }
    runBatch();
}

void ActionReceiver::runBatch() {
    while (next_ < batch_.size()) {
        const Action action = std::exchange(batch_[next_], nullptr);
        ++next_;
        action();
    }
}

} // namespace tandrel
