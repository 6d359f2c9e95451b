#include "MicrophoneStream.h"

#include <cstdio>
#include <exception>
#include <utility>

MicrophoneStream::MicrophoneStream(pa_mainloop_api* api, const Ends& ends, BufferHandler handler)
    : api_(api)
    , handler_(std::move(handler))
    , socket_(ends.port, ends.token)
    , microphone_(api, ends.device, Decimator::inputFrames,
                  [this](std::span<const float> buffer) { send(buffer); }) {
    // The loop frees it at its end.
    api->io_new(
        api, socket_.descriptor(), PA_IO_EVENT_INPUT,
        [](pa_mainloop_api*, pa_io_event*, int, pa_io_event_flags_t, void* self) {
            static_cast<MicrophoneStream*>(self)->discardInput();
        },
        this);
}

void MicrophoneStream::discardInput() {
    if (!socket_.discardInput()) {
        std::fprintf(stderr, "microphone stream: the server closed the connection\n");
        api_->quit(api_, 1);
    }
}

void MicrophoneStream::send(std::span<const float> buffer) {
    if (handler_) {
        handler_(buffer);
    }
    decimator_.process(buffer.first<Decimator::inputFrames>(), message_);
    // The caller is a C library, which no exception may cross.
    try {
        socket_.sendBinary(std::as_bytes(std::span(message_)));
        ++messages_;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "microphone stream: %s\n", error.what());
        api_->quit(api_, 1);
    }
}
