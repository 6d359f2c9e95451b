#pragma once

#include <pulse/pulseaudio.h>

#include <memory>

namespace tandrel::pulse {

/// Ends a C handle of the sound library by the function given.
template <auto release>
struct Release {
    template <typename T>
    void operator()(T* handle) const {
        release(handle);
    }
};

inline void silenceAndDrop(pa_context* context) {
    pa_context_set_state_callback(context, nullptr, nullptr);
    pa_context_disconnect(context);
    pa_context_unref(context);
}

/// Nothing is waited for: neither a drain nor the server's consent, which a frozen one never gives.
inline void silenceAndDrop(pa_stream* stream) {
    pa_stream_set_state_callback(stream, nullptr, nullptr);
    pa_stream_set_read_callback(stream, nullptr, nullptr);
    pa_stream_set_suspended_callback(stream, nullptr, nullptr);
    pa_stream_set_moved_callback(stream, nullptr, nullptr);
    pa_stream_disconnect(stream);
    pa_stream_unref(stream);
}

/// Once cancelled, the operation's callback is not called any more.
inline void cancelAndDrop(pa_operation* operation) {
    pa_operation_cancel(operation);
    pa_operation_unref(operation);
}

using MainLoop = std::unique_ptr<pa_mainloop, Release<pa_mainloop_free>>;
using Proplist = std::unique_ptr<pa_proplist, Release<pa_proplist_free>>;

// The handles below are made, used and dropped under the loop's lock. Events and operations go
// first, then streams, then the context: any other order aborts the process once the context has
// failed.
using Context =
    std::unique_ptr<pa_context, Release<static_cast<void (*)(pa_context*)>(silenceAndDrop)>>;
using Stream =
    std::unique_ptr<pa_stream, Release<static_cast<void (*)(pa_stream*)>(silenceAndDrop)>>;
using PendingOperation = std::unique_ptr<pa_operation, Release<cancelAndDrop>>;

/// Frees a timer through the loop that made it.
struct FreeTimeEvent {
    pa_mainloop_api* api = nullptr;
    void operator()(pa_time_event* event) const { api->time_free(event); }
};
using TimeEvent = std::unique_ptr<pa_time_event, FreeTimeEvent>;

} // namespace tandrel::pulse
