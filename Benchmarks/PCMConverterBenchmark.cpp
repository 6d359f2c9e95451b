#include "Services/AudioLevel.h"
#include "Services/PCMConverter.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tandrel {
namespace {

std::vector<float> tone(std::size_t frames) {
    std::vector<float> samples(frames);
    for (std::size_t index = 0; index < frames; ++index) {
        samples[index] = 0.5F * std::sin(0.13F * static_cast<float>(index));
    }
    return samples;
}

/// Arguments: the input's rate and the length of a granted buffer. Rates in the output are input
/// frames; for instructions a frame run one case under `valgrind --tool=callgrind` and divide.
void convertBuffer(benchmark::State& state) {
    const auto rate = static_cast<double>(state.range(0));
    const auto granted = static_cast<std::uint32_t>(state.range(1));
    const auto converter = PCMConverter::create({rate, 1, SampleType::float32, true});
    const std::vector<float> input = tone(granted);
    std::vector<std::uint8_t> output(streamFrameCapacity(granted, rate) * streamBytesPerFrame);
    for (auto _ : state) {
        benchmark::DoNotOptimize(converter->convert(input, output));
        benchmark::ClobberMemory();
    }
    const auto frames = static_cast<double>(state.iterations()) * granted;
    state.counters["frames"] = benchmark::Counter(frames, benchmark::Counter::kIsRate);
    state.counters["timePerFrame"] =
        benchmark::Counter(frames, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(convertBuffer)
    ->Args({8000, 1024})
    ->Args({16000, 1024})
    ->Args({44100, 882})
    ->Args({48000, 1023})
    ->Args({96000, 1026});

void measureBuffer(benchmark::State& state) {
    const std::vector<float> input = tone(1023);
    for (auto _ : state) {
        benchmark::DoNotOptimize(measureLevel(input));
    }
    state.counters["timePerFrame"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * 1023,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(measureBuffer);

} // namespace
} // namespace tandrel
