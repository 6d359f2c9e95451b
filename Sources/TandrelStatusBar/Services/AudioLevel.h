#pragma once

#include <span>
#include <string>

namespace tandrel {

/// How loud one buffer is.
struct AudioLevel {
    /// Root mean square of the samples, linear; not a number for no samples.
    float rms = 0;
    /// What the meter shows, 0...1: three times the rms, clipped; 1 when the rms is not a number.
    float level = 0;
};

/// Measures samples that are nominally in -1...1, in 32-bit floating point. Any thread; allocates
/// nothing.
[[nodiscard]] AudioLevel measureLevel(std::span<const float> samples);

/// The shortest decimal form that reads back to the same 32-bit value, always with a fraction or
/// an exponent: "0.012345679", "1.0", "1e-05", "nan", "-inf".
[[nodiscard]] std::string shortestText(float value);

} // namespace tandrel
