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

inline void stopAndFree(pa_threaded_mainloop* loop) {
    pa_threaded_mainloop_stop(loop);
    pa_threaded_mainloop_free(loop);
}

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

/// The last of a connection's handles to go. Called without the loop's lock.
using MainLoop = std::unique_ptr<pa_threaded_mainloop, Release<stopAndFree>>;
using Proplist = std::unique_ptr<pa_proplist, Release<pa_proplist_free>>;

// The handles below are made, used and dropped under the loop's lock. Events and operations go
// first, then streams, then the context: any other order aborts the process once the context has
// failed.
using Context =
    std::unique_ptr<pa_context, Release<static_cast<void (*)(pa_context*)>(silenceAndDrop)>>;
using Stream =
    std::unique_ptr<pa_stream, Release<static_cast<void (*)(pa_stream*)>(silenceAndDrop)>>;
using PendingOperation = std::unique_ptr<pa_operation, Release<cancelAndDrop>>;

/// Frees an event through the loop that made it.
template <typename Event, void (*pa_mainloop_api::*release)(Event*)>
struct FreeEvent {
    pa_mainloop_api* api = nullptr;
    void operator()(Event* event) const { (api->*release)(event); }
};
using TimeEvent =
    std::unique_ptr<pa_time_event, FreeEvent<pa_time_event, &pa_mainloop_api::time_free>>;
using DeferEvent =
    std::unique_ptr<pa_defer_event, FreeEvent<pa_defer_event, &pa_mainloop_api::defer_free>>;

/// Holds the loop's lock: its thread runs no callback meanwhile. Not for the loop's own thread.
class LoopLock {
public:
    explicit LoopLock(pa_threaded_mainloop* loop)
        : loop_(loop) {
        pa_threaded_mainloop_lock(loop_);
    }
    ~LoopLock() { pa_threaded_mainloop_unlock(loop_); }
    LoopLock(const LoopLock&) = delete;
    LoopLock& operator=(const LoopLock&) = delete;

private:
    pa_threaded_mainloop* loop_;
};

} // namespace tandrel::pulse
