#pragma once

#include <pulse/pulseaudio.h>

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <vector>

/// Records 48 kHz mono from the sound server, in buffers of a fixed length, on the main loop.
class Microphone {
public:
    using BufferHandler = std::function<void(std::span<const float>)>;

    /// An empty device is the server's default one. Buffers of `bufferFrames` go to `handler`.
    /// Every failure ends the loop with result 1 and a line on standard error.
    Microphone(pa_mainloop_api* api, std::string device, std::size_t bufferFrames,
               BufferHandler handler);
    Microphone(const Microphone&) = delete;
    Microphone& operator=(const Microphone&) = delete;
    ~Microphone();

private:
    void contextChanged();
    void openStream();
    void read();
    void append(std::span<const float> samples);
    void fail();

    pa_mainloop_api* api_;
    std::string device_;
    std::size_t bufferFrames_;
    BufferHandler handler_;
    std::vector<float> pending_;
    pa_context* context_;
    pa_stream* stream_ = nullptr;
};
