#pragma once

#include "Services/AuthService.h"
#include "Services/PCMConverter.h"
#include "Services/SessionService.h"
#include "Services/WebSocketService.h"
#include "Support/StreamingFixture.h"
#include "Views/StreamingController.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tandrel::test {

/// Connections that look at each message as it comes and keep none: hours of them pass.
class EnduranceSocket : public StreamSocket {
public:
    EnduranceSocket();
    ~EnduranceSocket() override;

    [[nodiscard]] std::shared_ptr<StreamSocketTask> webSocketTask(const std::string& url) override;

    /// Whether a ping waits for its answer.
    [[nodiscard]] bool isOpening() const;
    void answerPing();
    /// The connection breaks, whatever it has come to.
    void lose();
    /// Whether its ping has been answered and nobody has ended it.
    [[nodiscard]] bool isConnected() const;

    /// What the next message must be; set before it is due.
    std::span<const std::uint8_t> expected;
    /// Every send fails as long as this is set.
    bool fails = false;

    [[nodiscard]] std::uint64_t messages() const { return messages_; }
    /// Messages that were not the expected one.
    [[nodiscard]] std::uint64_t wrongMessages() const { return wrongMessages_; }
    [[nodiscard]] std::uint64_t connections() const { return connections_; }

private:
    struct Link;
    class Task;

    void take(const Bytes& message);

    std::shared_ptr<Link> link_;
    std::uint64_t messages_ = 0;
    std::uint64_t wrongMessages_ = 0;
    std::uint64_t connections_ = 0;
};

/// A stream's services, all of them real, in hours of virtual time: sound comes buffer by buffer,
/// as the engine grants them, and what lies outside goes wrong again and again. Each buffer is
/// looked at on its way.
class EnduranceWorld {
public:
    EnduranceWorld();
    ~EnduranceWorld();
    EnduranceWorld(const EnduranceWorld&) = delete;
    EnduranceWorld& operator=(const EnduranceWorld&) = delete;

    /// Starts a stream, and returns once its sound flows; whether it does.
    [[nodiscard]] bool start();
    void pass(Clock::Duration duration);

    // What goes wrong. Each returns at once; the rest takes its time.
    /// The connection breaks, and `refusals` attempts to open it again fail.
    void loseConnection(int refusals);
    /// Sends fail for a while, then the connection breaks.
    void failSends(int count);
    /// The microphone is gone for 7 s and comes back with another rate.
    void unplug();
    /// No sound comes for 5 s.
    void stall();
    /// Somebody stops the stream; `start()` begins another one.
    void stop();

    /// Whether sound flows, all the way.
    [[nodiscard]] bool isWell() const;
    /// Of the microphone as it is now.
    [[nodiscard]] std::uint32_t rate() const;
    [[nodiscard]] Clock::Duration elapsed() { return outside_.clock().elapsed(); }

    // What has come of it.
    [[nodiscard]] std::uint64_t buffers() const { return buffers_; }
    /// Buffers that came while the stream was connected, and had to be sent.
    [[nodiscard]] std::uint64_t promised() const { return promised_; }
    [[nodiscard]] std::uint64_t sendErrors() const { return sendErrors_; }
    /// Promised buffers of which no message came, and messages that nobody had promised.
    [[nodiscard]] std::uint64_t lost() const { return lost_; }
    [[nodiscard]] std::uint64_t unpromised() const { return unpromised_; }
    [[nodiscard]] const EnduranceSocket& socket() const { return socket_; }
    /// Lines of audio that the log must hold by now.
    [[nodiscard]] std::uint64_t throttledLines() const { return throttledLines_; }
    /// Gives up what the doubles have noted.
    void forgetCalls() { outside_.audioInput.clearCalls(); }

private:
    void step();
    void pushBuffer();
    void answerForTheNetwork();
    void answerForTheSoundSystem();
    void captureStarted();

    StreamingFixture outside_;
    EnduranceSocket socket_;
    AuthService auth_;
    SessionService session_;
    std::shared_ptr<WebSocketService> service_;
    std::unique_ptr<StreamingController> controller_;

    bool wasRunning_ = false;
    std::unique_ptr<PCMConverter> reference_;
    std::uint64_t position_ = 0;
    std::vector<float> samples_;
    Bytes expected_;

    int refusals_ = 0;
    int sendsToFail_ = 0;
    std::optional<Clock::Duration> deviceReturns_;
    std::optional<Clock::Duration> stallEnds_;

    std::uint64_t buffers_ = 0;
    std::uint64_t promised_ = 0;
    std::uint64_t sendErrors_ = 0;
    std::uint64_t lost_ = 0;
    std::uint64_t unpromised_ = 0;
    std::uint64_t throttledLines_ = 0;
};

} // namespace tandrel::test
