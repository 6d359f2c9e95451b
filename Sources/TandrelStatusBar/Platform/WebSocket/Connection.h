#pragma once

#include "Platform/WebSocket/ClosingCount.h"
#include "Platform/WebSocket/Dialer.h"
#include "Platform/WebSocket/FrameCodec.h"
#include "Platform/WebSocket/Handshake.h"
#include "Platform/WebSocket/SocketLimits.h"
#include "Platform/WebSocket/SocketPointer.h"
#include "Platform/WebSocket/StreamChannel.h"
#include "Platform/WebSocket/WebSocketUrl.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QSslCertificate>
#include <QString>
#include <QTcpSocket>
#include <QTimer>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tandrel {

/// What a connection is opened with.
struct ConnectionRequest {
    /// Nothing for an address that cannot be used: the connection is then lost at once.
    std::optional<WebSocketUrl> url;
    SocketLimits limits;
    QList<QSslCertificate> extraAuthorities;
};

/// One WebSocket connection on the network thread, from the dialling to the end of the closing
/// handshake. Reports its loss exactly once, unless it was closed from our side.
class Connection : public QObject {
    Q_OBJECT

public:
    /// `proxyLookup` outlives the connection.
    Connection(ConnectionRequest request, std::shared_ptr<StreamChannel> channel,
               ProxyLookup& proxyLookup);

    void open();
    void ping();
    /// Hands over what waits in the channel, as far as the socket has room.
    void pump();
    /// Goes on reading after the channel had no room.
    void readIncoming();
    /// Closes with `code`; `token` is kept until the closing handshake has ended.
    void close(std::uint16_t code, ClosingCount::Token token);
    /// Ends without a close frame and without a report.
    void drop();

Q_SIGNALS:
    /// Nothing happens here any more.
    void finished();

private:
    enum class Stage { idle, dialing, upgrading, open, closing, finished };

    void onDialed();
    void onSocketWritten();
    void onSocketError(QAbstractSocket::SocketError error);
    void onSocketEnded();
    void onTimeout();
    void readReply();
    void consume(std::string_view bytes);
    void handlePong(const std::string& payload);
    void checkForEnd();
    void writeOutput();
    void lookForInput();
    void sendPing();
    [[nodiscard]] qint64 innerBacklog() const;
    [[nodiscard]] bool isOutputBlocked() const;
    [[nodiscard]] bool mustPauseReading() const;
    void checkOldest();
    void lose(const QString& reason);
    void failWaiting(const SocketError& error);
    void beginClosing();
    void finish();

    ConnectionRequest request_;
    std::shared_ptr<StreamChannel> channel_;
    ProxyLookup& proxyLookup_;
    Stage stage_ = Stage::idle;
    std::unique_ptr<Dialer, LaterDeleter> dialer_;
    SocketPointer socket_;
    /// Within it: TLS writes through a socket of its own, and so does a proxy, which takes without
    /// bound and out of sight of the outer one's `bytesToWrite()`.
    std::vector<QPointer<QTcpSocket>> innerSockets_;
    bool isProxied_ = false;
    std::optional<UpgradeReply> reply_;
    FrameCodec codec_;
    /// Memory of the last output, for one to come.
    std::string spareOutput_;
    QTimer answerTimer_;
    QTimer closingTimer_;
    QTimer ageTimer_;
    std::uint32_t pingsAsked_ = 0;
    std::uint32_t pingsSent_ = 0;
    std::uint32_t pingsAnswered_ = 0;
    bool ended_ = false;
    bool reading_ = false;
    bool pumping_ = false;
    ClosingCount::Token closingToken_;
};

} // namespace tandrel
