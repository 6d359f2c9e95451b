#pragma once

#include <QTcpSocket>

#include <memory>

namespace tandrel {

/// Ends a socket or a dialer at once, but frees it only when control is back in the event loop: it
/// may be in the middle of emitting a signal.
struct LaterDeleter {
    void operator()(QTcpSocket* socket) const {
        socket->disconnect();
        socket->abort();
        socket->deleteLater();
    }
    void operator()(QObject* object) const {
        object->disconnect();
        object->deleteLater();
    }
};

using SocketPointer = std::unique_ptr<QTcpSocket, LaterDeleter>;

} // namespace tandrel
