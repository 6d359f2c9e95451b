#include "Decimator.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>
#include <numeric>

namespace {

constexpr std::size_t tapCount = 288;
constexpr std::size_t history = tapCount - Decimator::factor;
constexpr double sampleRate = 48000;
constexpr double cutoff = 7600;

/// Kaiser's own rule for a stop band of -100 dB: 0.1102 (100 - 8.7).
constexpr double kaiserBeta = 10.06;

/// The modified Bessel function of the first kind, order 0, by its power series.
double besselI0(double x) {
    double sum = 1;
    double term = 1;
    for (int k = 1; term > sum * 1e-12; ++k) {
        const double factor = x / (2.0 * k);
        term *= factor * factor;
        sum += term;
    }
    return sum;
}

std::vector<float> lowPass() {
    std::vector<double> taps(tapCount);
    const double centre = (static_cast<double>(tapCount) - 1) / 2;
    const double omega = 2 * std::numbers::pi * cutoff / sampleRate;
    for (std::size_t index = 0; index < tapCount; ++index) {
        // An even length: the distance is never 0.
        const double distance = static_cast<double>(index) - centre;
        const double position = distance / centre;
        const double window =
            besselI0(kaiserBeta * std::sqrt(1 - position * position)) / besselI0(kaiserBeta);
        taps[index] = std::sin(omega * distance) / (std::numbers::pi * distance) * window;
    }
    const double gain = std::accumulate(taps.begin(), taps.end(), 0.0);
    std::vector<float> result(tapCount);
    std::transform(taps.begin(), taps.end(), result.begin(),
                   [gain](double tap) { return static_cast<float>(tap / gain); });
    return result;
}

/// Four floats that are multiplied and added as one (GCC's and Clang's vector extension).
using FourFloats [[gnu::vector_size(4 * sizeof(float))]] = float;

FourFloats load(const float* from) {
    FourFloats values;
    std::memcpy(&values, from, sizeof values);
    return values;
}

/// Several sums side by side: an addition need not wait for the one before.
float dotProduct(const float* left, const float* right) {
    constexpr std::size_t step = 16;
    static_assert(tapCount % step == 0);
    std::array<FourFloats, 4> sums{};
    for (std::size_t index = 0; index < tapCount; index += step) {
        for (std::size_t lane = 0; lane < sums.size(); ++lane) {
            const std::size_t at = index + 4 * lane;
            sums[lane] += load(left + at) * load(right + at);
        }
    }
    const FourFloats sum = (sums[0] + sums[1]) + (sums[2] + sums[3]);
    return (sum[0] + sum[1]) + (sum[2] + sum[3]);
}

} // namespace

Decimator::Decimator()
    : taps_(lowPass())
    , window_(history + inputFrames) {}

void Decimator::process(std::span<const float, inputFrames> input,
                        std::span<std::int16_t, outputFrames> output) {
    std::copy(input.begin(), input.end(), window_.begin() + history);
    for (std::size_t frame = 0; frame < outputFrames; ++frame) {
        const float value = dotProduct(taps_.data(), window_.data() + frame * factor);
        const float scaled = std::clamp(value * 32768.0F, -32768.0F, 32767.0F);
        output[frame] = static_cast<std::int16_t>(std::lrintf(scaled));
    }
    std::copy(window_.end() - history, window_.end(), window_.begin());
}
