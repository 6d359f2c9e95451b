#include "Platform/WebSocket/Dialer.h"

#include "Platform/WebSocket/ProxyChoice.h"
#include "Platform/WebSocket/TcpOptions.h"

#include <QSslConfiguration>
#include <QSslSocket>
#include <QStringList>

#include <utility>

namespace tandrel {

namespace {

/// What Qt keeps for us, unread: enough for a TLS record, and little to hold while reading stops.
constexpr qint64 readBufferBytes = qint64{32} * 1024;

SocketPointer makeSocket(bool secure) {
    SocketPointer socket(secure ? new QSslSocket : new QTcpSocket);
    socket->setReadBufferSize(readBufferBytes);
    return socket;
}

} // namespace

Dialer::Dialer(WebSocketUrl url, const SocketLimits& limits,
               QList<QSslCertificate> extraAuthorities, ProxyLookup& proxyLookup)
    : url_(std::move(url))
    , limits_(limits)
    , extraAuthorities_(std::move(extraAuthorities))
    , proxyLookup_(proxyLookup) {}

Dialer::~Dialer() = default;

void Dialer::start() {
    const QUrl query = proxyQuery(url_);
    if (ProxyLookup::isLoopback(query)) {
        lookUp();
        return;
    }
    proxyAnswer_ = proxyLookup_.start(
        query, [this](const QList<QNetworkProxy>& proxies) { dial(tunnelAmong(proxies)); });
}

void Dialer::dial(const QNetworkProxy& proxy) {
    if (proxy.type() == QNetworkProxy::NoProxy) {
        lookUp();
    } else {
        dialThrough(proxy);
    }
}

void Dialer::dialThrough(const QNetworkProxy& proxy) {
    socket_ = makeSocket(url_.secure);
    socket_->setProxy(proxy);
    connect(socket_.get(), &QTcpSocket::connected, this, &Dialer::onConnected);
    connect(socket_.get(), &QTcpSocket::errorOccurred, this, &Dialer::onSocketError);
    socket_->connectToHost(QString::fromStdString(url_.host), url_.port);
}

void Dialer::lookUp() {
    const QString host = QString::fromStdString(url_.host);
    const QHostAddress literal(host);
    if (!literal.isNull()) {
        race({literal});
        return;
    }
    hostLookup_ = std::make_unique<HostLookup>(host, [this](const QHostInfo& answer) {
        if (answer.error() == QHostInfo::NoError) {
            race(answer.addresses());
        } else {
            fail(tr("Could not connect: %1").arg(answer.errorString()));
        }
    });
}

void Dialer::race(const QList<QHostAddress>& addresses) {
    race_.reset(new AddressRace(addresses, url_.port, limits_.nextAddress,
                                [secure = url_.secure] { return makeSocket(secure); }));
    connect(race_.get(), &AddressRace::won, this, [this] {
        socket_ = race_->takeWinner();
        race_.reset();
        connect(socket_.get(), &QTcpSocket::errorOccurred, this, &Dialer::onSocketError);
        onConnected();
    });
    connect(race_.get(), &AddressRace::failed, this,
            [this](const QString& reason) { fail(tr("Could not connect: %1").arg(reason)); });
    race_->start();
}

void Dialer::onConnected() {
    applyTcpOptions(*socket_, limits_);
    if (url_.secure) {
        encrypt();
        return;
    }
    over_ = true;
    socket_->disconnect(this);
    Q_EMIT opened();
}

void Dialer::encrypt() {
    auto* socket = qobject_cast<QSslSocket*>(socket_.get());
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setPeerVerifyMode(QSslSocket::VerifyPeer);
    configuration.setProtocol(QSsl::TlsV1_2OrLater);
    if (!extraAuthorities_.isEmpty()) {
        configuration.addCaCertificates(extraAuthorities_);
    }
    socket->setSslConfiguration(configuration);
    socket->setPeerVerifyName(QString::fromStdString(url_.host));
    connect(socket, &QSslSocket::sslErrors, this, &Dialer::onSslErrors);
    connect(socket, &QSslSocket::encrypted, this, [this, socket] {
        over_ = true;
        socket->disconnect(this);
        Q_EMIT opened();
    });
    socket->startClientEncryption();
}

void Dialer::onSslErrors(const QList<QSslError>& errors) {
    QStringList texts;
    for (const QSslError& error : errors) {
        texts.append(error.errorString());
    }
    texts.removeDuplicates();
    certificateProblem_ = texts.join(QStringLiteral("; "));
}

void Dialer::onSocketError() {
    if (!certificateProblem_.isEmpty()) {
        fail(tr("The server's certificate was refused: %1").arg(certificateProblem_));
    } else if (socket_->error() == QAbstractSocket::ProxyAuthenticationRequiredError) {
        fail(tr("Could not connect: The proxy server asks for a user name and a password."));
    } else {
        fail(tr("Could not connect: %1").arg(socket_->errorString()));
    }
}

void Dialer::fail(const QString& reason) {
    if (!std::exchange(over_, true)) {
        Q_EMIT failed(reason);
    }
}

} // namespace tandrel
