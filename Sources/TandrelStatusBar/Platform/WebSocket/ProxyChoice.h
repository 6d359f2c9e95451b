#pragma once

#include "Platform/WebSocket/WebSocketUrl.h"

#include <QNetworkProxy>

namespace tandrel {

/// The proxy that the system wants for `url`, asked for as for https or http: a query in the form
/// of a plain socket would not see the environment's https_proxy. Of several the first that can
/// carry a tunnel. May read the system's settings: not for the main thread.
[[nodiscard]] QNetworkProxy proxyFor(const WebSocketUrl& url);

} // namespace tandrel
