#include "Platform/WebSocket/QtStreamSocket.h"

#include "Platform/WebSocket/ClosingCount.h"
#include "Platform/WebSocket/NetworkThread.h"
#include "Platform/WebSocket/QtStreamSocketTask.h"

#include <memory>
#include <utility>

namespace tandrel {

struct QtStreamSocket::Parts {
    Parts(MainQueue& queue, Options socketOptions)
        : mainQueue(queue)
        , options(std::move(socketOptions)) {}

    MainQueue& mainQueue;
    Options options;
    ConnectionId lastId = 0;
    std::shared_ptr<ClosingCount> closings = std::make_shared<ClosingCount>();
    /// Started with the first connection.
    std::unique_ptr<NetworkThread> thread;
};

QtStreamSocket::QtStreamSocket(MainQueue& mainQueue)
    : QtStreamSocket(mainQueue, Options()) {}

QtStreamSocket::QtStreamSocket(MainQueue& mainQueue, Options options)
    : parts_(std::make_unique<Parts>(mainQueue, std::move(options))) {}

QtStreamSocket::~QtStreamSocket() {
    (void)drain();
}

std::shared_ptr<StreamSocketTask> QtStreamSocket::webSocketTask(const std::string& url) {
    if (!parts_->thread) {
        parts_->thread = std::make_unique<NetworkThread>();
    }
    ConnectionRequest request{WebSocketUrl::parse(url), parts_->options.limits,
                              parts_->options.extraAuthorities};
    return QtStreamSocketTask::create(++parts_->lastId, std::move(request), parts_->mainQueue,
                                      parts_->thread->mailbox(), parts_->closings);
}

bool QtStreamSocket::drain(std::chrono::milliseconds limit) {
    return parts_->closings->waitForNone(limit);
}

} // namespace tandrel
