#pragma once

#include "Platform/MainQueue.h"
#include "Platform/StreamSocket.h"
#include "Platform/WebSocket/SocketLimits.h"

#include <QList>
#include <QSslCertificate>

#include <chrono>
#include <memory>
#include <string>

namespace tandrel {

/// WebSocket connections over Qt's sockets, which bring the system's proxies and certificates; all
/// on one network thread of their own.
class QtStreamSocket : public StreamSocket {
public:
    struct Options {
        SocketLimits limits;
        /// Trusted beside the system's certificate authorities.
        QList<QSslCertificate> extraAuthorities;
    };

    /// Longest time that `drain()` has to wait for: the limit of a closing handshake, and a margin.
    static constexpr std::chrono::milliseconds drainLimit{1100};

    /// `mainQueue` outlives this object and its tasks.
    explicit QtStreamSocket(MainQueue& mainQueue);
    QtStreamSocket(MainQueue& mainQueue, Options options);
    /// Waits for the closing handshakes under way (at most `drainLimit`), then drops what is still
    /// open. Tasks may stay behind; they do nothing any more.
    ~QtStreamSocket() override;

    [[nodiscard]] std::shared_ptr<StreamSocketTask> webSocketTask(const std::string& url) override;

    /// Waits until every connection that was cancelled has ended its closing handshake; whether
    /// that happened within `limit`. For the program's end: it blocks the main thread.
    [[nodiscard]] bool drain(std::chrono::milliseconds limit = drainLimit);

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

} // namespace tandrel
