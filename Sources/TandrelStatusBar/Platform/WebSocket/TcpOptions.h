#pragma once

#include "Platform/WebSocket/SocketLimits.h"

#include <QTcpSocket>

namespace tandrel {

/// Sets up a connected socket so that a dead peer is noticed soon, little is buffered out of our
/// sight, and nothing waits for company before it is sent. Options that the system lacks are left.
void applyTcpOptions(QTcpSocket& socket, const SocketLimits& limits);

} // namespace tandrel
