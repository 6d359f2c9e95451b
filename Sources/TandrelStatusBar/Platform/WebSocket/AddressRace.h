#pragma once

#include "Platform/WebSocket/SocketPointer.h"

#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>
#include <functional>
#include <vector>

namespace tandrel {

/// Connects to the first of several addresses that answers (RFC 8305): they are tried in turn, the
/// families alternating, each with a short head start over the next, so that an address that
/// swallows packets costs no more than that. Emits exactly one of its signals.
class AddressRace : public QObject {
    Q_OBJECT

public:
    using MakeSocket = std::function<SocketPointer()>;

    AddressRace(const QList<QHostAddress>& addresses, quint16 port,
                std::chrono::milliseconds headStart, MakeSocket makeSocket);

    void start();
    /// The connected socket, after `won()`.
    [[nodiscard]] SocketPointer takeWinner() { return std::move(winner_); }

    /// The addresses with their families alternating, the first address's family first.
    [[nodiscard]] static QList<QHostAddress> interleaved(const QList<QHostAddress>& addresses);

Q_SIGNALS:
    void won();
    /// Every address failed; `reason` is that of the last one.
    void failed(const QString& reason);

private:
    void startNext();
    void onConnected(const QTcpSocket* socket);
    void onError(const QTcpSocket* socket);

    QList<QHostAddress> addresses_;
    quint16 port_;
    MakeSocket makeSocket_;
    QTimer headStart_;
    qsizetype next_ = 0;
    std::vector<SocketPointer> attempts_;
    SocketPointer winner_;
    bool over_ = false;
};

} // namespace tandrel
