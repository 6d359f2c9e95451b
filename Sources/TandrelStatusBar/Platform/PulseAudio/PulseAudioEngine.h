#pragma once

#include "Platform/AudioInput.h"
#include "Platform/GrantedBuffer.h"
#include "Platform/PulseAudio/CaptureStream.h"
#include "Platform/PulseAudio/PulseServer.h"
#include "Platform/SampleRing.h"
#include "Platform/TapFeed.h"

#include <memory>
#include <optional>

namespace tandrel {

class MainQueue;

/// Captures from one source of the sound server. The samples pass from the library's real-time
/// callback through a ring to the tap, which runs on the same thread, once the library has handled
/// all that came. A tap that is held up loses no sound for 4 s: the server keeps it.
class PulseAudioEngine : public AudioEngine {
public:
    /// `mainQueue` must outlive the engine.
    PulseAudioEngine(std::shared_ptr<pulse::Server> server, MainQueue& mainQueue);
    ~PulseAudioEngine() override;

    /// Goes by `uid`, the source's name, alone. False when the server knows no such microphone.
    /// A server that cannot be asked makes the start fail, with its reason. Waits at most 2 s.
    [[nodiscard]] bool bindDevice(std::uint32_t id, const std::string& uid) override;
    [[nodiscard]] AudioFormat inputFormat() const override;
    /// Before the start.
    void installTap(std::uint32_t bufferFrames, Tap tap) override;
    /// Ends the recording too, since nothing else would use it.
    void removeTap() override;
    void setFaultHandler(FaultHandler handler) override;
    /// Waits for the server at most 2 s for a connection and 3 s for the sound.
    void start() override;
    void stop() override;

private:
    /// Takes faults to the main thread; gone after the stop, and with it what is still under way.
    struct FaultRelay {
        FaultHandler handler;
    };

    [[nodiscard]] CaptureGrant grant() const;
    [[nodiscard]] pulse::CaptureSettings captureSettings() const;
    [[nodiscard]] pulse::CaptureEvents captureEvents();
    [[noreturn]] void failStart(const pulse::Error& error);

    std::shared_ptr<pulse::Server> server_;
    MainQueue& mainQueue_;
    pulse::Source source_;
    std::optional<pulse::Error> bindError_;
    std::uint32_t requestedFrames_ = 1024;
    Tap tap_;
    FaultHandler faultHandler_;

    std::shared_ptr<FaultRelay> faultRelay_;
    // In this order, so that each goes before what it uses.
    std::shared_ptr<SampleRing> ring_;
    std::shared_ptr<TapFeed> tapFeed_;
    std::unique_ptr<pulse::CaptureStream> stream_;
};

} // namespace tandrel
