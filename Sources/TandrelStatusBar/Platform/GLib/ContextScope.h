#pragma once

#include <gio/gio.h>

namespace tandrel::glib {

/// For its life, what GLib delivers to this thread goes to `context` alone. Otherwise it would go
/// to the main thread, which runs GLib's default context, while this thread uses the very same
/// objects. What waits in the context is run at both ends: GLib frees some of what its objects hold
/// that way, after they have gone.
class ContextScope {
public:
    explicit ContextScope(GMainContext* context)
        : context_(context) {
        g_main_context_push_thread_default(context_);
        runPending();
    }
    ~ContextScope() {
        runPending();
        g_main_context_pop_thread_default(context_);
    }
    ContextScope(const ContextScope&) = delete;
    ContextScope& operator=(const ContextScope&) = delete;

private:
    void runPending() const {
        while (g_main_context_iteration(context_, FALSE) != FALSE) {
        }
    }

    GMainContext* context_;
};

} // namespace tandrel::glib
