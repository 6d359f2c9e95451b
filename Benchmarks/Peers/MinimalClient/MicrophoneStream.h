#pragma once

#include "Decimator.h"
#include "Microphone.h"
#include "WebSocketWriter.h"

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

/// The microphone on its way to the server: recorded, converted and sent in one go, on the thread
/// that runs the main loop.
class MicrophoneStream {
public:
    /// Where it comes from and where it goes.
    struct Ends {
        /// The sound server's name of a source; empty: its default one.
        std::string device;
        std::uint16_t port = 0;
        std::string token;
    };
    /// Takes each buffer of 1023 frames at 48 kHz as well; may be empty.
    using BufferHandler = std::function<void(std::span<const float>)>;

    /// Begins to stream; what goes wrong later ends the loop with result 1 and a line on standard
    /// error. Throws `std::system_error` or `std::runtime_error` when there is no server.
    MicrophoneStream(pa_mainloop_api* api, const Ends& ends, BufferHandler handler);
    MicrophoneStream(const MicrophoneStream&) = delete;
    MicrophoneStream& operator=(const MicrophoneStream&) = delete;
    ~MicrophoneStream() = default;

    [[nodiscard]] unsigned long messages() const { return messages_; }

private:
    void discardInput();
    void send(std::span<const float> buffer);

    pa_mainloop_api* api_;
    BufferHandler handler_;
    WebSocketWriter socket_;
    Decimator decimator_;
    std::array<std::int16_t, Decimator::outputFrames> message_{};
    unsigned long messages_ = 0;
    Microphone microphone_;
};
