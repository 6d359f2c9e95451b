#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QStringList>

namespace tandrel::test {

/// The watcher of the StatusNotifierItem protocol. An item stands in the list as the name on the
/// bus and the object's path together, as panels of today write it.
class StatusNotifierWatcher : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hasHost)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)

public:
    StatusNotifierWatcher(const QDBusConnection& bus, bool hasHost);

    [[nodiscard]] QStringList items() const { return items_; }
    [[nodiscard]] bool hasHost() const { return hasHost_; }
    [[nodiscard]] static int protocolVersion() { return 0; }

public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString& serviceOrPath);
    void RegisterStatusNotifierHost(const QString& service);

Q_SIGNALS:
    void StatusNotifierItemRegistered(const QString& item);
    void StatusNotifierItemUnregistered(const QString& item);
    void StatusNotifierHostRegistered();
    void StatusNotifierHostUnregistered();

private:
    void serviceWent(const QString& service);

    QDBusServiceWatcher goings_;
    QStringList items_;
    bool hasHost_;
};

} // namespace tandrel::test
