// Sound of any rate in buffers of any length: a byte for the rate (the last one: four more), one
// for how samples are written, then samples.
#include "Harness/Chance.h"
#include "Harness/Check.h"
#include "Harness/Environment.h"
#include "Harness/Input.h"
#include "Platform/AudioInput.h"
#include "Platform/GrantedBuffer.h"
#include "Services/AudioLevel.h"
#include "Services/CapturedBufferProcessor.h"
#include "Services/PCMConverter.h"

#include <speex/speex_resampler.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace tandrel::fuzz {
namespace {

constexpr std::array<std::uint32_t, 20> usualRates{
    16000, 48000,  44100,  8000,   11025,  12000, 22050, 24000, 32000, 88200,
    96000, 176400, 192000, 384000, 768000, 37800, 15999, 16001, 1,     767999};

std::uint32_t rateFrom(Input& input) {
    const std::uint8_t choice = input.byte();
    return choice == 0xff ? input.value<std::uint32_t>() % 768000 + 1
                          : usualRates.at(choice % usualRates.size());
}

/// So many samples that they do not become too many at 16 kHz.
std::vector<float> samplesFrom(Input& input, std::uint32_t rate) {
    static constexpr std::size_t mostFrames = 100'000;
    const std::size_t most =
        std::min<std::size_t>(8'000, std::max<std::size_t>(1, mostFrames * rate / 16000));
    const std::uint8_t form = input.byte();
    std::vector<float> samples;
    while (!input.isEmpty() && samples.size() < most) {
        // Any bits at all, or small numbers times a power of two.
        samples.push_back(form == 0 ? input.value<float>()
                                    : std::ldexp(static_cast<float>(input.value<std::int8_t>()),
                                                 static_cast<int>(form % 32) - 16));
    }
    // A short input goes on as its own echo, so that filters fill.
    const std::size_t written = samples.size();
    while (written > 0 && samples.size() < std::min(most, 40 * written)) {
        samples.push_back(samples[samples.size() - written] * 0.75F);
    }
    return samples;
}

AudioFormat formatOf(double rate) {
    return {rate, 1, SampleType::float32, false};
}

void appendFrame(std::vector<std::uint8_t>& bytes, float sample) {
    const double scaled = static_cast<double>(sample) * 32768.0;
    const double whole =
        std::isnan(scaled) ? 0.0 : std::nearbyint(std::clamp(scaled, -32768.0, 32767.0));
    const auto bits = static_cast<unsigned>(static_cast<int>(whole)) & 0xffffU;
    bytes.push_back(static_cast<std::uint8_t>(bits % 256));
    bytes.push_back(static_cast<std::uint8_t>(bits / 256));
}

/// The same filter, one sample at a time, with no queue around it.
std::vector<std::uint8_t> expectedBytes(const std::vector<float>& samples, std::uint32_t rate) {
    std::vector<std::uint8_t> bytes;
    const std::unique_ptr<SpeexResamplerState, decltype(&speex_resampler_destroy)> resampler(
        speex_resampler_init(1, rate, 16000, 6, nullptr), &speex_resampler_destroy);
    FUZZ_EXPECT(resampler);
    std::vector<float> resampled(16000 + 1);
    for (const float sample : samples) {
        const float finite = std::isfinite(sample) ? sample : 0.0F;
        if (rate == 16000) {
            appendFrame(bytes, finite);
            continue;
        }
        spx_uint32_t consumed = 1;
        auto produced = static_cast<spx_uint32_t>(resampled.size());
        FUZZ_EXPECT(speex_resampler_process_float(resampler.get(), 0, &finite, &consumed,
                                                  resampled.data(),
                                                  &produced) == RESAMPLER_ERR_SUCCESS);
        FUZZ_EXPECT(consumed == 1);
        for (std::size_t index = 0; index < produced; ++index) {
            appendFrame(bytes, resampled[index]);
        }
    }
    return bytes;
}

/// Converts and appends what there is room for; returns the frames.
std::size_t convertInto(PCMConverter& converter, std::span<const float> samples,
                        std::size_t capacity, std::vector<std::uint8_t>& bytes) {
    // An odd byte more: there is no half frame.
    std::vector<std::uint8_t> output(capacity * streamBytesPerFrame + 1);
    const auto frames = converter.convert(samples, output);
    FUZZ_EXPECT(frames.ok() && frames.value() <= capacity);
    bytes.insert(bytes.end(), output.begin(),
                 output.begin() +
                     static_cast<std::ptrdiff_t>(frames.value() * streamBytesPerFrame));
    return frames.value();
}

std::vector<std::span<const float>> inBuffers(const std::vector<float>& samples, Chance& chance) {
    std::vector<std::span<const float>> buffers;
    for (std::size_t at = 0; at < samples.size(); at += buffers.back().size()) {
        const std::size_t wanted = chance.below(chance.below(3) == 0 ? 8 : 1200);
        buffers.push_back(std::span(samples).subspan(at, std::min(wanted, samples.size() - at)));
    }
    return buffers;
}

void checkChunking(const std::vector<float>& samples, std::uint32_t rate, Chance& chance) {
    const std::vector<std::uint8_t> expected = expectedBytes(samples, rate);
    const double exact = static_cast<double>(samples.size()) * 16000.0 / rate;
    const std::size_t frames = expected.size() / streamBytesPerFrame;
    FUZZ_EXPECT(std::abs(static_cast<double>(frames) - exact) <= 1.0);

    const auto whole = PCMConverter::create(formatOf(rate));
    std::vector<std::uint8_t> wholeBytes;
    convertInto(*whole, samples, frames + 10, wholeBytes);
    FUZZ_EXPECT(wholeBytes == expected);

    // With less room than sound now and then, and then all that was left waiting.
    const auto pieces = PCMConverter::create(formatOf(rate));
    std::vector<std::uint8_t> pieceBytes;
    for (const std::span<const float> buffer : inBuffers(samples, chance)) {
        convertInto(*pieces, buffer, chance.below(1000), pieceBytes);
    }
    while (convertInto(*pieces, {}, 1 + chance.below(5000), pieceBytes) > 0) {
    }
    FUZZ_EXPECT(pieceBytes == expected);
}

/// Buffers of the granted length become as many frames as they stand for, with nothing left over.
void checkGrant(const std::vector<float>& samples, std::uint32_t rate, std::size_t wanted) {
    const CaptureGrant grant = grantCapture(rate, static_cast<std::uint32_t>(wanted));
    FUZZ_EXPECT(grant.sampleRate == rate || grant.sampleRate == 48000);
    FUZZ_EXPECT(grant.bufferFrames > 0);
    FUZZ_EXPECT(std::uint64_t{grant.bufferFrames} * 16000 % grant.sampleRate == 0);
    const std::uint32_t capacity = streamFrameCapacity(grant.bufferFrames, grant.sampleRate);
    FUZZ_EXPECT(std::uint64_t{capacity} * grant.sampleRate ==
                std::uint64_t{grant.bufferFrames} * 16000);
    if (capacity > 50'000) {
        return;
    }
    const auto converter = PCMConverter::create(formatOf(grant.sampleRate));
    std::vector<float> buffer(grant.bufferFrames);
    for (std::size_t index = 0; index < buffer.size() && !samples.empty(); ++index) {
        buffer[index] = samples[index % samples.size()];
    }
    for (int count = 0; count < 3; ++count) {
        std::vector<std::uint8_t> bytes;
        FUZZ_EXPECT(convertInto(*converter, buffer, capacity, bytes) == capacity);
        FUZZ_EXPECT(convertInto(*converter, {}, 10, bytes) == 0);
    }
}

/// The tap's half of a capture comes to the same, buffer by buffer, and measures every buffer.
void checkPipeline(const std::vector<float>& samples, std::uint32_t rate, Chance& chance) {
    std::vector<float> levels;
    std::vector<std::vector<std::uint8_t>> payloads;
    CapturedBufferProcessor processor([&levels](float level) { levels.push_back(level); });
    processor.setConverter(PCMConverter::create(formatOf(rate)));
    processor.setHandler(
        [&payloads](std::vector<std::uint8_t> bytes) { payloads.push_back(std::move(bytes)); });
    const auto converter = PCMConverter::create(formatOf(rate));
    std::vector<float> expectedLevels;
    std::vector<std::vector<std::uint8_t>> expectedPayloads;
    for (const std::span<const float> buffer : inBuffers(samples, chance)) {
        const auto frames = static_cast<std::uint32_t>(buffer.size());
        processor.processBuffer({buffer.data(), frames, static_cast<double>(rate)});
        expectedLevels.push_back(measureLevel(buffer).level);
        const auto capacity = static_cast<std::uint32_t>(std::uint64_t{frames} * 16000 / rate);
        FUZZ_EXPECT(streamFrameCapacity(frames, rate) == capacity);
        std::vector<std::uint8_t> bytes;
        if (capacity > 0 && convertInto(*converter, buffer, capacity, bytes) > 0) {
            expectedPayloads.push_back(std::move(bytes));
        }
    }
    FUZZ_EXPECT(levels == expectedLevels && payloads == expectedPayloads);
    // The log is thinned out; else it would grow with the stream.
    const std::size_t count = expectedLevels.size();
    FUZZ_EXPECT(takeLogLines().size() <= 3 * (std::min<std::size_t>(count, 5) + count / 200));
}

/// There is a converter for whole rates that a device can have, from float samples, and for nothing
/// else.
void checkFormats(Input input) {
    AudioFormat format;
    format.sampleRate = std::bit_cast<double>(input.value<std::uint64_t>());
    format.channels = input.byte() % 3U;
    format.sampleType =
        std::array{SampleType::float32, SampleType::int16, SampleType::other}.at(input.byte() % 3U);
    const double rate = format.sampleRate;
    const bool isPossible = format.channels > 0 && format.sampleType == SampleType::float32 &&
                            rate >= 1.0 && rate <= 768000.0 && rate == std::floor(rate);
    FUZZ_EXPECT((PCMConverter::create(format) != nullptr) == isPossible);
}

} // namespace
} // namespace tandrel::fuzz

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    tandrel::fuzz::usePrivateEnvironment();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tandrel::fuzz;
    Input input(data, size);
    Chance chance(input.rest());
    checkFormats(input);
    const std::uint32_t rate = rateFrom(input);
    const std::vector<float> samples = samplesFrom(input, rate);
    checkChunking(samples, rate, chance);
    checkGrant(samples, rate, chance.below(4) == 0 ? chance.below(5000) : 1024);
    checkPipeline(samples, rate, chance);
    return 0;
}
