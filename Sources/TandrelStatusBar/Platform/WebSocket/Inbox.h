#pragma once

#include "Platform/StreamSocket.h"

#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>

namespace tandrel {

/// What the network thread has for the main thread: messages, pongs, and the loss at the end. The
/// calls that add something tell whether the main thread has to be woken.
class Inbox {
public:
    /// Room for `capacity` bytes of messages; the network thread stops reading beyond.
    explicit Inbox(std::size_t capacity);

    // Network thread.
    [[nodiscard]] bool addMessage(SocketMessage message);
    [[nodiscard]] bool addPong();
    /// `error.code` is the server's close code, 0 without one.
    [[nodiscard]] bool setLoss(SocketError error);
    /// Whether the network thread has to stop reading; `takeRoomMade()` then tells when to go on.
    [[nodiscard]] bool mustWaitForRoom();

    // Main thread.
    /// Whether a delivery has to be scheduled, because something waits and none is scheduled yet.
    [[nodiscard]] bool requestDelivery();
    void beginDelivery();
    [[nodiscard]] std::optional<SocketMessage> takeMessage();
    [[nodiscard]] std::size_t takePongs();
    [[nodiscard]] std::optional<SocketError> loss() const;
    [[nodiscard]] bool hasMessages() const;
    /// Whether reading was stopped for lack of room and can go on; true once.
    [[nodiscard]] bool takeRoomMade();

private:
    [[nodiscard]] bool wake();

    mutable std::mutex mutex_;
    const std::size_t capacity_;
    std::deque<SocketMessage> messages_;
    std::size_t bytes_ = 0;
    std::size_t pongs_ = 0;
    std::optional<SocketError> loss_;
    bool deliveryPending_ = false;
    bool waitsForRoom_ = false;
};

} // namespace tandrel
