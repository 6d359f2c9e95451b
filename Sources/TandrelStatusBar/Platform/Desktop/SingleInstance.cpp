#include "Platform/Desktop/SingleInstance.h"

#include <QDBusError>
#include <QDBusMessage>

#include <utility>

namespace tandrel {

namespace {

constexpr int answerLimitMs = 2000;
constexpr quint32 doNotQueue = 4;
constexpr quint32 primaryOwner = 1;

QString connectionName() {
    return QStringLiteral("single-instance");
}

/// The calls that hand commands over, in order: neighbouring URLs go in one.
struct Call {
    QString method;
    QVariantList arguments;
};

std::vector<Call> callsFor(const SingleInstance::Request& request) {
    std::vector<Call> calls;
    QStringList urls;
    const auto flushURLs = [&] {
        if (!urls.isEmpty()) {
            calls.push_back({QStringLiteral("Open"), {std::exchange(urls, {})}});
        }
    };
    for (const AppCommand& command : request.commands) {
        if (command.kind == AppCommand::Kind::openURL) {
            urls << QString::fromStdString(command.url);
            continue;
        }
        flushURLs();
        calls.push_back({QStringLiteral("ActivateAction"),
                         {ApplicationInterface::actionOf(command.kind), QVariantList()}});
    }
    flushURLs();
    if (calls.empty() && !request.isInBackground) {
        calls.push_back({QStringLiteral("Activate"), {}});
    }
    return calls;
}

QVariantMap platformData(const std::string& activationToken) {
    QVariantMap data;
    if (!activationToken.empty()) {
        const QString token = QString::fromStdString(activationToken);
        data.insert(QStringLiteral("activation-token"), token);
        data.insert(QStringLiteral("desktop-startup-id"), token);
    }
    return data;
}

} // namespace

// Not the process's usual connection: Qt warns when that is made before the application object.
SingleInstance::SingleInstance()
    : bus_(QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName())) {}

SingleInstance::~SingleInstance() {
    QDBusConnection::disconnectFromBus(connectionName());
}

void SingleInstance::setHandler(ApplicationInterface::Handler handler) {
    interface_.setHandler(std::move(handler));
}

SingleInstance::Outcome SingleInstance::claim(const Request& request) {
    if (!bus_.isConnected()) {
        return request.concernsRunningOnly ? Outcome::nothingRuns : Outcome::noBus;
    }
    if (request.concernsRunningOnly) {
        switch (handOver(request)) {
        case Delivery::done:
            return Outcome::handedOver;
        case Delivery::nobody:
            return Outcome::nothingRuns;
        case Delivery::unanswered:
            return Outcome::unanswered;
        }
    }
    // Before the name: whoever sees the name may call at once.
    bus_.registerObject(QLatin1String(objectPath), &interface_, QDBusConnection::ExportAllSlots);
    return takeName(request);
}

SingleInstance::Outcome SingleInstance::takeName(const Request& request) {
    // The owner may leave between the two questions; then the name is there to be taken.
    static constexpr int attempts = 3;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        auto question = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("RequestName"));
        question << QString(QLatin1String(busName)) << doNotQueue;
        const QDBusMessage answer = bus_.call(question, QDBus::Block, answerLimitMs);
        if (answer.type() != QDBusMessage::ReplyMessage) {
            return Outcome::unanswered;
        }
        if (answer.arguments().value(0).toUInt() == primaryOwner) {
            return Outcome::first;
        }
        const Delivery delivery = handOver(request);
        if (delivery != Delivery::nobody) {
            return delivery == Delivery::done ? Outcome::handedOver : Outcome::unanswered;
        }
    }
    return Outcome::unanswered;
}

SingleInstance::Delivery SingleInstance::handOver(const Request& request) {
    for (Call& call : callsFor(request)) {
        call.arguments << platformData(request.activationToken);
        const Delivery delivery = deliver(call.method, call.arguments);
        if (delivery != Delivery::done) {
            return delivery;
        }
    }
    return Delivery::done;
}

SingleInstance::Delivery SingleInstance::deliver(const QString& method,
                                                 const QVariantList& arguments) {
    auto call = QDBusMessage::createMethodCall(QLatin1String(busName), QLatin1String(objectPath),
                                               QLatin1String(ApplicationInterface::name), method);
    call.setArguments(arguments);
    call.setAutoStartService(false);
    const QDBusMessage answer = bus_.call(call, QDBus::Block, answerLimitMs);
    if (answer.type() == QDBusMessage::ReplyMessage) {
        return Delivery::done;
    }
    const QString error = answer.errorName();
    const bool isNobody = error == QLatin1String("org.freedesktop.DBus.Error.ServiceUnknown") ||
                          error == QLatin1String("org.freedesktop.DBus.Error.NameHasNoOwner");
    return isNobody ? Delivery::nobody : Delivery::unanswered;
}

} // namespace tandrel
