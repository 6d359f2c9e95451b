#include "Platform/Desktop/StatusNotifierHost.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>

namespace tandrel {

namespace {

constexpr int answerLimitMs = 5000;

QString watcherName() {
    return QStringLiteral("org.kde.StatusNotifierWatcher");
}

QString watcherPath() {
    return QStringLiteral("/StatusNotifierWatcher");
}

} // namespace

StatusNotifierHost::StatusNotifierHost(const QDBusConnection& bus, QObject* parent)
    : QObject(parent)
    , bus_(bus) {
    if (!bus_.isConnected()) {
        isRegistered_ = false;
        return;
    }
    auto* const service = new QDBusServiceWatcher(watcherName(), bus_,
                                                  QDBusServiceWatcher::WatchForRegistration |
                                                      QDBusServiceWatcher::WatchForUnregistration,
                                                  this);
    connect(service, &QDBusServiceWatcher::serviceRegistered, this, &StatusNotifierHost::ask);
    connect(service, &QDBusServiceWatcher::serviceUnregistered, this, [this] { answer(false); });
    for (const auto& signal : {QStringLiteral("StatusNotifierHostRegistered"),
                               QStringLiteral("StatusNotifierHostUnregistered")}) {
        bus_.connect(watcherName(), watcherPath(), watcherName(), signal, this, SLOT(ask()));
    }
    ask();
}

void StatusNotifierHost::ask() {
    auto question = QDBusMessage::createMethodCall(
        watcherName(), watcherPath(), QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("Get"));
    question << watcherName() << QStringLiteral("IsStatusNotifierHostRegistered");
    question.setAutoStartService(false);
    auto* const pending =
        new QDBusPendingCallWatcher(bus_.asyncCall(question, answerLimitMs), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this,
            [this, number = ++question_](QDBusPendingCallWatcher* call) {
                call->deleteLater();
                if (number == question_) {
                    const QDBusPendingReply<QDBusVariant> reply = *call;
                    answer(reply.isValid() && reply.value().variant().toBool());
                }
            });
}

void StatusNotifierHost::answer(bool isRegistered) {
    if (isRegistered_ != isRegistered) {
        isRegistered_ = isRegistered;
        Q_EMIT changed();
    }
}

} // namespace tandrel
