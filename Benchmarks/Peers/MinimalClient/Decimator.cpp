#include "Decimator.h"

#include "Signal/DotProduct.h"
#include "Signal/KaiserLowPass.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr std::size_t tapCount = 288;
constexpr std::size_t history = tapCount - Decimator::factor;
constexpr double sampleRate = 48000;
constexpr double cutoff = 7600;
static_assert(tapCount % dotProductStep == 0);

} // namespace

Decimator::Decimator()
    : taps_(kaiserLowPass(tapCount, cutoff / sampleRate))
    , window_(history + inputFrames) {}

void Decimator::process(std::span<const float, inputFrames> input,
                        std::span<std::int16_t, outputFrames> output) {
    std::copy(input.begin(), input.end(), window_.begin() + history);
    for (std::size_t frame = 0; frame < outputFrames; ++frame) {
        const float value = dotProduct(taps_.data(), window_.data() + frame * factor, tapCount);
        const float scaled = std::clamp(value * 32768.0F, -32768.0F, 32767.0F);
        output[frame] = static_cast<std::int16_t>(std::lrintf(scaled));
    }
    std::copy(window_.end() - history, window_.end(), window_.begin());
}
