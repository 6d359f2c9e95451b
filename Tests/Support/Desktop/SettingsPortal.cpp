#include "Support/Desktop/SettingsPortal.h"

#include <QDBusMessage>
#include <QDBusVariant>

#include <stdexcept>

namespace tandrel::test {

namespace {

const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString settings = QStringLiteral("org.freedesktop.portal.Settings");
const QString appearance = QStringLiteral("org.freedesktop.appearance");
const QString colorScheme = QStringLiteral("color-scheme");

} // namespace

SettingsPortal::SettingsPortal(const std::string& address, Scheme scheme)
    : bus_(address)
    , scheme_(scheme) {
    moveToThread(&thread_);
    thread_.start();
    if (!bus_.connection().registerVirtualObject(path, this) ||
        !bus_.connection().registerService(QStringLiteral("org.freedesktop.portal.Desktop"))) {
        throw std::runtime_error("no settings portal");
    }
}

SettingsPortal::~SettingsPortal() {
    bus_.connection().unregisterService(QStringLiteral("org.freedesktop.portal.Desktop"));
    bus_.connection().unregisterObject(path);
    thread_.quit();
    thread_.wait();
}

void SettingsPortal::set(Scheme scheme) {
    scheme_ = scheme;
    QDBusMessage news =
        QDBusMessage::createSignal(path, settings, QStringLiteral("SettingChanged"));
    news << appearance << colorScheme
         << QVariant::fromValue(QDBusVariant(static_cast<unsigned>(scheme)));
    bus_.connection().send(news);
}

QString SettingsPortal::introspect(const QString& /*path*/) const {
    return {};
}

bool SettingsPortal::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    if (message.interface() != settings || message.member() != QStringLiteral("Read") ||
        message.arguments() != QVariantList{appearance, colorScheme}) {
        return false;
    }
    ++reads_;
    // A variant within a variant, as the real one answers.
    const QDBusVariant value(scheme_.load());
    connection.send(
        message.createReply(QVariant::fromValue(QDBusVariant(QVariant::fromValue(value)))));
    return true;
}

} // namespace tandrel::test
