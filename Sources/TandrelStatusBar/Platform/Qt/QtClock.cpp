#include "Platform/Qt/QtClock.h"

#include <QObject>
#include <QTimer>

#include <algorithm>
#include <limits>
#include <utility>

namespace tandrel {

namespace {

using std::chrono::milliseconds;

/// The longest interval that a QTimer holds: 24.8 days.
constexpr milliseconds longestInterval{std::numeric_limits<int>::max()};

/// Precise, since a coarse timer may fire 5 % early.
void prepare(QTimer& timer, bool singleShot) {
    timer.setTimerType(Qt::PreciseTimer);
    timer.setSingleShot(singleShot);
}

class SingleShot : public Operation {
public:
    SingleShot(milliseconds delay, std::function<void()> action)
        : remaining_(delay)
        , action_(std::move(action)) {
        prepare(timer_, true);
        QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { advance(); });
        startNextInterval();
    }

private:
    void startNextInterval() {
        const milliseconds interval = std::min(remaining_, longestInterval);
        remaining_ -= interval;
        timer_.start(interval);
    }

    void advance() {
        if (remaining_ > milliseconds::zero()) {
            startNextInterval();
            return;
        }
        // Out of this object first: the action may destroy it.
        const auto action = std::exchange(action_, nullptr);
        action();
    }

    QTimer timer_;
    milliseconds remaining_;
    std::function<void()> action_;
};

class Repeating : public Operation {
public:
    Repeating(milliseconds interval, std::function<void()> action)
        : action_(std::make_shared<std::function<void()>>(std::move(action))) {
        prepare(timer_, false);
        QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] {
            // Held here: the action may destroy this object.
            const auto held = action_;
            (*held)();
        });
        timer_.start(interval);
    }

private:
    QTimer timer_;
    std::shared_ptr<std::function<void()>> action_;
};

milliseconds roundedUp(Clock::Duration duration) {
    return std::max(std::chrono::ceil<milliseconds>(duration), milliseconds::zero());
}

} // namespace

Handle QtClock::after(Duration delay, std::function<void()> action) {
    return std::make_unique<SingleShot>(roundedUp(delay), std::move(action));
}

Handle QtClock::every(Duration interval, std::function<void()> action) {
    return std::make_unique<Repeating>(
        std::clamp(roundedUp(interval), milliseconds(1), longestInterval), std::move(action));
}

} // namespace tandrel
