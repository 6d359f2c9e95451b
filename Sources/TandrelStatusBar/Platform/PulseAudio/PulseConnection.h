#pragma once

#include "Foundation/Result.h"
#include "Platform/PulseAudio/PulseHandles.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tandrel::pulse {

using Deadline = std::chrono::steady_clock::time_point;

/// Why the sound server did not do what it was asked: one of the library's codes (PA_ERR_…).
struct Error {
    int code = PA_ERR_UNKNOWN;

    /// For people.
    [[nodiscard]] std::string description() const { return pa_strerror(code); }
};

/// What the server says of one source.
struct Source {
    std::uint32_t index = 0;
    std::optional<std::string> name;
    std::optional<std::string> description;
    /// Carries what an output plays: no microphone.
    bool isMonitor = false;
    bool isMuted = false;
    pa_sample_spec sampleSpec{};
    pa_channel_map channelMap{};
};

/// One connection to the sound server, with the library's loop thread. Main thread; no call waits
/// beyond its deadline.
class Connection {
public:
    /// Connects to the user's server as the library finds it; never starts one.
    [[nodiscard]] static Result<std::shared_ptr<Connection>, Error> open(Deadline deadline);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// False once the server has gone: the connection is then to be replaced.
    [[nodiscard]] bool isGood() const;

    /// Whether a stream lives on this connection; streams count themselves.
    [[nodiscard]] bool hasStream() const { return streamCount_ > 0; }
    void addStream() { ++streamCount_; }
    void removeStream() { --streamCount_; }

    /// All sources, in the server's order.
    [[nodiscard]] Result<std::vector<Source>, Error> sources(Deadline deadline);
    /// The source of that very name.
    [[nodiscard]] Result<Source, Error> source(const std::string& name, Deadline deadline);

    /// Waits under the loop's lock until `isDone()`, asked after each event that signals the loop;
    /// false when the deadline passes first.
    template <typename IsDone>
    bool waitUntil(Deadline deadline, IsDone isDone) {
        Expiry expiry{loop()};
        const TimeEvent timer = arm(expiry, deadline);
        while (!isDone()) {
            if (expiry.passed) {
                return false;
            }
            pa_threaded_mainloop_wait(loop());
        }
        return true;
    }

    [[nodiscard]] pa_threaded_mainloop* loop() const { return loop_.get(); }
    [[nodiscard]] pa_mainloop_api* api() const { return pa_threaded_mainloop_get_api(loop()); }
    [[nodiscard]] pa_context* context() const { return context_.get(); }
    /// The latest error; under the loop's lock.
    [[nodiscard]] Error lastError() const {
        const int code = pa_context_errno(context());
        return {code == PA_OK ? PA_ERR_UNKNOWN : code};
    }

private:
    /// The library's own waits have no limit; a timer that signals the loop gives them one.
    struct Expiry {
        pa_threaded_mainloop* loop;
        bool passed = false;
    };

    Connection() = default;
    [[nodiscard]] std::optional<Error> connect(Deadline deadline);
    template <typename Ask>
    Result<std::vector<Source>, Error> query(Deadline deadline, Ask ask);
    TimeEvent arm(Expiry& expiry, Deadline deadline);

    MainLoop loop_;
    Context context_;
    int streamCount_ = 0;
};

} // namespace tandrel::pulse
