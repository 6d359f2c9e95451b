#include "Platform/GLib/SessionBus.h"

namespace tandrel::glib {

ObjectPointer<GDBusConnection> sessionBus(Error& error) {
    ObjectPointer<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, error.out()));
    if (!bus) {
        return bus;
    }
    g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    // GLib hands out the process's one connection for as long as anything holds it, dead or alive,
    // and its own worker does while it reports the end.
    if (g_dbus_connection_is_closed(bus.get()) != FALSE) {
        g_set_error_literal(error.out(), G_IO_ERROR, G_IO_ERROR_CLOSED, "the session bus is gone");
        bus.reset();
    }
    return bus;
}

} // namespace tandrel::glib
