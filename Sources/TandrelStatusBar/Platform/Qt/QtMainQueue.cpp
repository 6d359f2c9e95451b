#include "Platform/Qt/QtMainQueue.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>

#include <cstddef>
#include <mutex>
#include <utility>
#include <vector>

namespace tandrel {

/// Collects actions and wakes its thread's event loop with one event for all that have come since
/// the last run. Two vectors swap roles, so that a steady flow allocates nothing but that event.
class QtMainQueue::Receiver : public QObject {
public:
    void post(std::function<void()> action) {
        const std::lock_guard lock(mutex_);
        waiting_.push_back(std::move(action));
        wake();
    }

    void postWithoutWaking(std::function<void()> action) {
        const std::lock_guard lock(mutex_);
        waiting_.push_back(std::move(action));
        if (waiting_.size() >= wakingCount) {
            wake();
        }
    }

protected:
    void customEvent(QEvent* /*event*/) override {
        // First the rest of an outer batch, should one of its actions run an event loop of its own:
        // the order holds even then.
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

private:
    void wake() {
        if (!std::exchange(wakeUpPosted_, true)) {
            QCoreApplication::postEvent(this, new QEvent(QEvent::User));
        }
    }

    void runBatch() {
        while (next_ < batch_.size()) {
            const std::function<void()> action = std::exchange(batch_[next_], nullptr);
            ++next_;
            action();
        }
    }

    std::mutex mutex_;
    std::vector<std::function<void()>> waiting_;
    bool wakeUpPosted_ = false;
    // Only on this object's thread.
    std::vector<std::function<void()>> batch_;
    std::size_t next_ = 0;
};

QtMainQueue::QtMainQueue()
    : receiver_(std::make_unique<Receiver>()) {}

QtMainQueue::~QtMainQueue() = default;

void QtMainQueue::post(std::function<void()> action) {
    receiver_->post(std::move(action));
}

void QtMainQueue::postWithoutWaking(std::function<void()> action) {
    receiver_->postWithoutWaking(std::move(action));
}

} // namespace tandrel
