// The least that a program can do to stream a microphone: one thread, libpulse, a resampler and a
// WebSocket writer of a few lines, nothing logged, nothing watched, nothing shown. What it costs is
// the floor that the processor time of the real client is compared with.
//
//   quorvane-tandrel-minimal-client --port PORT --token TOKEN [--device NAME] [--seconds N]
//
// Streams to ws://127.0.0.1:PORT/tandrel-stream?token=TOKEN, until N seconds have passed or until
// SIGTERM or SIGINT. NAME is the sound server's name of a source; without one its default is taken.
// Exit codes: 0 done, 1 failed, 2 wrong options.

#include "MicrophoneStream.h"

#include <pulse/pulseaudio.h>

#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace {

struct Options {
    MicrophoneStream::Ends ends;
    /// 0: until a signal.
    unsigned seconds = 0;
};

template <typename Number>
bool parseNumber(std::string_view text, Number& number) {
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc{} && stop == end;
}

std::optional<Options> parseOptions(std::span<char*> arguments) {
    Options options;
    for (std::size_t index = 0; index + 1 < arguments.size(); index += 2) {
        const std::string_view name(arguments[index]);
        const std::string_view value(arguments[index + 1]);
        if (name == "--token") {
            options.ends.token = value;
        } else if (name == "--device") {
            options.ends.device = value;
        } else if (!(name == "--port" && parseNumber(value, options.ends.port)) &&
                   !(name == "--seconds" && parseNumber(value, options.seconds))) {
            return std::nullopt;
        }
    }
    const bool inPairs = arguments.size() % 2 == 0;
    return inPairs && options.ends.port != 0 && !options.ends.token.empty() ? std::optional(options)
                                                                            : std::nullopt;
}

struct MainLoopDeleter {
    void operator()(pa_mainloop* loop) const { pa_mainloop_free(loop); }
};

void quit(pa_mainloop_api* api, int result) {
    api->quit(api, result);
}

/// Ends the loop by signal or by time.
void endLoopWhenDue(pa_mainloop_api* api, const Options& options) {
    pa_signal_init(api);
    for (const int number : {SIGINT, SIGTERM}) {
        pa_signal_new(
            number,
            [](pa_mainloop_api* running, pa_signal_event*, int, void*) { quit(running, 0); },
            nullptr);
    }
    if (options.seconds > 0) {
        timeval end{};
        pa_gettimeofday(&end);
        pa_timeval_add(&end, options.seconds * PA_USEC_PER_SEC);
        api->time_new(
            api, &end,
            [](pa_mainloop_api* running, pa_time_event*, const timeval*, void*) {
                quit(running, 0);
            },
            nullptr);
    }
}

int stream(const Options& options) {
    const std::unique_ptr<pa_mainloop, MainLoopDeleter> loop(pa_mainloop_new());
    pa_mainloop_api* api = pa_mainloop_get_api(loop.get());
    int result = 1;
    endLoopWhenDue(api, options);
    unsigned long messages = 0;
    {
        const MicrophoneStream microphone(api, options.ends, {});
        pa_mainloop_run(loop.get(), &result);
        messages = microphone.messages();
    }
    pa_signal_done();
    std::printf("%lu messages of %zu frames\n", messages, Decimator::outputFrames);
    return result;
}

} // namespace

int main(int argc, char** argv) {
    const auto options = parseOptions(std::span(argv, static_cast<std::size_t>(argc)).subspan(1));
    if (!options) {
        std::fprintf(stderr, "usage: %s --port PORT --token TOKEN [--device NAME] [--seconds N]\n",
                     argv[0]);
        return 2;
    }
    try {
        return stream(*options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "minimal client: %s\n", error.what());
        return 1;
    }
}
