#include "Services/PCMConverter.h"

#include "Foundation/Precondition.h"

#include <speex/speex_resampler.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace tandrel {

namespace {

// speexdsp's quality 6: aliases 105 dB down at a constant 3 ms; 7 and above only add delay.
constexpr int resamplerQuality = 6;
constexpr double highestRate = 768000;
// Holds two of the longest buffers that an engine grants.
constexpr std::size_t reservedSamples = 4096;

std::int16_t quantize(float sample) {
    // A filter driven far beyond full scale may overflow to what is no number.
    if (std::isnan(sample)) {
        return 0;
    }
    // Clamped as float: a cast alone would wrap around.
    return static_cast<std::int16_t>(
        std::lrintf(std::clamp(sample * 32768.0F, -32768.0F, 32767.0F)));
}

void writeFrames(std::span<const float> samples, std::uint8_t* output) {
    for (const float sample : samples) {
        const auto bits = static_cast<std::uint16_t>(quantize(sample));
        *output++ = static_cast<std::uint8_t>(bits & 0xffU);
        *output++ = static_cast<std::uint8_t>(bits >> 8U);
    }
}

} // namespace

std::uint32_t streamFrameCapacity(std::uint32_t frameLength, double sampleRate) {
    const double frames = frameLength * streamFormat.sampleRate / sampleRate;
    precondition(std::isfinite(frames) && frames > -1.0 && frames < 4294967296.0,
                 "the output capacity is not a 32-bit frame count");
    // By way of a signed type: what lies between -1 and 0 truncates to 0.
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(frames));
}

void PCMConverter::DestroyResampler::operator()(SpeexResamplerState_* state) const {
    speex_resampler_destroy(state);
}

std::unique_ptr<PCMConverter> PCMConverter::create(const AudioFormat& input) {
    const double rate = input.sampleRate;
    const bool supported = input.sampleType == SampleType::float32 && input.channels >= 1 &&
                           rate >= 1 && rate <= highestRate && std::trunc(rate) == rate;
    if (!supported) {
        return nullptr;
    }
    Resampler resampler;
    if (rate != streamFormat.sampleRate) {
        resampler.reset(speex_resampler_init(1, static_cast<spx_uint32_t>(rate),
                                             static_cast<spx_uint32_t>(streamFormat.sampleRate),
                                             resamplerQuality, nullptr));
        if (!resampler) {
            return nullptr;
        }
    }
    return std::unique_ptr<PCMConverter>(new PCMConverter(std::move(resampler)));
}

PCMConverter::PCMConverter(Resampler resampler)
    : resampler_(std::move(resampler))
    , waiting_(reservedSamples) {}

PCMConverter::~PCMConverter() = default;

Result<std::size_t, ConversionError> PCMConverter::convert(std::span<const float> samples,
                                                           std::span<std::uint8_t> output) {
    waiting_.append(samples);
    return resampler_ ? resampleWaiting(output) : copyWaiting(output);
}

std::size_t PCMConverter::copyWaiting(std::span<std::uint8_t> output) {
    const std::size_t frames =
        std::min(waiting_.unread().size(), output.size() / streamBytesPerFrame);
    writeFrames(waiting_.unread().first(frames), output.data());
    waiting_.consume(frames);
    return frames;
}

Result<std::size_t, ConversionError> PCMConverter::resampleWaiting(std::span<std::uint8_t> output) {
    const std::size_t capacity = output.size() / streamBytesPerFrame;
    std::array<float, 512> resampled{};
    std::size_t frames = 0;
    // An input pointer of null would insert silence, so an empty queue is never handed over.
    while (frames < capacity && !waiting_.unread().empty()) {
        const std::span<const float> unread = waiting_.unread();
        auto consumed = static_cast<spx_uint32_t>(unread.size());
        auto produced = static_cast<spx_uint32_t>(std::min(resampled.size(), capacity - frames));
        const int error = speex_resampler_process_float(resampler_.get(), 0, unread.data(),
                                                        &consumed, resampled.data(), &produced);
        if (error != RESAMPLER_ERR_SUCCESS) {
            return ConversionError{speex_resampler_strerror(error)};
        }
        writeFrames({resampled.data(), produced}, output.data() + frames * streamBytesPerFrame);
        waiting_.consume(consumed);
        frames += produced;
    }
    return frames;
}

} // namespace tandrel
