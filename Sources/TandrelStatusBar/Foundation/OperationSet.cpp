#include "Foundation/OperationSet.h"

#include <utility>

namespace tandrel {

void OperationSet::start(const std::function<Handle(Ended)>& start) {
    const std::shared_ptr<Handles> handles = handles_;
    const std::uint64_t id = ++lastId_;
    // Present before the start, so that an operation that ends at once leaves nothing behind.
    handles->emplace(id, nullptr);
    Handle handle = start([weak = std::weak_ptr(handles), id] {
        if (const auto current = weak.lock()) {
            // Destroyed outside the map: the handle's end may start or end others.
            const auto ended = current->extract(id);
        }
    });
    const auto entry = handles->find(id);
    if (entry == handles->end()) {
        return;
    }
    if (handle) {
        entry->second = std::move(handle);
    } else {
        handles->erase(entry);
    }
}

void OperationSet::after(Clock& clock, Clock::Duration delay, std::function<void()> action) {
    const std::uint64_t id = ++lastId_;
    auto fired = [handles = std::weak_ptr(handles_), id, action = std::move(action)] {
        // Out of the set before the action runs, which may destroy the set; gone after it.
        Handles::node_type ended;
        if (const auto current = handles.lock()) {
            ended = current->extract(id);
        }
        action();
    };
    handles_->emplace(id, clock.after(delay, std::move(fired)));
}

void OperationSet::clear() {
    const Handles ended = std::exchange(*handles_, {});
}

} // namespace tandrel
