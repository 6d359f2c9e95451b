// The least that a program can do to stream a microphone: one thread, libpulse, a resampler and a
// WebSocket writer of a few lines, nothing logged, nothing watched, nothing shown. What it costs is
// the floor that the processor time of the real client is compared with.
//
//   quorvane-tandrel-minimal-client --port PORT --token TOKEN [--device NAME] [--seconds N]
//
// Streams to ws://127.0.0.1:PORT/tandrel-stream?token=TOKEN, until N seconds have passed or until
// SIGTERM or SIGINT. NAME is the sound server's name of a source; without one its default is taken.
// Exit codes: 0 done, 1 failed, 2 wrong options.

#include "Decimator.h"
#include "Microphone.h"
#include "WebSocketWriter.h"

#include <pulse/pulseaudio.h>

#include <array>
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
    std::uint16_t port = 0;
    std::string token;
    std::string device;
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
            options.token = value;
        } else if (name == "--device") {
            options.device = value;
        } else if (!(name == "--port" && parseNumber(value, options.port)) &&
                   !(name == "--seconds" && parseNumber(value, options.seconds))) {
            return std::nullopt;
        }
    }
    const bool inPairs = arguments.size() % 2 == 0;
    return inPairs && options.port != 0 && !options.token.empty() ? std::optional(options)
                                                                  : std::nullopt;
}

struct MainLoopDeleter {
    void operator()(pa_mainloop* loop) const { pa_mainloop_free(loop); }
};

void quit(pa_mainloop_api* api, int result) {
    api->quit(api, result);
}

/// Ends the loop by signal, by time, or when the server goes.
void endLoopWhenDue(pa_mainloop* loop, const Options& options, WebSocketWriter& socket) {
    pa_mainloop_api* api = pa_mainloop_get_api(loop);
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
    api->io_new(
        api, socket.descriptor(), PA_IO_EVENT_INPUT,
        [](pa_mainloop_api* running, pa_io_event*, int, pa_io_event_flags_t, void* writer) {
            if (!static_cast<WebSocketWriter*>(writer)->discardInput()) {
                std::fprintf(stderr, "minimal client: the server closed the connection\n");
                quit(running, 1);
            }
        },
        &socket);
}

int stream(const Options& options) {
    const std::unique_ptr<pa_mainloop, MainLoopDeleter> loop(pa_mainloop_new());
    WebSocketWriter socket(options.port, options.token);
    Decimator decimator;
    std::array<std::int16_t, Decimator::outputFrames> message{};
    unsigned long messages = 0;
    int result = 1;
    endLoopWhenDue(loop.get(), options, socket);
    {
        const Microphone microphone(
            loop.get(), options.device, Decimator::inputFrames, [&](std::span<const float> buffer) {
                decimator.process(buffer.first<Decimator::inputFrames>(), message);
                // The caller is a C library, which no exception may cross.
                try {
                    socket.sendBinary(std::as_bytes(std::span(message)));
                    ++messages;
                } catch (const std::exception& error) {
                    std::fprintf(stderr, "minimal client: %s\n", error.what());
                    pa_mainloop_quit(loop.get(), 1);
                }
            });
        pa_mainloop_run(loop.get(), &result);
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
