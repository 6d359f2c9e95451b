#include "Platform/Desktop/KeyringWatch.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QStringList>

namespace tandrel {

namespace {

QString serviceName() {
    return QStringLiteral("org.freedesktop.secrets");
}

QDBusMessage busCall(const QString& method) {
    return QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                          QStringLiteral("/org/freedesktop/DBus"),
                                          QStringLiteral("org.freedesktop.DBus"), method);
}

} // namespace

KeyringWatch::KeyringWatch(const QDBusConnection& bus, QObject* parent)
    : QObject(parent)
    , bus_(bus) {
    if (!bus_.isConnected()) {
        isRunning_ = false;
        isStartable_ = false;
        return;
    }
    auto* const service = new QDBusServiceWatcher(serviceName(), bus_,
                                                  QDBusServiceWatcher::WatchForRegistration |
                                                      QDBusServiceWatcher::WatchForUnregistration,
                                                  this);
    connect(service, &QDBusServiceWatcher::serviceRegistered, this, [this] {
        update(isRunning_, true);
        Q_EMIT appeared();
    });
    connect(service, &QDBusServiceWatcher::serviceUnregistered, this,
            [this] { update(isRunning_, false); });
    ask();
}

void KeyringWatch::ask() {
    QDBusMessage ownership = busCall(QStringLiteral("NameHasOwner"));
    ownership << serviceName();
    auto* const running = new QDBusPendingCallWatcher(bus_.asyncCall(ownership), this);
    connect(running, &QDBusPendingCallWatcher::finished, this,
            [this](QDBusPendingCallWatcher* call) {
                call->deleteLater();
                const QDBusPendingReply<bool> reply = *call;
                update(isRunning_, reply.isValid() && reply.value());
            });
    auto* const startable = new QDBusPendingCallWatcher(
        bus_.asyncCall(busCall(QStringLiteral("ListActivatableNames"))), this);
    connect(startable, &QDBusPendingCallWatcher::finished, this,
            [this](QDBusPendingCallWatcher* call) {
                call->deleteLater();
                const QDBusPendingReply<QStringList> reply = *call;
                update(isStartable_, reply.isValid() && reply.value().contains(serviceName()));
            });
}

std::optional<bool> KeyringWatch::isThere() const {
    if (!isRunning_ || !isStartable_) {
        return std::nullopt;
    }
    return *isRunning_ || *isStartable_;
}

void KeyringWatch::update(std::optional<bool>& fact, bool value) {
    const std::optional<bool> before = isThere();
    fact = value;
    if (isThere() != before) {
        Q_EMIT changed();
    }
}

} // namespace tandrel
