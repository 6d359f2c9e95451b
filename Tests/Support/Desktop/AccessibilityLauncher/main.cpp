// Leads programs on the session bus to an accessibility bus that runs already.
//
//   accessibility-launcher ADDRESS
//
// The desktop's own launcher starts that bus as its child, and leaves it behind when it is killed.
// The variable AT_SPI_BUS_ADDRESS will not do: Qt 6.4 connects to the bus that it names, but shows
// nothing there as long as nobody says over the session bus that assistive technology is in use.

#include "BusAddress.h"
#include "Status.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QStringList>

#include <cstdio>

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 2) {
        std::fprintf(stderr, "usage: accessibility-launcher ADDRESS\n");
        return 2;
    }
    QObject object;
    tandrel::test::BusAddress address(&object, arguments.at(1));
    tandrel::test::Status status(&object);
    auto bus = QDBusConnection::sessionBus();
    if (!bus.registerObject(QStringLiteral("/org/a11y/bus"), &object) ||
        !bus.registerService(QStringLiteral("org.a11y.Bus"))) {
        std::fprintf(stderr, "the launcher's name is taken\n");
        return 1;
    }
    return QCoreApplication::exec();
}
