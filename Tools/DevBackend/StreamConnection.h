#pragma once

#include "DevBackend/Faults.h"

#include <QObject>
#include <QPointer>
#include <QTcpSocket>
#include <QTimer>
#include <QWebSocket>

#include <cstdint>
#include <memory>
#include <optional>

namespace devbackend {

/// How a stream's connection ended.
struct StreamEnd {
    enum class By { Client, Server, Loss };
    By by = By::Loss;
    /// The close code; 0 for a loss.
    int code = 0;
};

/// One open WebSocket of a client, and the ways in which it can misbehave.
class StreamConnection : public QObject {
    Q_OBJECT

public:
    /// `tcp` is the connection under `webSocket`, which owns it.
    StreamConnection(std::unique_ptr<QWebSocket> webSocket, QTcpSocket* tcp,
                     const StreamFault& fault);

    /// Begins the closing handshake.
    void close(int code);
    void reset();
    /// Stops reading, so that the client meets a server that has stalled: what it sends fills both
    /// sockets' buffers, and its pings stay unanswered.
    void pause();
    /// Reads on after `pause`.
    void resume();
    void sendText(const QString& text) { webSocket_->sendTextMessage(text); }
    void sendBinary(const QByteArray& bytes) { webSocket_->sendBinaryMessage(bytes); }

Q_SIGNALS:
    void messageReceived(const QByteArray& message, qint64 arrivalNanoseconds);
    /// Comes once. The sender may be deleted later, not at once.
    void ended(const StreamEnd& end);

private:
    void receive(const QByteArray& message);
    void strikeWhenDue();
    void reportEnd();
    [[nodiscard]] StreamEnd howItEnded() const;

    std::unique_ptr<QWebSocket> webSocket_;
    QPointer<QTcpSocket> tcp_;
    StreamFault fault_;
    QTimer faultTimer_;
    /// The connection is as old as the fault wants it.
    bool isOldEnough_ = false;
    std::uint64_t messages_ = 0;
    std::optional<int> ownCloseCode_;
    bool hasClosingHandshake_ = false;
    bool wasReset_ = false;
    bool hasEnded_ = false;
};

} // namespace devbackend
