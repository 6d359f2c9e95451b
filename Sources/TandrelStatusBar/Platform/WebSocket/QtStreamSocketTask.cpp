#include "Platform/WebSocket/QtStreamSocketTask.h"

#include <chrono>
#include <cstddef>
#include <utility>

namespace tandrel {

namespace {

/// Messages in one turn of the main loop, so that a flood does not keep the interface from its
/// other work.
constexpr int messagesPerTurn = 64;

/// Removes and returns the front, so that a completion may change the queue it came from.
template <typename Completion>
Completion takeFront(std::deque<Completion>& completions) {
    Completion completion = std::move(completions.front());
    completions.pop_front();
    return completion;
}

} // namespace

std::shared_ptr<QtStreamSocketTask>
QtStreamSocketTask::create(ConnectionId id, ConnectionRequest request, MainQueue& mainQueue,
                           std::shared_ptr<NetworkMailbox> mailbox,
                           std::shared_ptr<ClosingCount> closings) {
    const SocketLimits limits = request.limits;
    std::shared_ptr<QtStreamSocketTask> task(
        new QtStreamSocketTask(id, std::move(request), std::move(mailbox), std::move(closings)));
    task->channel_ =
        std::make_shared<StreamChannel>(limits, [&mainQueue, weak = std::weak_ptr(task)] {
            mainQueue.post([weak] {
                if (const auto strong = weak.lock()) {
                    strong->deliver();
                }
            });
        });
    return task;
}

QtStreamSocketTask::QtStreamSocketTask(ConnectionId id, ConnectionRequest request,
                                       std::shared_ptr<NetworkMailbox> mailbox,
                                       std::shared_ptr<ClosingCount> closings)
    : id_(id)
    , request_(std::move(request))
    , mailbox_(std::move(mailbox))
    , closings_(std::move(closings)) {}

QtStreamSocketTask::~QtStreamSocketTask() {
    if (resumed_ && !silenced_) {
        postToConnection(&Connection::drop);
    }
}

void QtStreamSocketTask::postToConnection(void (Connection::*operation)()) {
    mailbox_->post([id = id_, operation](ConnectionTable& table) {
        if (Connection* connection = table.find(id)) {
            (connection->*operation)();
        }
    });
}

void QtStreamSocketTask::resume() {
    if (silenced_ || std::exchange(resumed_, true)) {
        return;
    }
    mailbox_->post([id = id_, request = std::move(request_), channel = channel_](
                       ConnectionTable& table) { table.open(id, request, channel); });
    for (std::size_t count = pings_.size(); count > 0; --count) {
        postToConnection(&Connection::ping);
    }
}

void QtStreamSocketTask::sendPing(PingCompletion completion) {
    if (silenced_) {
        return;
    }
    pings_.push_back(std::move(completion));
    if (resumed_) {
        postToConnection(&Connection::ping);
    }
    requestDelivery();
}

void QtStreamSocketTask::receive(ReceiveCompletion completion) {
    if (silenced_) {
        return;
    }
    receives_.push_back(std::move(completion));
    requestDelivery();
}

void QtStreamSocketTask::send(Bytes message, SendCompletion completion) {
    SendQueue::Message entry{std::move(message), std::move(completion),
                             std::chrono::steady_clock::now()};
    switch (channel_->outgoing.push(entry)) {
    case SendQueue::Pushed::waiting:
        return;
    case SendQueue::Pushed::wakeNeeded:
        postToConnection(&Connection::pump);
        return;
    case SendQueue::Pushed::refused:
        break;
    }
    mailbox_->post([id = id_, refused = std::move(entry.completion)](ConnectionTable& table) {
        if (Connection* connection = table.find(id)) {
            connection->pump();
        }
        if (refused) {
            refused(SocketError{0, "The connection takes no more messages."});
        }
    });
}

void QtStreamSocketTask::cancel(std::uint16_t closeCode) {
    if (std::exchange(silenced_, true)) {
        return;
    }
    // Kept until the end of this call: what they hold may refer to this object.
    const auto pings = std::exchange(pings_, {});
    const auto receives = std::exchange(receives_, {});
    mailbox_->post([id = id_, closeCode, token = closings_->begin()](ConnectionTable& table) {
        if (Connection* connection = table.find(id)) {
            connection->close(closeCode, token);
        }
    });
}

void QtStreamSocketTask::requestDelivery() {
    if (channel_->incoming.requestDelivery()) {
        channel_->wakeMainThread();
    }
}

void QtStreamSocketTask::deliver() {
    if (silenced_) {
        return;
    }
    channel_->incoming.beginDelivery();
    deliverPongs();
    deliverMessages();
    deliverLoss();
}

void QtStreamSocketTask::deliverPongs() {
    for (std::size_t count = channel_->incoming.takePongs(); count > 0 && !pings_.empty();
         --count) {
        takeFront(pings_)(std::nullopt);
    }
}

void QtStreamSocketTask::deliverMessages() {
    for (int turn = 0; turn < messagesPerTurn && !receives_.empty(); ++turn) {
        auto message = channel_->incoming.takeMessage();
        if (!message) {
            break;
        }
        takeFront(receives_)(std::move(*message));
    }
    if (channel_->incoming.takeRoomMade()) {
        postToConnection(&Connection::readIncoming);
    }
    if (!receives_.empty() && channel_->incoming.hasMessages()) {
        requestDelivery();
    }
}

void QtStreamSocketTask::deliverLoss() {
    const auto loss = channel_->incoming.loss();
    if (!loss || silenced_) {
        return;
    }
    closeCode_ = static_cast<int>(loss->code);
    // Only those that wait now: a completion that asks again is answered in the next turn.
    for (std::size_t count = pings_.size(); count > 0 && !pings_.empty(); --count) {
        takeFront(pings_)(*loss);
    }
    for (std::size_t count = receives_.size();
         count > 0 && !receives_.empty() && !channel_->incoming.hasMessages(); --count) {
        takeFront(receives_)(*loss);
    }
}

} // namespace tandrel
