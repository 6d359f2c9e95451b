#include "Platform/Desktop/ColorSchemeFollower.h"

#include "Platform/Desktop/DarkColors.h"

#include <QApplication>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QStyle>

#include <utility>

namespace tandrel {

namespace {

/// Values of the setting: 0 no preference, 1 dark, 2 light.
constexpr uint prefersDark = 1;
/// The portal may have to be started first.
constexpr int answerLimitMs = 10'000;

QString portalName() {
    return QStringLiteral("org.freedesktop.portal.Desktop");
}

QString portalPath() {
    return QStringLiteral("/org/freedesktop/portal/desktop");
}

QString settingsInterface() {
    return QStringLiteral("org.freedesktop.portal.Settings");
}

QString appearance() {
    return QStringLiteral("org.freedesktop.appearance");
}

QString colorScheme() {
    return QStringLiteral("color-scheme");
}

/// Whether somebody has chosen colours: the platform theme, or the command line.
bool hasColorsOfItsOwn() {
    return QApplication::palette() != QApplication::style()->standardPalette();
}

bool isDark(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() <
           palette.color(QPalette::WindowText).lightness();
}

} // namespace

ColorSchemeFollower::ColorSchemeFollower(const QDBusConnection& bus, QObject* parent)
    : QObject(parent)
    , bus_(bus) {
    if (bus_.isConnected() && !hasColorsOfItsOwn() && !isDark(QApplication::palette())) {
        watch();
        ask();
    }
}

void ColorSchemeFollower::watch() {
    bus_.connect(portalName(), portalPath(), settingsInterface(), QStringLiteral("SettingChanged"),
                 {appearance(), colorScheme()}, QStringLiteral("ssv"), this,
                 SLOT(settingChanged(QString, QString, QDBusVariant)));
}

void ColorSchemeFollower::ask() {
    auto question = QDBusMessage::createMethodCall(portalName(), portalPath(), settingsInterface(),
                                                   QStringLiteral("Read"));
    question << appearance() << colorScheme();
    auto* const pending =
        new QDBusPendingCallWatcher(bus_.asyncCall(question, answerLimitMs), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this,
            [this](QDBusPendingCallWatcher* call) {
                call->deleteLater();
                const QDBusPendingReply<QDBusVariant> reply = *call;
                if (reply.isValid()) {
                    follow(reply.value().variant());
                }
            });
}

void ColorSchemeFollower::settingChanged(const QString& /*group*/, const QString& /*key*/,
                                         const QDBusVariant& value) {
    follow(value.variant());
}

void ColorSchemeFollower::follow(const QVariant& value) {
    // `Read` wraps the value twice.
    const QVariant inner =
        value.canConvert<QDBusVariant>() ? value.value<QDBusVariant>().variant() : value;
    const bool isDark = inner.toUInt() == prefersDark;
    if (std::exchange(isDark_, isDark) != isDark) {
        QApplication::setPalette(isDark ? darkColors() : QPalette());
    }
}

} // namespace tandrel
