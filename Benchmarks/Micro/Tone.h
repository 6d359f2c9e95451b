#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

namespace tandrel::bench {

/// Sound at half of full scale: what the microphone is taken to hear, the same each time.
inline std::vector<float> tone(std::size_t frames) {
    std::vector<float> samples(frames);
    for (std::size_t index = 0; index < frames; ++index) {
        samples[index] = 0.5F * std::sin(0.13F * static_cast<float>(index));
    }
    return samples;
}

} // namespace tandrel::bench
