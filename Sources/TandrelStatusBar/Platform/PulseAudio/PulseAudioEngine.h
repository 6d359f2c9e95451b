#pragma once

#include "Platform/AudioInput.h"
#include "Platform/GrantedBuffer.h"
#include "Platform/PulseAudio/CaptureStream.h"
#include "Platform/PulseAudio/PulseServer.h"
#include "Platform/SampleRing.h"
#include "Platform/TapThread.h"

#include <memory>
#include <optional>

namespace tandrel {

class MainQueue;

/// Captures from one source of the sound server. The server's samples pass from the library's
/// thread through a ring to a tap thread of the engine's own, so that a slow tap never delays the
/// sound.
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
    std::unique_ptr<TapThread> tapThread_;
    std::unique_ptr<pulse::CaptureStream> stream_;
};

} // namespace tandrel
