#pragma once

#include "Platform/AudioInput.h"
#include "Platform/Clock.h"
#include "Support/NthCall.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tandrel::test {

/// A sound system of which the Nth call of a kind goes wrong; the others are passed on. Main
/// thread, taps included.
class FailingAudioInput : public AudioInput {
public:
    struct Failure {
        enum class Call {
            /// The answer is `devices`.
            devices,
            /// There is no such device.
            bindDevice,
            /// The answer is `format`.
            inputFormat,
            /// `start()` throws `description`.
            start,
            /// `start()` succeeds, but `faultAfter` later `fault` ends the sound.
            capture,
        };
        Call call = Call::devices;
        std::optional<std::vector<InputDeviceFacts>> devices = {};
        AudioFormat format = {};
        std::string description = {};
        CaptureFault::Kind fault = CaptureFault::Kind::deviceLost;
        Clock::Duration faultAfter = Clock::Duration::zero();
        /// Whether no device that is awaited after the failure is ever found.
        bool staysAway = false;
        /// How much later sound flows again.
        std::optional<Clock::Duration> healsAfter = {};
    };

    /// Without a failure all is passed on. `inner`, `clock` and `nth` must outlive this and its
    /// engines.
    FailingAudioInput(AudioInput& inner, Clock& clock, NthCall& nth, std::optional<Failure> failure)
        : inner_(inner)
        , clock_(clock)
        , nth_(nth)
        , failure_(std::move(failure)) {}

    [[nodiscard]] std::optional<std::vector<InputDeviceFacts>> devices() override;
    [[nodiscard]] Handle awaitDevice(const std::string& uid, std::function<void()> found) override;
    [[nodiscard]] std::unique_ptr<AudioEngine> makeEngine() override;

private:
    class Engine;

    AudioInput& inner_;
    Clock& clock_;
    NthCall& nth_;
    const std::optional<Failure> failure_;
};

} // namespace tandrel::test
