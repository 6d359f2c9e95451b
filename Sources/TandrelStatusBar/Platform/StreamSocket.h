#pragma once

#include "Foundation/Result.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tandrel {

using Bytes = std::vector<std::uint8_t>;

/// Why a ping, a receive or a send failed. `description` is for people and never holds the URL,
/// which carries the stream token.
struct SocketError {
    std::int64_t code = 0;
    std::string description;
};

struct SocketMessage {
    enum class Kind { binary, text };
    Kind kind = Kind::binary;
    std::string payload;
};

/// One WebSocket connection (RFC 6455): made, resumed, used, cancelled. Every completion is called
/// at most once; after `cancel()` returned, none of ping or receive is called any more.
/// Destroying a task without `cancel()` drops the connection without a close frame.
class StreamSocketTask {
public:
    using PingCompletion = std::function<void(std::optional<SocketError>)>;
    using ReceiveCompletion = std::function<void(Result<SocketMessage, SocketError>)>;
    using SendCompletion = std::function<void(std::optional<SocketError>)>;

    StreamSocketTask() = default;
    StreamSocketTask(const StreamSocketTask&) = delete;
    StreamSocketTask& operator=(const StreamSocketTask&) = delete;
    virtual ~StreamSocketTask() = default;

    /// Starts to connect. Main thread.
    virtual void resume() = 0;
    /// Sends one ping once the connection is open; `completion` comes on the main thread, with the
    /// pong or with the loss. Open to pong takes at most 9 s, else the connection is lost. Main
    /// thread.
    virtual void sendPing(PingCompletion completion) = 0;
    /// Asks for one message; `completion` comes on the main thread, with a message or with the
    /// loss. Main thread.
    virtual void receive(ReceiveCompletion completion) = 0;
    /// Hands over one binary message, sent whole and in order. Never blocks: the message waits in
    /// a bounded queue. `completion` comes on the network thread. Any thread.
    virtual void send(Bytes message, SendCompletion completion) = 0;
    /// Closes with `closeCode` and no reason. Returns at once; the closing handshake goes on for at
    /// most 1.1 s, also after this object is gone. Main thread.
    virtual void cancel(std::uint16_t closeCode) = 0;
    /// The close code that the server sent, 0 without one. Main thread.
    [[nodiscard]] virtual int closeCode() const = 0;
};

/// Makes WebSocket connections that share one network thread. Main thread.
class StreamSocket {
public:
    StreamSocket() = default;
    StreamSocket(const StreamSocket&) = delete;
    StreamSocket& operator=(const StreamSocket&) = delete;
    virtual ~StreamSocket() = default;

    /// A task for a valid ws or wss URL (see `isValidUrl`), whose path and query go out byte for
    /// byte. The connection does not open before `resume()`.
    [[nodiscard]] virtual std::shared_ptr<StreamSocketTask>
    webSocketTask(const std::string& url) = 0;
};

} // namespace tandrel
