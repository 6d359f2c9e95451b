#pragma once

#include <cstddef>
#include <span>
#include <vector>

/// Turns one sample rate into another by the shortest way there is for two rates that are known: a
/// table of taps for each position that an output frame can have between two input frames, and one
/// dot product an output frame. The filter spans 96 frames of the lower rate (3 ms of delay at
/// 16 kHz), which is as long as the one of the resampler that it is compared with.
class PolyphaseFilter {
public:
    PolyphaseFilter(std::size_t inputRate, std::size_t outputRate);

    /// Takes all of `input` and writes the output frames that are due; returns how many. `output`
    /// has room for them.
    std::size_t process(std::span<const float> input, std::span<float> output);

private:
    std::size_t up_;
    std::size_t down_;
    std::size_t tapsPerPhase_;
    /// Phase after phase, each from the oldest input to the newest.
    std::vector<float> taps_;
    /// What the filter still needs of earlier input, then the input.
    std::vector<float> window_;
    /// Where the next output frame lies: an input frame, and a part of the way to the next one.
    std::size_t frame_ = 0;
    std::size_t phase_ = 0;
};
