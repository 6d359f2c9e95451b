#pragma once

#include "Platform/GLib/GLibPointers.h"

namespace tandrel::glib {

/// This process's connection to the session bus, made when first needed; null with `error` set when
/// there is none. May block; never the main thread. By default GLib ends the whole program when the
/// bus goes: whoever uses a library that connects by itself has to come here first.
[[nodiscard]] ObjectPointer<GDBusConnection> sessionBus(Error& error);

} // namespace tandrel::glib
