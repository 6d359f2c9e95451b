#pragma once

#include "Platform/WebSocket/WebSocketUrl.h"

#include <QList>
#include <QNetworkProxy>
#include <QUrl>

namespace tandrel {

/// What to ask the system for the proxies on the way to `url` with: its origin as an https or http
/// URL, since a query in the form of a plain socket would not see the environment's https_proxy.
/// Path and query, and the token with them, are no business of the proxy settings.
[[nodiscard]] QUrl proxyQuery(const WebSocketUrl& url);

/// The first of the system's proxies that can carry a tunnel; none when there is no such.
[[nodiscard]] QNetworkProxy tunnelAmong(const QList<QNetworkProxy>& proxies);

} // namespace tandrel
