#include "Platform/WebSocket/TcpOptions.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace tandrel {

namespace {

void setNumber(int descriptor, int level, int option, int value) {
    // A refusal leaves the default, with which the stream still works.
    (void)setsockopt(descriptor, level, option, &value, sizeof value);
}

} // namespace

void applyTcpOptions(QTcpSocket& socket, const SocketLimits& limits) {
    socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    socket.setSocketOption(QAbstractSocket::KeepAliveOption, 1);
    socket.setSocketOption(QAbstractSocket::SendBufferSizeSocketOption,
                           limits.kernelSendBufferBytes);
    const int descriptor = static_cast<int>(socket.socketDescriptor());
    if (descriptor < 0) {
        return;
    }
    // Silence for 5 s, then a probe every 5 s; the second unanswered one ends the connection.
#ifdef TCP_KEEPIDLE
    setNumber(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, 5);
#elif defined(TCP_KEEPALIVE)
    setNumber(descriptor, IPPROTO_TCP, TCP_KEEPALIVE, 5);
#endif
    setNumber(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, 5);
    setNumber(descriptor, IPPROTO_TCP, TCP_KEEPCNT, 2);
#ifdef TCP_USER_TIMEOUT
    setNumber(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT,
              static_cast<int>(limits.unacknowledged.count()));
#elif defined(TCP_RXT_CONNDROPTIME)
    setNumber(descriptor, IPPROTO_TCP, TCP_RXT_CONNDROPTIME,
              static_cast<int>(limits.unacknowledged.count() / 1000));
#endif
#ifdef TCP_NOTSENT_LOWAT
    // What the peer has no room for stays with us, where its age is watched.
    setNumber(descriptor, IPPROTO_TCP, TCP_NOTSENT_LOWAT,
              static_cast<int>(limits.socketBacklogBytes));
#endif
}

} // namespace tandrel
