#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// Turns 48 kHz into 16 kHz: a linear-phase low-pass of 288 taps of which every third output is
/// computed. Delay 3.0 ms; -6 dB at 7.6 kHz, stop band (about -100 dB) from 8.15 kHz: as long and
/// as steep as the filter of the program that it is compared with.
class Decimator {
public:
    static constexpr std::size_t factor = 3;
    static constexpr std::size_t inputFrames = 1023;
    static constexpr std::size_t outputFrames = inputFrames / factor;

    Decimator();

    /// Samples in -1...1 to 16 bits, clamped.
    void process(std::span<const float, inputFrames> input,
                 std::span<std::int16_t, outputFrames> output);

private:
    std::vector<float> taps_;
    /// What the filter still needs of earlier input, then the input.
    std::vector<float> window_;
};
