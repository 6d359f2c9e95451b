// Speaks a WAV file, over and over, into a sink whose monitor serves as a microphone, and keeps a
// file that says when the first sample was in the microphone. With that, whoever receives the sound
// at the far end can tell how old each sample is.
//
//   quorvane-tandrel-virtual-microphone --sink NAME --timing FILE REFERENCE.wav
//
// The timing file holds one line: the CLOCK_MONOTONIC time, in nanoseconds, at which sample 0 was
// played, for a clock that runs as the server's does now. It is written anew every second or two:
// the server rounds its times, so that its clock is some millionths slow.

#include "WavFile.h"

#include <pulse/pulseaudio.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <deque>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

std::int64_t monotonicNanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

/// Frames that are written at once: as many as fit one of the server's blocks of memory. Where a
/// block ends, the sink plays a little more than its turn and pauses for longer after it, which
/// shifts every listener's buffers; whole buffers of 1023 frames are shifted least.
constexpr std::size_t portion = 15UL * 1023UL;
/// How many of the latest estimates count.
constexpr std::size_t estimates = 9;

class Speaker {
public:
    Speaker(WavFile wav, std::string sink, std::string timingPath)
        : wav_(std::move(wav))
        , sink_(std::move(sink))
        , timingPath_(std::move(timingPath))
        , mainLoop_(pa_mainloop_new()) {
        pa_mainloop_api* api = pa_mainloop_get_api(mainLoop_);
        context_ = pa_context_new(api, "virtual microphone");
        pa_context_set_state_callback(
            context_,
            [](pa_context*, void* self) { static_cast<Speaker*>(self)->contextChanged(); }, this);
        pa_signal_init(api);
        for (const int number : {SIGINT, SIGTERM}) {
            pa_signal_new(
                number,
                [](pa_mainloop_api* loop, pa_signal_event*, int, void*) { loop->quit(loop, 0); },
                nullptr);
        }
        if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
            fail();
        }
    }
    Speaker(const Speaker&) = delete;
    Speaker& operator=(const Speaker&) = delete;
    ~Speaker() {
        pa_signal_done();
        if (stream_ != nullptr) {
            pa_stream_unref(stream_);
        }
        pa_context_unref(context_);
        pa_mainloop_free(mainLoop_);
    }

    int run() {
        int result = 0;
        pa_mainloop_run(mainLoop_, &result);
        return result;
    }

private:
    void contextChanged() {
        switch (pa_context_get_state(context_)) {
        case PA_CONTEXT_READY:
            openStream();
            break;
        case PA_CONTEXT_FAILED:
            fail();
            break;
        default:
            break;
        }
    }

    void openStream() {
        const pa_sample_spec format{PA_SAMPLE_FLOAT32NE, wav_.sampleRate, 1};
        stream_ = pa_stream_new(context_, "speech", &format, nullptr);
        pa_stream_set_write_callback(
            stream_,
            [](pa_stream*, std::size_t bytes, void* self) {
                static_cast<Speaker*>(self)->write(bytes);
            },
            this);
        pa_stream_set_latency_update_callback(
            stream_, [](pa_stream*, void* self) { static_cast<Speaker*>(self)->noteTiming(); },
            this);
        pa_stream_set_state_callback(
            stream_,
            [](pa_stream* stream, void* self) {
                if (pa_stream_get_state(stream) == PA_STREAM_FAILED) {
                    static_cast<Speaker*>(self)->fail();
                }
            },
            this);
        pa_buffer_attr buffer{};
        buffer.maxlength = static_cast<std::uint32_t>(-1);
        buffer.tlength = 3 * portion * sizeof(float);
        buffer.prebuf = static_cast<std::uint32_t>(-1);
        buffer.minreq = portion * sizeof(float);
        buffer.fragsize = static_cast<std::uint32_t>(-1);
        const auto flags =
            static_cast<pa_stream_flags_t>(PA_STREAM_AUTO_TIMING_UPDATE | PA_STREAM_DONT_MOVE);
        if (pa_stream_connect_playback(stream_, sink_.c_str(), &buffer, flags, nullptr, nullptr) <
            0) {
            fail();
        }
    }

    void write(std::size_t bytes) {
        std::array<float, portion> samples{};
        for (; bytes >= sizeof samples; bytes -= sizeof samples) {
            for (float& sample : samples) {
                sample = wav_.samples[position_];
                position_ = (position_ + 1) % wav_.samples.size();
            }
            pa_stream_write(stream_, samples.data(), sizeof samples, nullptr, 0, PA_SEEK_RELATIVE);
        }
    }

    /// The server's own figures: what was written and not yet read, and how long what was read
    /// takes until it is played, both as of `timestamp` (see `pa_timing_info`).
    void noteTiming() {
        const pa_timing_info* timing = pa_stream_get_timing_info(stream_);
        if (timing == nullptr || timing->read_index_corrupt != 0 || timing->playing == 0) {
            return;
        }
        timeval wallClock{};
        pa_gettimeofday(&wallClock);
        const std::int64_t age =
            static_cast<std::int64_t>(pa_timeval_diff(&wallClock, &timing->timestamp)) * 1000;
        const std::int64_t then = monotonicNanoseconds() - age;
        const double playedSeconds = static_cast<double>(timing->read_index) /
                                     static_cast<double>(sizeof(float)) / wav_.sampleRate;
        const auto start = then + static_cast<std::int64_t>(timing->sink_usec) * 1000 -
                           static_cast<std::int64_t>(playedSeconds * 1e9);
        starts_.push_back(start);
        if (starts_.size() > estimates) {
            starts_.pop_front();
        }
        std::vector<std::int64_t> sorted(starts_.begin(), starts_.end());
        const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
        std::nth_element(sorted.begin(), middle, sorted.end());
        std::ofstream(timingPath_, std::ios::trunc) << *middle << '\n';
    }

    void fail() {
        std::fprintf(stderr, "virtual microphone: %s\n", pa_strerror(pa_context_errno(context_)));
        pa_mainloop_quit(mainLoop_, 1);
    }

    WavFile wav_;
    std::string sink_;
    std::string timingPath_;
    std::size_t position_ = 0;
    std::deque<std::int64_t> starts_;
    pa_mainloop* mainLoop_;
    pa_context* context_ = nullptr;
    pa_stream* stream_ = nullptr;
};

} // namespace

int main(int argc, char** argv) {
    std::string sink;
    std::string timing;
    std::string reference;
    for (int index = 1; index < argc; ++index) {
        const std::string_view argument(argv[index]);
        if (argument == "--sink" && index + 1 < argc) {
            sink = argv[++index];
        } else if (argument == "--timing" && index + 1 < argc) {
            timing = argv[++index];
        } else {
            reference = argument;
        }
    }
    if (sink.empty() || timing.empty() || reference.empty()) {
        std::fprintf(stderr, "usage: %s --sink NAME --timing FILE REFERENCE.wav\n", argv[0]);
        return 2;
    }
    try {
        return Speaker(readWav(reference), sink, timing).run();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "virtual microphone: %s\n", error.what());
        return 1;
    }
}
