#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace tandrel {

namespace detail {

/// The observers of one published property. Shared between the property and its subscriptions, so
/// that either may go first, also in the middle of a notification.
template <typename T>
class ObserverList {
public:
    struct Observer {
        std::function<void(const T&)> notify;
        bool active = true;
    };

    std::shared_ptr<Observer> add(std::function<void(const T&)> notify) {
        auto observer = std::make_shared<Observer>(Observer{std::move(notify)});
        observers_.push_back(observer);
        if (++activeCount_ == 1 && onWatched_) {
            onWatched_(true);
        }
        return observer;
    }

    void remove(const std::shared_ptr<Observer>& observer) {
        observer->active = false;
        if (depth_ == 0) {
            std::erase(observers_, observer);
        }
        if (--activeCount_ == 0 && onWatched_) {
            onWatched_(false);
        }
    }

    void setOnWatched(std::function<void(bool)> handler) { onWatched_ = std::move(handler); }

    /// Calls each observer present at the start. `current` yields the value to hand over: after a
    /// nested assignment the remaining observers see the newest value, never a stale one.
    template <typename Current>
    void notify(Current current) {
        ++depth_;
        const std::size_t count = observers_.size();
        for (std::size_t index = 0; index < count; ++index) {
            const std::shared_ptr<Observer> observer = observers_[index];
            if (observer->active) {
                observer->notify(current());
            }
        }
        if (--depth_ == 0) {
            std::erase_if(observers_, [](const auto& observer) { return !observer->active; });
        }
    }

private:
    std::vector<std::shared_ptr<Observer>> observers_;
    std::function<void(bool)> onWatched_;
    std::size_t activeCount_ = 0;
    int depth_ = 0;
};

} // namespace detail

/// Keeps an observer attached; destroying it detaches the observer at once, also while a
/// notification is under way. Main thread.
class Subscription {
public:
    Subscription() = default;
    explicit Subscription(std::function<void()> detach)
        : detach_(std::move(detach)) {}
    Subscription(Subscription&& other) noexcept
        : detach_(std::exchange(other.detach_, nullptr)) {}
    Subscription& operator=(Subscription&& other) noexcept {
        if (this != &other) {
            reset();
            detach_ = std::exchange(other.detach_, nullptr);
        }
        return *this;
    }
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
    ~Subscription() { reset(); }

    void reset() {
        if (auto detach = std::exchange(detach_, nullptr)) {
            detach();
        }
    }

private:
    std::function<void()> detach_;
};

/// A property that notifies its observers synchronously, after every assignment, equal or not.
/// Main thread. An assignment made by an observer is notified at once, inside the outer one; the
/// observers that the outer one has yet to reach are then handed the newest value. The property
/// may be destroyed by one of its observers.
template <typename T>
class Published {
public:
    Published() = default;
    explicit Published(T initial)
        : shared_(std::make_shared<Shared>(std::move(initial))) {}
    Published(const Published&) = delete;
    Published& operator=(const Published&) = delete;
    ~Published() = default;

    [[nodiscard]] const T& value() const { return shared_->value; }

    void set(T value) {
        // Kept alive through the notification, should an observer destroy this property.
        const std::shared_ptr<Shared> shared = shared_;
        shared->value = std::move(value);
        shared->observers.notify([&shared]() -> const T& { return shared->value; });
    }

    /// Calls `observer` after every assignment.
    [[nodiscard]] Subscription observe(std::function<void(const T&)> observer) {
        auto added = shared_->observers.add(std::move(observer));
        return Subscription([weak = std::weak_ptr(shared_), added] {
            if (const auto shared = weak.lock()) {
                shared->observers.remove(added);
            } else {
                added->active = false;
            }
        });
    }

    /// Calls `handler` with true when the first observer comes and with false when the last one has
    /// gone, for an owner who can spare work while nobody watches. Set while there is none.
    void setOnWatched(std::function<void(bool isWatched)> handler) {
        shared_->observers.setOnWatched(std::move(handler));
    }

    /// Calls `reaction` with the new value when an assignment made a difference by the type's own
    /// equality; never for the value that stands at the time of the call.
    [[nodiscard]] Subscription onChange(std::function<void(const T&)> reaction) {
        return observe([last = value(), reaction = std::move(reaction)](const T& now) mutable {
            if (last == now) {
                return;
            }
            last = now;
            // A copy: the reaction may assign again, or end this subscription.
            // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): see above
            const T seen = now;
            reaction(seen);
        });
    }

private:
    struct Shared {
        Shared() = default;
        explicit Shared(T initial)
            : value(std::move(initial)) {}
        T value{};
        detail::ObserverList<T> observers;
    };
    std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
};

} // namespace tandrel
