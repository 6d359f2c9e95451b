#pragma once

#include "Platform/AudioInput.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tandrel::test {

/// A sound system that does what the test says. Its engines go on working after the service has
/// dropped them only as far as real ones do: no tap and no fault after `stop()` or destruction.
class FakeAudioInput : public AudioInput {
public:
    FakeAudioInput();
    ~FakeAudioInput() override;

    [[nodiscard]] std::optional<std::vector<InputDeviceFacts>> devices() override;
    [[nodiscard]] Handle awaitDevice(const std::string& uid, std::function<void()> found) override;
    [[nodiscard]] std::unique_ptr<AudioEngine> makeEngine() override;

    /// Facts of a device with one stream of `channels` input channels.
    [[nodiscard]] static InputDeviceFacts microphone(std::uint32_t id, std::string name,
                                                     std::string uid, std::uint32_t channels = 1);

    // What the next calls meet.
    /// Missing: the query fails.
    std::optional<std::vector<InputDeviceFacts>> deviceFacts = std::vector<InputDeviceFacts>{};
    bool bindSucceeds = true;
    AudioFormat inputFormat{48000.0, 1, SampleType::float32, true};
    /// What `start()` throws; missing: it succeeds.
    std::optional<std::string> startError;

    // The newest engine, as the sound system sees it.
    /// Whether its tap is installed and it has been started and not stopped.
    [[nodiscard]] bool isRunning() const;
    /// The frames per buffer that were asked for; 0 without a tap.
    [[nodiscard]] std::uint32_t requestedBufferFrames() const;
    /// Hands a buffer to the tap on the calling thread, if the engine runs; whether it did. From
    /// any thread; `stop()` waits for it, as in a real engine.
    bool push(std::span<const float> samples);
    bool push(const AudioBuffer& buffer);
    /// `frameLength` samples of silence at the input format's rate.
    bool pushSilence(std::uint32_t frameLength);
    /// A copy of the installed tap, for a call that comes too late.
    [[nodiscard]] AudioEngine::Tap installedTap() const;
    /// Calls the fault handler on the calling thread, which is the main one, if the engine runs and
    /// has not told of a loss; whether it did. Nothing: sound flows again.
    bool reportFault(const std::optional<CaptureFault>& fault);

    // Devices that are awaited.
    /// The identifiers, in the order in which the waits began.
    [[nodiscard]] std::vector<std::string> awaited() const;
    /// Completes every wait for `uid`, on the calling thread, which is the main one; how many.
    int findDevice(const std::string& uid);

    /// Every call in order: "devices", "awaitDevice(uid)", "makeEngine", then with the engine's
    /// number "1.bindDevice(id, uid)", "1.inputFormat", "1.installTap(1024)", "1.removeTap",
    /// "1.setFaultHandler", "1.start", "1.stop", "1.destroyed". Main thread.
    [[nodiscard]] const std::vector<std::string>& calls() const;
    void clearCalls();

private:
    class Engine;
    struct EngineState;
    struct Wait;
    [[nodiscard]] std::shared_ptr<EngineState> newest() const;

    std::shared_ptr<std::vector<std::string>> calls_;
    mutable std::mutex mutex_;
    std::shared_ptr<EngineState> newest_;
    int engineCount_ = 0;
    std::vector<std::weak_ptr<Wait>> waits_;
};

} // namespace tandrel::test
