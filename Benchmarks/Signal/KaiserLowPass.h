#pragma once

#include <cstddef>
#include <vector>

/// A linear-phase low-pass of an even number of taps, with a stop band of about -100 dB; its gain
/// is 1 at 0 Hz. `cutoff`, where it is 6 dB down, is a part of the sample rate.
[[nodiscard]] std::vector<float> kaiserLowPass(std::size_t tapCount, double cutoff);
