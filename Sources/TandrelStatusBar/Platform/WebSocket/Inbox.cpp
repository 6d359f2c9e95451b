#include "Platform/WebSocket/Inbox.h"

#include <utility>

namespace tandrel {

namespace {

std::size_t cost(const SocketMessage& message) {
    return message.payload.size() + sizeof(SocketMessage);
}

} // namespace

Inbox::Inbox(std::size_t capacity)
    : capacity_(capacity) {}

bool Inbox::wake() {
    return !std::exchange(deliveryPending_, true);
}

bool Inbox::addMessage(SocketMessage message) {
    const std::lock_guard lock(mutex_);
    bytes_ += cost(message);
    messages_.push_back(std::move(message));
    return wake();
}

bool Inbox::addPong() {
    const std::lock_guard lock(mutex_);
    ++pongs_;
    return wake();
}

bool Inbox::setLoss(SocketError error) {
    const std::lock_guard lock(mutex_);
    loss_ = std::move(error);
    return wake();
}

bool Inbox::mustWaitForRoom() {
    const std::lock_guard lock(mutex_);
    waitsForRoom_ = bytes_ >= capacity_;
    return waitsForRoom_;
}

bool Inbox::requestDelivery() {
    const std::lock_guard lock(mutex_);
    const bool somethingWaits = !messages_.empty() || pongs_ > 0 || loss_.has_value();
    return somethingWaits && wake();
}

void Inbox::beginDelivery() {
    const std::lock_guard lock(mutex_);
    deliveryPending_ = false;
}

std::optional<SocketMessage> Inbox::takeMessage() {
    const std::lock_guard lock(mutex_);
    if (messages_.empty()) {
        return std::nullopt;
    }
    SocketMessage message = std::move(messages_.front());
    messages_.pop_front();
    bytes_ -= cost(message);
    return message;
}

std::size_t Inbox::takePongs() {
    const std::lock_guard lock(mutex_);
    return std::exchange(pongs_, 0);
}

std::optional<SocketError> Inbox::loss() const {
    const std::lock_guard lock(mutex_);
    return loss_;
}

bool Inbox::hasMessages() const {
    const std::lock_guard lock(mutex_);
    return !messages_.empty();
}

bool Inbox::takeRoomMade() {
    const std::lock_guard lock(mutex_);
    // Half empty, so that reading does not stop and go with every message.
    if (!waitsForRoom_ || bytes_ > capacity_ / 2) {
        return false;
    }
    waitsForRoom_ = false;
    return true;
}

} // namespace tandrel
