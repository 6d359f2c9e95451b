#include "Platform/WebSocket/ProxyChoice.h"

#include <QNetworkProxyFactory>
#include <QNetworkProxyQuery>
#include <QString>
#include <QUrl>

#include <algorithm>

namespace tandrel {

QNetworkProxy proxyFor(const WebSocketUrl& url) {
    // Built from its parts: path and query, and the token with them, are no business of the proxy
    // settings.
    QUrl origin;
    origin.setScheme(url.secure ? QStringLiteral("https") : QStringLiteral("http"));
    origin.setHost(QString::fromStdString(url.host));
    origin.setPort(url.port);
    const QList<QNetworkProxy> proxies =
        QNetworkProxyFactory::proxyForQuery(QNetworkProxyQuery(origin));
    const auto usable =
        std::find_if(proxies.begin(), proxies.end(), [](const QNetworkProxy& proxy) {
            return proxy.type() == QNetworkProxy::NoProxy ||
                   proxy.capabilities().testFlag(QNetworkProxy::TunnelingCapability);
        });
    return usable == proxies.end() ? QNetworkProxy(QNetworkProxy::NoProxy) : *usable;
}

} // namespace tandrel
