#include "Platform/WebSocket/SendQueue.h"

#include <utility>

namespace tandrel {

namespace {

/// Counted for each message, so that a flood of empty ones is bounded too.
std::size_t cost(const SendQueue::Message& message) {
    return message.payload.size() + sizeof(SendQueue::Message);
}

} // namespace

SendQueue::SendQueue(std::size_t capacity)
    : capacity_(capacity) {}

SendQueue::Pushed SendQueue::push(Message& message) {
    const std::lock_guard lock(mutex_);
    if (closed_) {
        return Pushed::refused;
    }
    const std::size_t size = cost(message);
    if (size > capacity_ - bytes_) {
        overflowed_ = true;
        return Pushed::refused;
    }
    bytes_ += size;
    messages_.push_back(std::move(message));
    return std::exchange(wakePending_, true) ? Pushed::waiting : Pushed::wakeNeeded;
}

void SendQueue::beginRound() {
    const std::lock_guard lock(mutex_);
    wakePending_ = false;
}

std::optional<SendQueue::Message> SendQueue::pop() {
    const std::lock_guard lock(mutex_);
    if (messages_.empty()) {
        return std::nullopt;
    }
    Message message = std::move(messages_[first_]);
    ++first_;
    bytes_ -= cost(message);
    // Moving what waits pays only when it frees at least as much as it moves.
    if (2 * first_ >= messages_.size()) {
        dropTaken();
    }
    return message;
}

void SendQueue::dropTaken() {
    messages_.erase(messages_.begin(), messages_.begin() + static_cast<std::ptrdiff_t>(first_));
    first_ = 0;
}

std::optional<SendQueue::Time> SendQueue::oldest() const {
    const std::lock_guard lock(mutex_);
    if (messages_.empty()) {
        return std::nullopt;
    }
    return messages_[first_].since;
}

bool SendQueue::hasOverflowed() const {
    const std::lock_guard lock(mutex_);
    return overflowed_;
}

std::vector<SendQueue::Message> SendQueue::close() {
    const std::lock_guard lock(mutex_);
    dropTaken();
    closed_ = true;
    bytes_ = 0;
    return std::exchange(messages_, {});
}

} // namespace tandrel
