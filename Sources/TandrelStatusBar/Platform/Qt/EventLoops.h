#pragma once

namespace tandrel {

enum class PlainLoops {
    /// All threads but the main one: a desktop's platform theme may need GLib's loop there.
    besideMain,
    /// The main thread too.
    everywhere,
};

/// Has Qt's event loops wait by themselves rather than by way of GLib, which costs two more system
/// calls for each message that is sent, and much more code. A choice made in the environment
/// (QT_NO_GLIB, QT_NO_THREADED_GLIB) stands. Before the application object and any thread is made.
void usePlainEventLoops(PlainLoops which);

} // namespace tandrel
