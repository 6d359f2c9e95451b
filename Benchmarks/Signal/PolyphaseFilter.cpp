#include "Signal/PolyphaseFilter.h"

#include "Signal/DotProduct.h"
#include "Signal/KaiserLowPass.h"

#include <algorithm>
#include <iterator>
#include <numeric>

namespace {

constexpr std::size_t spanInLowerRate = 96;
/// Of the lower rate: 7.6 kHz at 16 kHz.
constexpr double cutoff = 0.475;

std::size_t roundedUp(std::size_t value, std::size_t step) {
    return (value + step - 1) / step * step;
}

} // namespace

PolyphaseFilter::PolyphaseFilter(std::size_t inputRate, std::size_t outputRate)
    : up_(outputRate / std::gcd(inputRate, outputRate))
    , down_(inputRate / std::gcd(inputRate, outputRate))
    , tapsPerPhase_(
          roundedUp(spanInLowerRate * std::max(inputRate, outputRate) / outputRate, dotProductStep))
    , taps_(tapsPerPhase_ * up_)
    , window_(tapsPerPhase_ - 1) {
    // One filter at the rate that both divide, of which each phase takes every `up_`th tap.
    const auto lowerRate = static_cast<double>(std::min(inputRate, outputRate));
    const std::vector<float> prototype =
        kaiserLowPass(taps_.size(), cutoff * lowerRate / static_cast<double>(inputRate * up_));
    const auto gain = static_cast<float>(up_);
    for (std::size_t index = 0; index < prototype.size(); ++index) {
        const std::size_t phase = index % up_;
        const std::size_t age = index / up_;
        taps_[phase * tapsPerPhase_ + (tapsPerPhase_ - 1 - age)] = gain * prototype[index];
    }
}

std::size_t PolyphaseFilter::process(std::span<const float> input, std::span<float> output) {
    const std::size_t history = tapsPerPhase_ - 1;
    window_.resize(history + input.size());
    std::copy(input.begin(), input.end(), window_.begin() + static_cast<std::ptrdiff_t>(history));
    std::size_t frames = 0;
    while (frame_ < input.size()) {
        output[frames] = dotProduct(taps_.data() + phase_ * tapsPerPhase_, window_.data() + frame_,
                                    tapsPerPhase_);
        ++frames;
        phase_ += down_;
        frame_ += phase_ / up_;
        phase_ %= up_;
    }
    frame_ -= input.size();
    std::copy(window_.end() - static_cast<std::ptrdiff_t>(history), window_.end(), window_.begin());
    return frames;
}
