#pragma once

#include "Foundation/Result.h"
#include "Platform/AudioInput.h"
#include "Services/SampleQueue.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

struct SpeexResamplerState_;

namespace tandrel {

/// What the backend takes: 16 kHz, mono, signed 16-bit little-endian linear PCM, no header.
inline constexpr AudioFormat streamFormat{16000.0, 1, SampleType::int16, true};
inline constexpr std::size_t streamBytesPerFrame = 2;

/// The most output frames that a captured buffer may yield: frameLength x 16000 / sampleRate,
/// truncated. A quotient that is no 32-bit count stops the process.
[[nodiscard]] std::uint32_t streamFrameCapacity(std::uint32_t frameLength, double sampleRate);

struct ConversionError {
    std::string description;
};

/// Turns mono float samples of one rate into the stream format. Input that the output has no room
/// for waits for the next call, and the filter's state carries over, so that a stream comes out
/// bit for bit the same however it is cut into buffers. Adds 3 ms (6 ms at 8 kHz, none at 16 kHz).
/// One thread at a time.
class PCMConverter {
public:
    /// Null when there is no converter from `input`: its samples are not float, its rate is not a
    /// whole number of 1...768000 Hz, or memory is short.
    [[nodiscard]] static std::unique_ptr<PCMConverter> create(const AudioFormat& input);
    ~PCMConverter();
    PCMConverter(const PCMConverter&) = delete;
    PCMConverter& operator=(const PCMConverter&) = delete;

    /// Takes all of `samples` (nominally in -1...1; louder ones clip, what is not finite counts as
    /// silence) and fills `output` with as many whole frames as there are and fit. Returns the
    /// number of frames. Allocates only when more input waits than ever before.
    [[nodiscard]] Result<std::size_t, ConversionError> convert(std::span<const float> samples,
                                                               std::span<std::uint8_t> output);

private:
    struct DestroyResampler {
        void operator()(SpeexResamplerState_* state) const;
    };
    using Resampler = std::unique_ptr<SpeexResamplerState_, DestroyResampler>;

    explicit PCMConverter(Resampler resampler);
    std::size_t copyWaiting(std::span<std::uint8_t> output);
    Result<std::size_t, ConversionError> resampleWaiting(std::span<std::uint8_t> output);

    /// Null at 16 kHz, where samples pass unfiltered.
    Resampler resampler_;
    SampleQueue waiting_;
};

} // namespace tandrel
