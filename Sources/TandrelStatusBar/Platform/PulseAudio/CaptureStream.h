#pragma once

#include "Platform/AudioInput.h"
#include "Platform/PulseAudio/PulseConnection.h"
#include "Platform/SampleRing.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tandrel::pulse {

/// What to record, and how.
struct CaptureSettings {
    std::string sourceName;
    /// 32-bit float samples at the granted rate, all of the source's own channels.
    pa_sample_spec sampleSpec{};
    pa_channel_map channelMap{};
    /// Frames of a buffer worth waking the consumer for.
    std::uint32_t bufferFrames = 0;
};

/// What a stream tells, on the loop's thread and outside the real-time callback.
struct CaptureEvents {
    /// A whole buffer waits in the ring. Told without the loop's lock; a call under way may outlast
    /// the stream. While it lasts, sound piles up at the server.
    std::function<void()> bufferReady;
    /// A stall, or its end (nothing), or a loss: after that the capture is over, nothing more is
    /// told of it and nothing reaches the ring. Neither this nor the next may wait.
    std::function<void(std::optional<CaptureFault>)> fault;
    /// The user has muted this recording in the mixer; the server remembers that for each program.
    std::function<void()> muted;
};

/// A running recording of one source, and of no other: what arrives goes into a ring. Made and
/// destroyed on the main thread.
class CaptureStream : private LoopObserver {
public:
    /// Starts to record; `ring` must outlive the stream. Sound may come before this returns. Waits
    /// for the server until the deadline.
    [[nodiscard]] static Result<std::unique_ptr<CaptureStream>, Error>
    open(std::shared_ptr<Connection> connection, const CaptureSettings& settings, SampleRing& ring,
         CaptureEvents events, Deadline deadline);
    /// Ends the recording without waiting for the server. Nothing is told any more.
    ~CaptureStream() override;

private:
    CaptureStream(std::shared_ptr<Connection> connection, const CaptureSettings& settings,
                  SampleRing& ring, CaptureEvents events);
    [[nodiscard]] std::optional<Error> start(Deadline deadline);
    [[nodiscard]] bool createStream();
    [[nodiscard]] bool requestRecording();
    void createWatchdog();
    void checkMute();

    // On the loop's thread.
    void onStateChange();
    void onReadable() noexcept;
    void onMoved();
    [[nodiscard]] Work aboutToWait() override;
    void onWatchdog();
    void lose(CaptureFault::Kind kind, std::string description);

    [[nodiscard]] bool recordsTheRightSource() const;

    std::shared_ptr<Connection> connection_;
    CaptureSettings settings_;
    SampleRing& ring_;
    CaptureEvents events_;
    Work bufferReady_;

    // All below is touched under the loop's lock only.
    Stream stream_;
    TimeEvent watchdog_;
    PendingOperation muteQuery_;
    /// Whether samples are let through: from the moment the stream is known to record the right
    /// source, until it no longer does.
    bool isOpen_ = false;
    bool isLost_ = false;
    bool isStalled_ = false;
    bool isBufferReady_ = false;
    std::uint64_t framesReceived_ = 0;
    std::uint64_t framesAtLastTick_ = 0;
    int silentTicks_ = 0;
};

} // namespace tandrel::pulse
