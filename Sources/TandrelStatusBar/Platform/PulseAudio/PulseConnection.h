#pragma once

#include "Foundation/Result.h"
#include "Platform/PulseAudio/PulseHandles.h"
#include "Platform/PulseAudio/PulseLoop.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tandrel::pulse {

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

/// One connection to the sound server, with the library's loop thread. Any one thread; no call
/// waits beyond its deadline.
class Connection {
public:
    /// Connects to the user's server as the library finds it; never starts one.
    [[nodiscard]] static Result<std::shared_ptr<Connection>, Error> open(Deadline deadline);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// False once the server has gone: the connection is then to be replaced.
    [[nodiscard]] bool isGood();

    /// Whether a stream lives on this connection; streams count themselves.
    [[nodiscard]] bool hasStream() const { return streamCount_ > 0; }
    void addStream() { ++streamCount_; }
    void removeStream() { --streamCount_; }

    /// All sources, in the server's order.
    [[nodiscard]] Result<std::vector<Source>, Error> sources(Deadline deadline);
    /// The source of that very name.
    [[nodiscard]] Result<Source, Error> source(const std::string& name, Deadline deadline);

    [[nodiscard]] Loop& loop() { return loop_; }
    [[nodiscard]] pa_context* context() const { return context_.get(); }
    /// The latest error; under the loop's lock.
    [[nodiscard]] Error lastError() const {
        const int code = pa_context_errno(context());
        return {code == PA_OK ? PA_ERR_UNKNOWN : code};
    }

private:
    Connection() = default;
    [[nodiscard]] std::optional<Error> connect(Deadline deadline);
    template <typename Ask>
    Result<std::vector<Source>, Error> query(Deadline deadline, Ask ask);

    Loop loop_;
    Context context_;
    int streamCount_ = 0;
};

} // namespace tandrel::pulse
