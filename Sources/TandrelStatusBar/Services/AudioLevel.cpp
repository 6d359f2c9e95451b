#include "Services/AudioLevel.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <string_view>

namespace tandrel {

namespace {

/// Full scale on the meter is an rms of one third.
constexpr float meterGain = 3.0F;

float sumOfSquares(std::span<const float> samples) {
    // Independent partial sums fill a vector register, and round less than one long sum would.
    constexpr std::size_t laneCount = 8;
    std::array<float, laneCount> lanes{};
    std::size_t index = 0;
    for (; index + laneCount <= samples.size(); index += laneCount) {
        // A pointer: an index that is checked at each sample keeps them out of the register.
        const float* const group = samples.data() + index;
        for (std::size_t lane = 0; lane < laneCount; ++lane) {
            lanes[lane] += group[lane] * group[lane];
        }
    }
    for (; index < samples.size(); ++index) {
        lanes[0] += samples[index] * samples[index];
    }
    float sum = 0;
    for (const float lane : lanes) {
        sum += lane;
    }
    return sum;
}

} // namespace

AudioLevel measureLevel(std::span<const float> samples) {
    const float rms = std::sqrt(sumOfSquares(samples) / static_cast<float>(samples.size()));
    // fmin is IEEE 754's minNum: of a number and a NaN it takes the number.
    return {rms, std::fmin(rms * meterGain, 1.0F)};
}

std::string shortestText(float value) {
    if (std::isnan(value)) {
        return "nan";
    }
    if (std::isinf(value)) {
        return value < 0 ? "-inf" : "inf";
    }
    // Beyond 2^24 a float's unit is more than 1, so digits before the point would be made up.
    const float magnitude = std::fabs(value);
    const bool plain = magnitude == 0 || (magnitude >= 1e-4F && magnitude <= 16777216.0F);
    std::array<char, 32> buffer{};
    const auto result =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                      plain ? std::chars_format::fixed : std::chars_format::scientific);
    std::string text(buffer.data(), result.ptr);
    if (plain && text.find('.') == std::string::npos) {
        text += ".0";
    }
    return text;
}

} // namespace tandrel
