#include "StatusNotifierWatcher.h"

#include <QDBusMessage>

namespace tandrel::test {

StatusNotifierWatcher::StatusNotifierWatcher(const QDBusConnection& bus, bool hasHost)
    : hasHost_(hasHost) {
    goings_.setConnection(bus);
    goings_.setWatchMode(QDBusServiceWatcher::WatchForUnregistration);
    connect(&goings_, &QDBusServiceWatcher::serviceUnregistered, this,
            &StatusNotifierWatcher::serviceWent);
}

void StatusNotifierWatcher::RegisterStatusNotifierItem(const QString& serviceOrPath) {
    const bool isPath = serviceOrPath.startsWith(u'/');
    const QString service = isPath ? message().service() : serviceOrPath;
    const QString item = service + (isPath ? serviceOrPath : QStringLiteral("/StatusNotifierItem"));
    if (items_.contains(item)) {
        return;
    }
    items_.append(item);
    goings_.addWatchedService(service);
    Q_EMIT StatusNotifierItemRegistered(item);
}

void StatusNotifierWatcher::RegisterStatusNotifierHost(const QString& /*service*/) {
    hasHost_ = true;
    Q_EMIT StatusNotifierHostRegistered();
}

void StatusNotifierWatcher::serviceWent(const QString& service) {
    goings_.removeWatchedService(service);
    const QStringList before = items_;
    for (const QString& item : before) {
        if (item.startsWith(service + u'/')) {
            items_.removeAll(item);
            Q_EMIT StatusNotifierItemUnregistered(item);
        }
    }
}

} // namespace tandrel::test
