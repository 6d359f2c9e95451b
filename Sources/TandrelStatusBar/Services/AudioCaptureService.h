#pragma once

#include "Foundation/Handle.h"
#include "Foundation/Lifetime.h"
#include "Foundation/Published.h"
#include "Platform/AudioInput.h"
#include "Services/AudioCaptureError.h"
#include "Services/AudioDevice.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tandrel {

class CapturedBufferProcessor;
class MainQueue;
class MicrophonePermission;

/// Records from the chosen device and hands on 16 kHz mono signed 16-bit PCM. Main thread, but for
/// the buffers, which pass on the engine's tap thread.
class AudioCaptureService {
public:
    /// Receives each converted buffer (frames x 2 bytes, little-endian) on the tap thread.
    using AudioBufferHandler = std::function<void(std::vector<std::uint8_t>)>;

    /// All three must outlive the service.
    AudioCaptureService(AudioInput& audioInput, MicrophonePermission& permission,
                        MainQueue& mainQueue);
    ~AudioCaptureService();
    AudioCaptureService(const AudioCaptureService&) = delete;
    AudioCaptureService& operator=(const AudioCaptureService&) = delete;

    Published<std::vector<AudioDevice>> availableDevices;
    Published<std::optional<AudioDevice>> selectedDevice;
    /// Level of the latest buffer, 0...1.
    Published<float> audioLevel{0.0F};
    Published<bool> isCapturing{false};
    /// What befell the running capture; absent while all is well, and again once a stall has
    /// passed; cleared by start and stop.
    Published<std::optional<CaptureFault>> captureFault;

    /// Replaces the handler; a running capture uses it from the next buffer on.
    void setOnAudioBuffer(AudioBufferHandler handler);

    /// Whether a recording is open: false too while its device or the sound server is lost.
    [[nodiscard]] bool isMicrophoneOpen() const;

    void refreshDevices();
    /// Calls `found` once, later, as soon as the device is there.
    [[nodiscard]] Handle awaitDevice(const AudioDevice& device, std::function<void()> found);
    [[nodiscard]] Handle requestMicrophonePermission(std::function<void(bool granted)> completion);
    /// Starts or restarts capture. Throws `AudioCaptureError`, or the engine's own
    /// `AudioEngineError` unchanged.
    void startCapture(const AudioDevice& device);
    void stopCapture();

private:
    void prepareEngine(AudioEngine& engine, const AudioDevice& device);
    [[nodiscard]] AudioEngine::FaultHandler
    makeFaultHandler(const std::shared_ptr<AudioEngine>& engine);
    void publishFault(const std::optional<CaptureFault>& fault);

    AudioInput& audioInput_;
    MicrophonePermission& permission_;
    MainQueue& mainQueue_;
    /// Owned here alone; shared for the weak references of the tap.
    std::shared_ptr<CapturedBufferProcessor> processor_;
    /// Owned here alone; shared for the weak references of reports that are on their way.
    std::shared_ptr<AudioEngine> audioEngine_;
    Lifetime lifetime_;
};

} // namespace tandrel
