#include "Platform/Qt/ActionReceiver.h"

#include "Platform/Qt/WakeEvent.h"

#include <QCoreApplication>

#include <utility>

namespace tandrel {

void ActionReceiver::post(Action action) {
    const std::lock_guard lock(mutex_);
    waiting_.push_back(std::move(action));
    wake();
}

void ActionReceiver::postWithoutWaking(Action action, std::size_t wakingCount) {
    const std::lock_guard lock(mutex_);
    waiting_.push_back(std::move(action));
    if (waiting_.size() >= wakingCount) {
        wake();
    }
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

void ActionReceiver::wake() {
    if (!std::exchange(wakeUpPosted_, true)) {
        QCoreApplication::postEvent(this, new WakeEvent);
    }
}

void ActionReceiver::runBatch() {
    while (next_ < batch_.size()) {
        const Action action = std::exchange(batch_[next_], nullptr);
        ++next_;
        action();
    }
}

} // namespace tandrel
