#include "Platform/Qt/ProxyLookup.h"

#include <QHostAddress>
#include <QMetaObject>
#include <QNetworkProxyFactory>
#include <QNetworkProxyQuery>

#include <mutex>
#include <thread>
#include <utility>

namespace tandrel {

/// Where the thread of a look-up leaves its answer, which may come after the look-up has gone.
struct ProxyLookup::Mailbox {
    std::mutex mutex;
    /// Null once nobody collects any more.
    ProxyLookup* owner = nullptr;

    void put(const QString& origin, const QList<QNetworkProxy>& proxies) {
        const std::lock_guard lock(mutex);
        if (owner != nullptr) {
            ProxyLookup* const lookup = owner;
            QMetaObject::invokeMethod(
                &lookup->receiver_, [lookup, origin, proxies] { lookup->deliver(origin, proxies); },
                Qt::QueuedConnection);
        }
    }
};

class ProxyLookup::Waiter : public Operation {
public:
    explicit Waiter(std::shared_ptr<Completion> completion)
        : completion_(std::move(completion)) {}

private:
    std::shared_ptr<Completion> completion_;
};

ProxyLookup::ProxyLookup()
    : mailbox_(std::make_shared<Mailbox>()) {
    mailbox_->owner = this;
}

ProxyLookup::~ProxyLookup() {
    const std::lock_guard lock(mailbox_->mutex);
    mailbox_->owner = nullptr;
}

bool ProxyLookup::isLoopback(const QUrl& url) {
    const QString host = url.host();
    return host == QLatin1String("localhost") || host.endsWith(QLatin1String(".localhost")) ||
           QHostAddress(host).isLoopback();
}

Handle ProxyLookup::start(const QUrl& url, Completion completion) {
    const QString origin = url.toString(QUrl::RemoveUserInfo | QUrl::RemovePath |
                                        QUrl::RemoveQuery | QUrl::RemoveFragment);
    auto shared = std::make_shared<Completion>(std::move(completion));
    const auto [entry, isFirst] = waiting_.try_emplace(origin);
    std::erase_if(entry->second, [](const auto& waiter) { return waiter.expired(); });
    entry->second.push_back(shared);
    if (isFirst) {
        // Detached: a system that never answers must not hold up the end of the program.
        std::thread([mailbox = mailbox_, origin, url = QUrl(origin)] {
            mailbox->put(origin,
                         QNetworkProxyFactory::systemProxyForQuery(QNetworkProxyQuery(url)));
        }).detach();
    }
    return std::make_unique<Waiter>(std::move(shared));
}

void ProxyLookup::deliver(const QString& origin, const QList<QNetworkProxy>& proxies) {
    const auto node = waiting_.extract(origin);
    for (const auto& weak : node.mapped()) {
        if (const auto completion = weak.lock()) {
            (*completion)(proxies);
        }
    }
}

} // namespace tandrel
