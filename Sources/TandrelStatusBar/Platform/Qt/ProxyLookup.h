#pragma once

#include "Foundation/Handle.h"

#include <QList>
#include <QNetworkProxy>
#include <QObject>
#include <QString>
#include <QUrl>

#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace tandrel {

/// Asks the system for the proxies on the way to a URL, on a thread of its own: automatic proxy
/// configuration may wait for the network, with no limit. Lives on one thread with an event loop.
class ProxyLookup {
public:
    using Completion = std::function<void(const QList<QNetworkProxy>&)>;

    ProxyLookup();
    ~ProxyLookup();
    ProxyLookup(const ProxyLookup&) = delete;
    ProxyLookup& operator=(const ProxyLookup&) = delete;

    /// Whether `url` leads to this machine, which no proxy stands before.
    [[nodiscard]] static bool isLoopback(const QUrl& url);

    /// Calls `completion` later; never, should the system not answer. Requests for an origin that
    /// is being looked up share the answer, so that a stuck system costs one thread, not one a
    /// request.
    [[nodiscard]] Handle start(const QUrl& url, Completion completion);

private:
    class Waiter;
    struct Mailbox;
    void deliver(const QString& origin, const QList<QNetworkProxy>& proxies);

    QObject receiver_;
    std::shared_ptr<Mailbox> mailbox_;
    /// Who waits for which origin; a waiter that has gone is an expired entry.
    std::map<QString, std::vector<std::weak_ptr<Completion>>> waiting_;
};

} // namespace tandrel
