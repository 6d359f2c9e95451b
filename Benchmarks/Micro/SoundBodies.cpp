#include "Micro/Body.h"
#include "Micro/Tone.h"
#include "Platform/GrantedBuffer.h"
#include "Platform/SampleRing.h"
#include "Services/AudioLevel.h"
#include "Services/PCMConverter.h"
#include "Signal/PolyphaseFilter.h"

#include <benchmark/benchmark.h>
#include <speex/speex_resampler.h>

#include <cstdint>
#include <memory>
#include <utility>

namespace tandrel::bench {

namespace {

constexpr std::uint32_t outputRate = 16000;
constexpr std::uint32_t inputRates[] = {8000, 16000, 44100, 48000, 96000, 192000};
/// Asked for, as the program does.
constexpr std::uint32_t requestedFrames = 1024;
/// At 48 kHz.
constexpr std::size_t grantedFrames = 1023;

Body levelOfABuffer() {
    return {"level", "buffer", 1, [] {
                return [input = tone(grantedFrames)] {
                    benchmark::DoNotOptimize(measureLevel(input));
                };
            }};
}

/// In and out again, of a ring of the length that the program has: 2 s at 48 kHz.
Body throughTheRing(std::string name, std::size_t channels) {
    return {std::move(name), "buffer", 1, [channels] {
                return [channels, ring = std::make_shared<SampleRing>(std::size_t{2} * 48000),
                        input = tone(grantedFrames * channels),
                        output = std::vector<float>(grantedFrames)]() mutable {
                    ring->push(input.data(), grantedFrames, channels);
                    ring->pop(output.data(), output.size());
                    benchmark::ClobberMemory();
                };
            }};
}

Body::Run converterRun(std::uint32_t rate, std::uint32_t frames) {
    const AudioFormat format{static_cast<double>(rate), 1, SampleType::float32, true};
    return [converter = std::shared_ptr(PCMConverter::create(format)), input = tone(frames),
            output = std::vector<std::uint8_t>(streamFrameCapacity(frames, format.sampleRate) *
                                               streamBytesPerFrame)]() mutable {
        benchmark::DoNotOptimize(converter->convert(input, output));
        benchmark::ClobberMemory();
    };
}

/// Without the queue of what waits, the limits and the 16 bits of the converter: what no program
/// that uses this library can do without.
Body::Run libraryRun(std::uint32_t rate, std::uint32_t frames) {
    constexpr int quality = 6;
    std::shared_ptr<SpeexResamplerState_> resampler(
        speex_resampler_init(1, rate, outputRate, quality, nullptr), speex_resampler_destroy);
    return [resampler = std::move(resampler), input = tone(frames),
            output = std::vector<float>(streamFrameCapacity(frames, rate))]() mutable {
        auto consumed = static_cast<spx_uint32_t>(input.size());
        auto produced = static_cast<spx_uint32_t>(output.size());
        speex_resampler_process_float(resampler.get(), 0, input.data(), &consumed, output.data(),
                                      &produced);
        benchmark::ClobberMemory();
    };
}

/// Float in, float out, as the library call.
Body::Run polyphaseRun(std::uint32_t rate, std::uint32_t frames) {
    return [filter = PolyphaseFilter(rate, outputRate), input = tone(frames),
            output = std::vector<float>(streamFrameCapacity(frames, rate))]() mutable {
        benchmark::DoNotOptimize(filter.process(input, output));
        benchmark::ClobberMemory();
    };
}

Body conversion(const char* by, std::uint32_t rate,
                Body::Run (*makeRun)(std::uint32_t rate, std::uint32_t frames)) {
    const std::uint32_t frames = grantCapture(rate, requestedFrames).bufferFrames;
    return {std::string("convert/") + std::to_string(rate) + by, "frame", frames,
            [=] { return makeRun(rate, frames); }};
}

} // namespace

std::vector<Body> soundBodies() {
    std::vector<Body> bodies{levelOfABuffer(), throughTheRing("ring", 1)};
    for (const std::size_t channels : {2U, 4U, 8U}) {
        bodies.push_back(
            throughTheRing("ring/" + std::to_string(channels) + "-channels", channels));
    }
    for (const std::uint32_t rate : inputRates) {
        bodies.push_back(conversion("", rate, converterRun));
        if (rate != outputRate) {
            bodies.push_back(conversion("/library", rate, libraryRun));
            bodies.push_back(conversion("/polyphase", rate, polyphaseRun));
        }
    }
    return bodies;
}

} // namespace tandrel::bench
