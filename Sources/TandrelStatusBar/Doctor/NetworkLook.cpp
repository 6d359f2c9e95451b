#include "Doctor/NetworkLook.h"

#include "Platform/Qt/ProxyLookup.h"
#include "Platform/Qt/QtHttpTransport.h"
#include "Platform/WebSocket/ProxyChoice.h"

#include <QEventLoop>
#include <QNetworkProxyFactory>
#include <QNetworkProxyQuery>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslError>
#include <QSslSocket>
#include <QTimer>
#include <QUrl>

#include <optional>
#include <utility>

namespace tandrel::doctor {

namespace {

QNetworkProxy proxyOnTheWayTo(const QUrl& url) {
    if (ProxyLookup::isLoopback(url)) {
        return QNetworkProxy(QNetworkProxy::NoProxy);
    }
    WebSocketUrl address;
    address.secure = true;
    address.host = url.host(QUrl::EncodeUnicode).toStdString();
    address.port = static_cast<std::uint16_t>(url.port(443));
    return tunnelAmong(
        QNetworkProxyFactory::proxyForQuery(QNetworkProxyQuery(proxyQuery(address))));
}

std::string placeOf(const QNetworkProxy& proxy) {
    return proxy.type() == QNetworkProxy::NoProxy
               ? std::string()
               : proxy.hostName().toStdString() + ':' + std::to_string(proxy.port());
}

void describe(const QSslCertificate& certificate, CertificateLook& look) {
    if (!certificate.isNull()) {
        look.issuer = certificate.issuerDisplayName().toStdString();
        look.validUntil = certificate.expiryDate().toString(Qt::ISODate).left(10).toStdString();
    }
}

} // namespace

HttpOutcome askWhoIsSignedIn(const BackendAddress& backend, const std::string& token,
                             std::chrono::milliseconds limit) {
    QtHttpTransport::Options options;
    options.extraAuthorities = backend.extraAuthorities;
    QtHttpTransport transport(options);
    HttpRequest request{"GET", backend.url + "/api/auth/me", {}, {}};
    if (!token.empty()) {
        request.headers.emplace_back("Authorization", "Bearer " + token);
    }
    // The thread's own event loop: this thread does nothing else.
    QEventLoop loop;
    std::optional<HttpOutcome> outcome;
    const auto exchange = transport.send(request, [&](HttpOutcome came) {
        outcome = std::move(came);
        loop.quit();
    });
    QTimer::singleShot(limit, &loop, &QEventLoop::quit);
    loop.exec();
    return outcome.value_or(
        TransportError{TransportError::Kind::timedOut, "The server does not answer."});
}

CertificateLook lookAtCertificate(const BackendAddress& backend, std::chrono::milliseconds limit) {
    const QUrl url(QString::fromStdString(backend.url));
    CertificateLook look;
    if (url.scheme() != QLatin1String("https")) {
        look.isUsed = false;
        return look;
    }
    auto configuration = QSslConfiguration::defaultConfiguration();
    for (const auto& file : backend.extraAuthorities) {
        configuration.addCaCertificates(
            QSslCertificate::fromPath(QString::fromStdString(file.string())));
    }
    QSslSocket socket;
    socket.setSslConfiguration(configuration);
    const QNetworkProxy proxy = proxyOnTheWayTo(url);
    socket.setProxy(proxy);
    look.proxy = placeOf(proxy);
    // Only here, before the connection is given up, is a refused certificate to be seen.
    QObject::connect(&socket, &QSslSocket::sslErrors, &socket,
                     [&socket, &look](const QList<QSslError>& errors) {
                         describe(socket.peerCertificate(), look);
                         look.error = errors.constFirst().errorString().toStdString();
                     });
    socket.connectToHostEncrypted(url.host(), static_cast<quint16>(url.port(443)));
    if (socket.waitForEncrypted(static_cast<int>(limit.count()))) {
        describe(socket.peerCertificate(), look);
    } else if (look.error.empty()) {
        look.error = socket.error() == QAbstractSocket::SocketTimeoutError
                         ? "no handshake in time"
                         : socket.errorString().toStdString();
    }
    socket.abort();
    return look;
}

} // namespace tandrel::doctor
