// A panel's part of the StatusNotifierItem protocol: the watcher with whom programs register their
// items, and one registered host. It shows nothing; who wants to know asks it over the bus.
//
//   status-notifier-host [--without-host]      (a watcher whose panel is not there yet)

#include "StatusNotifierWatcher.h"

#include <QCoreApplication>
#include <QDBusConnection>

#include <cstdio>

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    auto bus = QDBusConnection::sessionBus();
    tandrel::test::StatusNotifierWatcher watcher(
        bus, !QCoreApplication::arguments().contains(QStringLiteral("--without-host")));
    // The object comes before the name, so that nobody finds the one without the other.
    if (!bus.registerObject(QStringLiteral("/StatusNotifierWatcher"), &watcher,
                            QDBusConnection::ExportAllContents) ||
        !bus.registerService(QStringLiteral("org.kde.StatusNotifierWatcher"))) {
        std::fprintf(stderr, "the watcher's name is taken\n");
        return 1;
    }
    return QCoreApplication::exec();
}
