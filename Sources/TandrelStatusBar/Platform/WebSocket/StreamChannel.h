#pragma once

#include "Platform/WebSocket/Inbox.h"
#include "Platform/WebSocket/SendQueue.h"
#include "Platform/WebSocket/SocketLimits.h"

#include <functional>
#include <utility>

namespace tandrel {

/// What a task on the main thread and its connection on the network thread share.
struct StreamChannel {
    StreamChannel(const SocketLimits& limits, std::function<void()> scheduleDelivery)
        : outgoing(limits.waitingBytes)
        , incoming(limits.undeliveredBytes)
        , wakeMainThread(std::move(scheduleDelivery)) {}

    SendQueue outgoing;
    Inbox incoming;
    /// Has the main thread look into `incoming`, later. Any thread.
    const std::function<void()> wakeMainThread;
};

} // namespace tandrel
