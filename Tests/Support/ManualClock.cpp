#include "Support/ManualClock.h"

namespace tandrel::test {

struct ManualClock::Shared {
    struct Timer {
        std::uint64_t id = 0;
        Duration interval{0};
        std::shared_ptr<std::function<void()>> action;
    };
    // Equal due times keep the order of insertion.
    std::multimap<Duration, Timer> timers;
    std::vector<Duration> requestedDelays;
    Duration now{0};
    std::uint64_t lastId = 0;

    void cancel(std::uint64_t id) {
        std::erase_if(timers, [id](const auto& entry) { return entry.second.id == id; });
    }
};

ManualClock::ManualClock()
    : shared_(std::make_shared<Shared>()) {}

ManualClock::~ManualClock() = default;

Handle ManualClock::schedule(Duration delay, Duration interval, std::function<void()> action) {
    class TimerHandle : public Operation {
    public:
        TimerHandle(std::weak_ptr<Shared> shared, std::uint64_t id)
            : shared_(std::move(shared))
            , id_(id) {}
        ~TimerHandle() override {
            if (const auto shared = shared_.lock()) {
                shared->cancel(id_);
            }
        }

    private:
        std::weak_ptr<Shared> shared_;
        std::uint64_t id_;
    };
    const std::uint64_t id = ++shared_->lastId;
    shared_->timers.emplace(
        shared_->now + delay,
        Shared::Timer{id, interval, std::make_shared<std::function<void()>>(std::move(action))});
    return std::make_unique<TimerHandle>(shared_, id);
}

Handle ManualClock::after(Duration delay, std::function<void()> action) {
    shared_->requestedDelays.push_back(delay);
    return schedule(delay, Duration::zero(), std::move(action));
}

Handle ManualClock::every(Duration interval, std::function<void()> action) {
    return schedule(interval, interval, std::move(action));
}

void ManualClock::advance(Duration duration) {
    const std::shared_ptr<Shared> shared = shared_;
    const Duration end = shared->now + duration;
    while (!shared->timers.empty() && shared->timers.begin()->first <= end) {
        auto node = shared->timers.extract(shared->timers.begin());
        shared->now = node.key();
        const auto action = node.mapped().action;
        if (node.mapped().interval > Duration::zero()) {
            node.key() = shared->now + node.mapped().interval;
            shared->timers.insert(std::move(node));
        }
        (*action)();
    }
    shared->now = end;
}

ManualClock::Duration ManualClock::elapsed() const {
    return shared_->now;
}

std::size_t ManualClock::pendingCount() const {
    return shared_->timers.size();
}

const std::vector<ManualClock::Duration>& ManualClock::requestedDelays() const {
    return shared_->requestedDelays;
}

} // namespace tandrel::test
