#include "Platform/WebSocket/AddressRace.h"

#include <QNetworkProxy>

#include <algorithm>
#include <utility>

namespace tandrel {

AddressRace::AddressRace(const QList<QHostAddress>& addresses, quint16 port,
                         std::chrono::milliseconds headStart, MakeSocket makeSocket)
    : addresses_(interleaved(addresses))
    , port_(port)
    , makeSocket_(std::move(makeSocket)) {
    headStart_.setSingleShot(true);
    headStart_.setTimerType(Qt::PreciseTimer);
    headStart_.setInterval(headStart);
    connect(&headStart_, &QTimer::timeout, this, &AddressRace::startNext);
}

void AddressRace::start() {
    if (addresses_.isEmpty()) {
        over_ = true;
        Q_EMIT failed(tr("Host not found"));
        return;
    }
    startNext();
}

QList<QHostAddress> AddressRace::interleaved(const QList<QHostAddress>& addresses) {
    if (addresses.isEmpty()) {
        return {};
    }
    const auto firstFamily = addresses.front().protocol();
    QList<QHostAddress> same;
    QList<QHostAddress> other;
    for (const QHostAddress& address : addresses) {
        if (address.protocol() == firstFamily) {
            same.append(address);
        } else {
            other.append(address);
        }
    }
    QList<QHostAddress> mixed;
    for (qsizetype index = 0; index < std::max(same.size(), other.size()); ++index) {
        if (index < same.size()) {
            mixed.append(same[index]);
        }
        if (index < other.size()) {
            mixed.append(other[index]);
        }
    }
    return mixed;
}

void AddressRace::startNext() {
    if (over_ || next_ == addresses_.size()) {
        return;
    }
    const QHostAddress address = addresses_[next_++];
    attempts_.push_back(makeSocket_());
    QTcpSocket* socket = attempts_.back().get();
    socket->setProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    connect(socket, &QTcpSocket::connected, this, [this, socket] { onConnected(socket); });
    // Queued: some errors are found while `connectToHost` still runs.
    connect(
        socket, &QTcpSocket::errorOccurred, this, [this, socket] { onError(socket); },
        Qt::QueuedConnection);
    headStart_.start();
    socket->connectToHost(address, port_);
}

void AddressRace::onConnected(const QTcpSocket* socket) {
    if (over_) {
        return;
    }
    over_ = true;
    headStart_.stop();
    const auto found =
        std::find_if(attempts_.begin(), attempts_.end(),
                     [socket](const SocketPointer& attempt) { return attempt.get() == socket; });
    winner_ = std::move(*found);
    winner_->disconnect(this);
    attempts_.clear();
    Q_EMIT won();
}

void AddressRace::onError(const QTcpSocket* socket) {
    const auto found =
        std::find_if(attempts_.begin(), attempts_.end(),
                     [socket](const SocketPointer& attempt) { return attempt.get() == socket; });
    if (over_ || found == attempts_.end()) {
        return;
    }
    const QString reason = socket->errorString();
    attempts_.erase(found);
    if (next_ < addresses_.size()) {
        startNext();
    } else if (attempts_.empty()) {
        over_ = true;
        headStart_.stop();
        Q_EMIT failed(reason);
    }
}

} // namespace tandrel
