#pragma once

#include "Foundation/Handle.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tandrel {

/// What the platform says of one device; anything that it could not be asked for is missing.
struct InputDeviceFacts {
    std::uint32_t id = 0;
    /// Channels of each input stream; missing when the query failed, empty for an output device.
    std::optional<std::vector<std::uint32_t>> inputStreamChannels;
    std::optional<std::string> name;
    std::optional<std::string> uid;
};

enum class SampleType { float32, int16, other };

struct AudioFormat {
    /// Frames per second.
    double sampleRate = 0;
    std::uint32_t channels = 0;
    SampleType sampleType = SampleType::float32;
    bool interleaved = true;

    friend bool operator==(const AudioFormat&, const AudioFormat&) = default;
};

/// One captured buffer, valid for the duration of the tap call only.
struct AudioBuffer {
    /// Channel 0, `frameLength` contiguous samples, nominally in -1...1; null when the format is
    /// not floating point. The other channels are not carried: nothing looks at them.
    const float* floatChannelData = nullptr;
    std::uint32_t frameLength = 0;
    double sampleRate = 0;
};

/// The engine's own start error; `what()` is for people.
class AudioEngineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What can happen to a running capture.
struct CaptureFault {
    enum class Kind {
        /// The device was unplugged, or its stream was moved or ended by the server.
        deviceLost,
        /// The sound server is gone.
        serverLost,
        /// No sample for more than a second and no event that says why.
        stalled,
    };
    Kind kind = Kind::deviceLost;
    std::string description;

    /// Whether the engine's capture is over. A stall alone may pass by itself.
    [[nodiscard]] bool isFinal() const { return kind != Kind::stalled; }
};

/// Captures from one device, once: made, bound, tapped, started, stopped, dropped. Main thread,
/// but for the tap.
class AudioEngine {
public:
    /// Called on the engine's tap thread, one buffer at a time, never after `stop()` returned,
    /// which waits for a call under way. May be held up for seconds now and then: no sound is lost.
    using Tap = std::function<void(const AudioBuffer&)>;
    /// Told what is wrong with the capture, or nothing once sound flows again after a stall. A
    /// stall may come again, or turn into a loss, which is the last that is told. Called on the
    /// main thread, never after `stop()` returned.
    using FaultHandler = std::function<void(const std::optional<CaptureFault>&)>;

    AudioEngine() = default;
    AudioEngine(const AudioEngine&) = delete;
    AudioEngine& operator=(const AudioEngine&) = delete;
    /// Stops.
    virtual ~AudioEngine() = default;

    /// Binds the input to a device by its persistent unique identifier (and identifier, where the
    /// platform keeps those stable); false when there is no such device now.
    [[nodiscard]] virtual bool bindDevice(std::uint32_t id, const std::string& uid) = 0;
    /// The bound device's capture format.
    [[nodiscard]] virtual AudioFormat inputFormat() const = 0;
    /// `bufferFrames` is a request; the engine grants a length near it that the resampler can turn
    /// into a whole number of output frames.
    virtual void installTap(std::uint32_t bufferFrames, Tap tap) = 0;
    virtual void removeTap() = 0;
    virtual void setFaultHandler(FaultHandler handler) = 0;
    /// Throws `AudioEngineError`.
    virtual void start() = 0;
    /// Returns within 5 ms whatever the sound server does.
    virtual void stop() = 0;
};

/// The platform's audio input. Main thread.
class AudioInput {
public:
    AudioInput() = default;
    AudioInput(const AudioInput&) = delete;
    AudioInput& operator=(const AudioInput&) = delete;
    virtual ~AudioInput() = default;

    /// All devices in the platform's order; missing when the query itself failed. Waits for the
    /// sound server at most 0.5 s.
    [[nodiscard]] virtual std::optional<std::vector<InputDeviceFacts>> devices() = 0;
    /// Calls `found` once, later, as soon as there is an input device of that unique identifier; at
    /// once if there is one now. Never holds up the main thread, whatever the sound system does.
    [[nodiscard]] virtual Handle awaitDevice(const std::string& uid,
                                             std::function<void()> found) = 0;
    [[nodiscard]] virtual std::unique_ptr<AudioEngine> makeEngine() = 0;
};

} // namespace tandrel
