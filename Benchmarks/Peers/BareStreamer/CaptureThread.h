#pragma once

#include "MicrophoneStream.h"

#include <functional>
#include <memory>
#include <thread>

namespace tandrel::bare {

/// Streams the microphone from a thread of its own, from its making to its end.
class CaptureThread {
public:
    /// On the capture thread: the level of each buffer, in 0...1; and that the stream has ended by
    /// itself.
    struct Handlers {
        std::function<void(float)> level;
        std::function<void()> ended;
    };

    /// Throws `std::system_error` or `std::runtime_error` when there is no server.
    CaptureThread(const MicrophoneStream::Ends& ends, Handlers handlers);
    CaptureThread(const CaptureThread&) = delete;
    CaptureThread& operator=(const CaptureThread&) = delete;
    ~CaptureThread();

private:
    struct LoopDeleter {
        void operator()(pa_mainloop* loop) const { pa_mainloop_free(loop); }
    };

    void run(const std::stop_token& stop);

    Handlers handlers_;
    std::unique_ptr<pa_mainloop, LoopDeleter> loop_;
    std::unique_ptr<MicrophoneStream> stream_;
    std::jthread thread_;
};

} // namespace tandrel::bare
