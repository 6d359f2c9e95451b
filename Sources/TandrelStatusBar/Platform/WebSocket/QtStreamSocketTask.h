#pragma once

#include "Platform/MainQueue.h"
#include "Platform/StreamSocket.h"
#include "Platform/WebSocket/ClosingCount.h"
#include "Platform/WebSocket/NetworkThread.h"
#include "Platform/WebSocket/StreamChannel.h"

#include <deque>
#include <memory>

namespace tandrel {

/// The main thread's face of one connection: keeps the completions, and names the connection to
/// the network thread.
class QtStreamSocketTask : public StreamSocketTask,
                           public std::enable_shared_from_this<QtStreamSocketTask> {
public:
    /// `mainQueue` outlives the network thread.
    [[nodiscard]] static std::shared_ptr<QtStreamSocketTask>
    create(ConnectionId id, ConnectionRequest request, MainQueue& mainQueue,
           std::shared_ptr<NetworkMailbox> mailbox, std::shared_ptr<ClosingCount> closings);
    ~QtStreamSocketTask() override;

    void resume() override;
    void sendPing(PingCompletion completion) override;
    void receive(ReceiveCompletion completion) override;
    void send(Bytes message, SendCompletion completion) override;
    void cancel(std::uint16_t closeCode) override;
    [[nodiscard]] int closeCode() const override { return closeCode_; }

private:
    QtStreamSocketTask(ConnectionId id, ConnectionRequest request,
                       std::shared_ptr<NetworkMailbox> mailbox,
                       std::shared_ptr<ClosingCount> closings);

    void postToConnection(void (Connection::*operation)());
    void requestDelivery();
    void deliver();
    void deliverPongs();
    void deliverMessages();
    void deliverLoss();

    const ConnectionId id_;
    ConnectionRequest request_;
    std::shared_ptr<NetworkMailbox> mailbox_;
    std::shared_ptr<ClosingCount> closings_;
    std::shared_ptr<StreamChannel> channel_;
    std::deque<PingCompletion> pings_;
    std::deque<ReceiveCompletion> receives_;
    int closeCode_ = 0;
    bool resumed_ = false;
    /// Cancelled: nothing is called any more.
    bool silenced_ = false;
};

} // namespace tandrel
