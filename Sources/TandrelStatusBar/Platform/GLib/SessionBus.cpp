#include "Platform/GLib/SessionBus.h"

namespace tandrel::glib {

ObjectPointer<GDBusConnection> sessionBus(Error& error) {
    ObjectPointer<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, error.out()));
    if (bus) {
        g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    }
    return bus;
}

} // namespace tandrel::glib
