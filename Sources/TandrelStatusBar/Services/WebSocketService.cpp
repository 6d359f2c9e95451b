#include "Services/WebSocketService.h"

#include "DebugLog.h"
#include "Foundation/Console.h"
#include "Foundation/Precondition.h"
#include "Foundation/UrlSyntax.h"
#include "Platform/Clock.h"
#include "Services/APIClient.h"

#include <chrono>
#include <limits>
#include <string_view>
#include <utility>

namespace tandrel {

namespace {

constexpr std::int64_t maxReconnectAttempts = 5;
constexpr std::uint16_t normalClosure = 1000;

// Close codes by which the backend ends a stream for good.
constexpr std::int64_t firstApplicationCloseCode = 4000;
constexpr std::int64_t tokenInvalid = 4001;
constexpr std::int64_t sessionNoLongerPending = 4002;

void replaceAll(std::string& text, std::string_view from, std::string_view to) {
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

std::string streamUrl(std::string url, std::string_view token) {
    replaceAll(url, "https://", "wss://");
    replaceAll(url, "http://", "ws://");
    url += "/tandrel-stream?token=";
    url += token;
    return url;
}

/// The first `count` characters of a UTF-8 text, none of them torn.
std::string_view prefix(std::string_view text, std::size_t count) {
    std::size_t end = 0;
    for (; end < text.size(); ++end) {
        const bool startsCharacter = (static_cast<unsigned char>(text[end]) & 0xC0U) != 0x80U;
        if (startsCharacter && count-- == 0) {
            break;
        }
    }
    return text.substr(0, end);
}

void handleMessage(const SocketMessage& message) {
    switch (message.kind) {
    case SocketMessage::Kind::binary:
        printLine("WebSocket received " + std::to_string(message.payload.size()) + " bytes");
        break;
    case SocketMessage::Kind::text:
        printLine("WebSocket received text: " + message.payload);
        break;
    }
}

/// High-rate lines are thinned out: the first five sends, then every hundredth.
bool isLoggedSend(std::int64_t number) {
    return number <= 5 || number % 100 == 0;
}

std::string sendLine(std::int64_t number, std::string_view text) {
    return "[sendAudioData] #" + std::to_string(number) + std::string(text);
}

} // namespace

WebSocketService::WebSocketService(const APIClient& apiClient, StreamSocket& streamSocket,
                                   Clock& clock)
    : apiClient_(apiClient)
    , streamSocket_(streamSocket)
    , clock_(clock)
    , stateSubscription_(
          state.observe([this](const ConnectionState& now) { stateAssigned(now); })) {}

WebSocketService::~WebSocketService() = default;

void WebSocketService::stateAssigned(const ConnectionState& now) {
    {
        const std::lock_guard lock(connectionMutex_);
        connection_.state = now;
    }
    if (now.kind() != ConnectionState::Kind::connecting) {
        setReconnecting(false);
    }
}

void WebSocketService::connect(const std::string& token) {
    DebugLog::write("[connect] token=" + std::string(prefix(token, 8)) + "...");
    ++streamNumber_;
    currentToken_ = token;
    shouldReconnect_ = true;
    reconnectAttempts_ = 0;
    setReconnecting(false); // a stream of its own, whatever became of the one before
    establishConnection(token);
}

void WebSocketService::disconnect() {
    shouldReconnect_ = false;
    currentToken_.reset();
    reconnectAttempts_ = 0;
    if (const auto task = currentConnection().task) {
        task->cancel(normalClosure);
    }
    exchangeTask(nullptr);
    state.set(ConnectionState::disconnected());
}

void WebSocketService::establishConnection(const std::string& token) {
    const std::string url = streamUrl(apiClient_.baseURL(), token);
    if (!isValidUrl(url)) {
        state.set(ConnectionState::error("Invalid WebSocket URL"));
        return;
    }
    state.set(ConnectionState::connecting());
    DebugLog::write("[establishConnection] url=" + url);
    const std::shared_ptr<StreamSocketTask> task = streamSocket_.webSocketTask(url);
    exchangeTask(task);
    const std::uint64_t connection = ++connectionNumber_;
    task->resume();
    task->sendPing(lifetime_.guard([this, connection](const std::optional<SocketError>& error) {
        handlePing(connection, error);
    }));
    receiveNext();
}

void WebSocketService::handlePing(std::uint64_t connection,
                                  const std::optional<SocketError>& error) {
    if (error) {
        DebugLog::write("[establishConnection] ping failed: " + error->description);
        handleDisconnection(connection, *error);
        return;
    }
    if (connection != connectionNumber_ || !currentConnection().task) {
        return; // the pong of a connection that was lost or replaced since
    }
    DebugLog::write("[establishConnection] ping OK -> connected");
    reconnectAttempts_ = 0;
    state.set(ConnectionState::connected());
}

void WebSocketService::receiveNext() {
    const std::shared_ptr<StreamSocketTask> task = currentConnection().task;
    if (!task) {
        return;
    }
    task->receive(lifetime_.guard(
        [this, connection = connectionNumber_](const Result<SocketMessage, SocketError>& result) {
            if (!result) {
                handleDisconnection(connection, result.error());
                return;
            }
            handleMessage(result.value());
            receiveNext();
        }));
}

void WebSocketService::handleDisconnection(std::uint64_t connection, const SocketError& error) {
    if (connection != connectionNumber_) {
        return;
    }
    const std::shared_ptr<StreamSocketTask> task = exchangeTask(nullptr);
    if (!task) {
        return; // the ping and the receive loop may both report one loss
    }
    std::int64_t code = task->closeCode();
    if (code < firstApplicationCloseCode) {
        code = error.code;
    }
    DebugLog::write("[WS] disconnection closeCode=" + std::to_string(code) +
                    " error=" + error.description);
    switch (code) {
    case tokenInvalid:
        shouldReconnect_ = false;
        state.set(ConnectionState::error("Session token is invalid. Please start a new session."));
        break;
    case sessionNoLongerPending:
        shouldReconnect_ = false;
        state.set(ConnectionState::error("Session is no longer pending."));
        break;
    default:
        attemptReconnect();
    }
}

void WebSocketService::attemptReconnect() {
    if (shouldReconnect_ && reconnectAttempts_ < maxReconnectAttempts) {
        if (!currentToken_) {
            return;
        }
        const std::chrono::seconds delay(std::int64_t{1} << reconnectAttempts_);
        ++reconnectAttempts_;
        const std::string token = *currentToken_;
        const std::uint64_t stream = streamNumber_;
        state.set(ConnectionState::connecting());
        // Whether it is still wanted is asked when the wait is over; nothing but the end of this
        // object cancels it. A wait that an earlier stream left behind must not take the place of
        // the stream that has begun meanwhile.
        const auto isWanted = [this, stream] {
            return shouldReconnect_ && stream == streamNumber_;
        };
        reconnections_.after(clock_, delay, [this, token, isWanted] {
            if (isWanted()) {
                establishConnection(token);
            }
        });
        // Who observes the state may have thought better of it.
        if (isWanted()) {
            setReconnecting(true);
        }
    } else if (reconnectAttempts_ >= maxReconnectAttempts) {
        state.set(ConnectionState::error("Connection lost. Max reconnection attempts reached."));
    }
}

void WebSocketService::setReconnecting(bool now) {
    if (isReconnecting.value() != now) {
        isReconnecting.set(now);
    }
}

void WebSocketService::sendAudioData(Bytes data) {
    const std::int64_t previous = audioSendCount_.fetch_add(1, std::memory_order_relaxed);
    precondition(previous < std::numeric_limits<std::int64_t>::max(), "too many audio buffers");
    const std::int64_t number = previous + 1;
    const bool isLogged = isLoggedSend(number);
    const Connection connection = currentConnection();
    if (isLogged) {
        DebugLog::write(sendLine(number, " state=" + connection.state.rendering() +
                                             " bytes=" + std::to_string(data.size()) +
                                             " hasTask=" + (connection.task ? "true" : "false")));
    }
    if (connection.state.kind() != ConnectionState::Kind::connected) {
        return;
    }
    if (!connection.task) {
        if (number < 6) {
            DebugLog::write(sendLine(number, " webSocketTask is nil!"));
        }
        return;
    }
    connection.task->send(
        std::move(data), [number, isLogged](const std::optional<SocketError>& error) {
            if (error) {
                DebugLog::write(sendLine(number, " SEND ERROR: " + error->description));
            } else if (isLogged) {
                DebugLog::write(sendLine(number, " sent OK"));
            }
        });
}

WebSocketService::Connection WebSocketService::currentConnection() const {
    const std::lock_guard lock(connectionMutex_);
    return connection_;
}

std::shared_ptr<StreamSocketTask>
WebSocketService::exchangeTask(std::shared_ptr<StreamSocketTask> task) {
    const std::lock_guard lock(connectionMutex_);
    return std::exchange(connection_.task, std::move(task));
}

} // namespace tandrel
