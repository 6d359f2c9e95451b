#include "Support/Desktop/BusConnection.h"

#include <QDBusMessage>
#include <QDBusVariant>

namespace tandrel::test {

namespace {

QString newName() {
    static int count = 0;
    return QStringLiteral("test%1").arg(++count);
}

} // namespace

BusConnection::BusConnection(const std::string& address)
    : name_(newName())
    , connection_(QDBusConnection::connectToBus(QString::fromStdString(address), name_)) {}

BusConnection::~BusConnection() {
    QDBusConnection::disconnectFromBus(name_);
}

QVariantList BusConnection::call(const QString& service, const QString& path,
                                 const QString& interface, const QString& method,
                                 const QVariantList& arguments,
                                 std::chrono::milliseconds limit) const {
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    const QDBusMessage reply =
        connection_.call(message, QDBus::Block, static_cast<int>(limit.count()));
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments() : QVariantList{};
}

QVariant BusConnection::property(const QString& service, const QString& path,
                                 const QString& interface, const QString& name,
                                 std::chrono::milliseconds limit) const {
    const QVariantList answer =
        call(service, path, QStringLiteral("org.freedesktop.DBus.Properties"),
             QStringLiteral("Get"), {interface, name}, limit);
    return answer.isEmpty() ? QVariant() : answer.front().value<QDBusVariant>().variant();
}

} // namespace tandrel::test
