#pragma once

#include "Foundation/Handle.h"
#include "Platform/Qt/HostLookup.h"
#include "Platform/Qt/ProxyLookup.h"
#include "Platform/WebSocket/AddressRace.h"
#include "Platform/WebSocket/SocketLimits.h"
#include "Platform/WebSocket/SocketPointer.h"
#include "Platform/WebSocket/WebSocketUrl.h"

#include <QList>
#include <QNetworkProxy>
#include <QObject>
#include <QSslCertificate>
#include <QSslError>
#include <QString>

#include <memory>

namespace tandrel {

/// Opens the byte stream under a WebSocket: proxy, name, race of the addresses, TLS. Emits exactly
/// one of its signals.
class Dialer : public QObject {
    Q_OBJECT

public:
    /// `extraAuthorities` are trusted beside those of the system.
    Dialer(WebSocketUrl url, const SocketLimits& limits, QList<QSslCertificate> extraAuthorities,
           ProxyLookup& proxyLookup);
    ~Dialer() override;
    Dialer(const Dialer&) = delete;
    Dialer& operator=(const Dialer&) = delete;

    void start();
    /// The open socket, after `opened()`.
    [[nodiscard]] SocketPointer takeSocket() { return std::move(socket_); }

Q_SIGNALS:
    void opened();
    /// `reason` is for people and holds no URL.
    void failed(const QString& reason);

private:
    void dial(const QNetworkProxy& proxy);
    void dialThrough(const QNetworkProxy& proxy);
    void lookUp();
    void race(const QList<QHostAddress>& addresses);
    void onConnected();
    void encrypt();
    void onSslErrors(const QList<QSslError>& errors);
    void onSocketError();
    void fail(const QString& reason);

    WebSocketUrl url_;
    SocketLimits limits_;
    QList<QSslCertificate> extraAuthorities_;
    ProxyLookup& proxyLookup_;
    Handle proxyAnswer_;
    std::unique_ptr<HostLookup> hostLookup_;
    std::unique_ptr<AddressRace, LaterDeleter> race_;
    SocketPointer socket_;
    QString certificateProblem_;
    bool over_ = false;
};

} // namespace tandrel
