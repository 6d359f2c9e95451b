#pragma once

#include "Foundation/Lifetime.h"
#include "Foundation/OperationSet.h"
#include "Foundation/Published.h"
#include "Platform/StreamSocket.h"
#include "Services/ConnectionState.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace tandrel {

class APIClient;
class Clock;

/// Carries the captured audio to the backend. Main thread, but for `sendAudioData`.
class WebSocketService {
public:
    /// All three must outlive the service.
    WebSocketService(const APIClient& apiClient, StreamSocket& streamSocket, Clock& clock);
    ~WebSocketService();
    WebSocketService(const WebSocketService&) = delete;
    WebSocketService& operator=(const WebSocketService&) = delete;

    Published<ConnectionState> state;
    /// Whether a lost connection is being opened again: from the moment that the first retry is
    /// decided on, until there is a connection, or none is wanted or hoped for any more.
    Published<bool> isReconnecting{false};

    /// Opens the stream that `token` stands for. A loss is retried after 1, 2, 4, 8 and 16 s unless
    /// the backend says that the session is over; all failures end in `state`.
    void connect(const std::string& token);
    /// Closes normally (1000). A retry that already waits comes to nothing.
    void disconnect();

    /// Offers one buffer of 16 kHz mono signed 16-bit little-endian PCM; sent as one binary message
    /// while connected, dropped otherwise. Any one thread at a time; never blocks.
    void sendAudioData(Bytes data);

private:
    /// What the tap thread needs to know of the connection.
    struct Connection {
        ConnectionState state;
        std::shared_ptr<StreamSocketTask> task;
    };

    void stateAssigned(const ConnectionState& now);
    void establishConnection(const std::string& token);
    void receiveNext();
    void handlePing(std::uint64_t connection, const std::optional<SocketError>& error);
    void handleDisconnection(std::uint64_t connection, const SocketError& error);
    void attemptReconnect();
    void setReconnecting(bool now);

    [[nodiscard]] Connection currentConnection() const;
    /// Makes `task` the current one; returns the one that it replaces.
    std::shared_ptr<StreamSocketTask> exchangeTask(std::shared_ptr<StreamSocketTask> task);

    const APIClient& apiClient_;
    StreamSocket& streamSocket_;
    Clock& clock_;

    std::int64_t reconnectAttempts_ = 0;
    std::optional<std::string> currentToken_;
    bool shouldReconnect_ = false;
    /// Counts the calls of `connect()`.
    std::uint64_t streamNumber_ = 0;
    /// Which connection the current task is; completions of an earlier one are recognised by it.
    std::uint64_t connectionNumber_ = 0;

    mutable std::mutex connectionMutex_;
    Connection connection_; // guarded by connectionMutex_
    std::atomic<std::int64_t> audioSendCount_ = 0;

    Subscription stateSubscription_;
    OperationSet reconnections_;
    Lifetime lifetime_;
};

} // namespace tandrel
