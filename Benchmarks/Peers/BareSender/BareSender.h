#pragma once

#include "Foundation/FileDescriptor.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>

namespace tandrel::bench {

/// The least that a thread can do to send what another one has: it is woken by a counter of the
/// system's, reads that, and writes as many bytes as a message has with its frame to a TCP
/// connection over the loopback interface. What it costs is what the system takes.
class BareSender {
public:
    /// `onSent` is called on the thread after each message.
    explicit BareSender(std::function<void()> onSent);
    /// Returns when all is sent.
    ~BareSender();
    BareSender(const BareSender&) = delete;
    BareSender& operator=(const BareSender&) = delete;

    /// Has one more message sent. One thread.
    void send();

private:
    void connectOverLoopback();
    void wake();
    void run();
    void discardArrivals();

    std::function<void()> onSent_;
    FileDescriptor wakeUps_;
    FileDescriptor connection_;
    FileDescriptor otherEnd_;
    std::atomic<std::uint64_t> asked_{0};
    std::thread receiver_;
    std::thread sender_;
};

} // namespace tandrel::bench
