#include "Platform/WebSocket/ProxyChoice.h"

#include <QString>

#include <algorithm>

namespace tandrel {

QUrl proxyQuery(const WebSocketUrl& url) {
    QUrl origin;
    origin.setScheme(url.secure ? QStringLiteral("https") : QStringLiteral("http"));
    origin.setHost(QString::fromStdString(url.host));
    origin.setPort(url.port);
    return origin;
}

QNetworkProxy tunnelAmong(const QList<QNetworkProxy>& proxies) {
    const auto usable =
        std::find_if(proxies.begin(), proxies.end(), [](const QNetworkProxy& proxy) {
            return proxy.type() == QNetworkProxy::NoProxy ||
                   proxy.capabilities().testFlag(QNetworkProxy::TunnelingCapability);
        });
    return usable == proxies.end() ? QNetworkProxy(QNetworkProxy::NoProxy) : *usable;
}

} // namespace tandrel
