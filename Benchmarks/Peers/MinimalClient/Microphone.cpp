#include "Microphone.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <utility>

Microphone::Microphone(pa_mainloop_api* api, std::string device, std::size_t bufferFrames,
                       BufferHandler handler)
    : api_(api)
    , device_(std::move(device))
    , bufferFrames_(bufferFrames)
    , handler_(std::move(handler))
    , context_(pa_context_new(api, "microphone stream")) {
    pending_.reserve(bufferFrames_);
    pa_context_set_state_callback(
        context_, [](pa_context*, void* self) { static_cast<Microphone*>(self)->contextChanged(); },
        this);
    if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
        fail();
    }
}

Microphone::~Microphone() {
    if (stream_ != nullptr) {
        pa_stream_set_read_callback(stream_, nullptr, nullptr);
        pa_stream_set_state_callback(stream_, nullptr, nullptr);
        pa_stream_disconnect(stream_);
        pa_stream_unref(stream_);
    }
    pa_context_set_state_callback(context_, nullptr, nullptr);
    pa_context_disconnect(context_);
    pa_context_unref(context_);
}

void Microphone::contextChanged() {
    const pa_context_state_t state = pa_context_get_state(context_);
    if (state == PA_CONTEXT_READY) {
        openStream();
    } else if (!PA_CONTEXT_IS_GOOD(state)) {
        fail();
    }
}

void Microphone::openStream() {
    const pa_sample_spec format{PA_SAMPLE_FLOAT32NE, 48000, 1};
    stream_ = pa_stream_new(context_, "microphone", &format, nullptr);
    if (stream_ == nullptr) {
        fail();
        return;
    }
    pa_stream_set_read_callback(
        stream_,
        [](pa_stream*, std::size_t, void* self) { static_cast<Microphone*>(self)->read(); }, this);
    pa_stream_set_state_callback(
        stream_,
        [](pa_stream* stream, void* self) {
            if (pa_stream_get_state(stream) == PA_STREAM_FAILED) {
                static_cast<Microphone*>(self)->fail();
            }
        },
        this);
    constexpr auto serverChooses = static_cast<std::uint32_t>(-1);
    // One frame more: PulseAudio reckons in whole microseconds, and would deliver one too few.
    const pa_buffer_attr buffer{serverChooses, serverChooses, serverChooses, serverChooses,
                                static_cast<std::uint32_t>((bufferFrames_ + 1) * sizeof(float))};
    const auto flags =
        static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
    const char* device = device_.empty() ? nullptr : device_.c_str();
    if (pa_stream_connect_record(stream_, device, &buffer, flags) < 0) {
        fail();
    }
}

void Microphone::read() {
    while (pa_stream_readable_size(stream_) > 0) {
        const void* data = nullptr;
        std::size_t bytes = 0;
        if (pa_stream_peek(stream_, &data, &bytes) < 0) {
            fail();
            return;
        }
        if (bytes == 0) {
            return;
        }
        const std::size_t frames = bytes / sizeof(float);
        if (data != nullptr) {
            append({static_cast<const float*>(data), frames});
        } else {
            const std::vector<float> silence(frames);
            append(silence);
        }
        pa_stream_drop(stream_);
    }
}

void Microphone::append(std::span<const float> samples) {
    while (!samples.empty()) {
        const std::size_t count = std::min(samples.size(), bufferFrames_ - pending_.size());
        pending_.insert(pending_.end(), samples.begin(),
                        samples.begin() + static_cast<std::ptrdiff_t>(count));
        samples = samples.subspan(count);
        if (pending_.size() == bufferFrames_) {
            handler_(pending_);
            pending_.clear();
        }
    }
}

void Microphone::fail() {
    std::fprintf(stderr, "microphone stream: sound server: %s\n",
                 pa_strerror(pa_context_errno(context_)));
    api_->quit(api_, 1);
}
