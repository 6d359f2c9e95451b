#pragma once

#include <QDBusConnection>
#include <QDBusVariant>
#include <QObject>
#include <QString>

namespace tandrel {

/// Gives the program dark colours where the desktop wants them and the platform theme brings none:
/// Qt's own stay light, whatever GNOME is set to (6.4.2). The settings portal's `color-scheme`
/// (org.freedesktop.appearance) is asked for and watched on the session bus, without ever waiting;
/// where the theme brings colours, nobody is asked. Main thread.
class ColorSchemeFollower : public QObject {
    Q_OBJECT

public:
    explicit ColorSchemeFollower(const QDBusConnection& bus, QObject* parent = nullptr);

private Q_SLOTS:
    void settingChanged(const QString& group, const QString& key, const QDBusVariant& value);

private:
    void watch();
    void ask();
    void follow(const QVariant& value);

    QDBusConnection bus_;
    bool isDark_ = false;
};

} // namespace tandrel
