#pragma once

#include "Platform/StreamSocket.h"

#include <chrono>
#include <cstddef>
#include <mutex>
#include <optional>
#include <vector>

namespace tandrel {

/// The messages that wait for the network thread: bounded, in order. Any thread; each call holds a
/// lock for the length of a move.
class SendQueue {
public:
    using Time = std::chrono::steady_clock::time_point;

    struct Message {
        Bytes payload;
        StreamSocketTask::SendCompletion completion;
        Time since;
    };

    enum class Pushed {
        /// Taken; the network thread has been told of earlier messages and will see this one.
        waiting,
        /// Taken; the caller has to wake the network thread.
        wakeNeeded,
        /// Full or closed; `message` is untouched.
        refused,
    };

    /// Holds at most `capacity` bytes, a small overhead for each message included.
    explicit SendQueue(std::size_t capacity);

    [[nodiscard]] Pushed push(Message& message);

    /// To be called before a round of `pop()`: a message pushed from here on asks for a new
    /// wake-up.
    void beginRound();
    [[nodiscard]] std::optional<Message> pop();
    /// When the oldest waiting message was pushed.
    [[nodiscard]] std::optional<Time> oldest() const;
    /// Whether a message was refused for lack of room.
    [[nodiscard]] bool hasOverflowed() const;
    /// Refuses everything from now on; yields what waited.
    [[nodiscard]] std::vector<Message> close();

private:
    void dropTaken();

    mutable std::mutex mutex_;
    const std::size_t capacity_;
    /// The oldest is at `first_`; the memory stays, so that a steady flow allocates nothing.
    std::vector<Message> messages_;
    std::size_t first_ = 0;
    std::size_t bytes_ = 0;
    bool wakePending_ = false;
    bool overflowed_ = false;
    bool closed_ = false;
};

} // namespace tandrel
