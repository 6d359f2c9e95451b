#pragma once

#include <vector>

namespace audiocheck {

using Samples = std::vector<float>;

/// The rate at which everything is compared, frames a second.
inline constexpr double comparisonRate = 16000.0;

/// `samples` of rate `rate` at the comparison rate (windowed sinc, no delay).
[[nodiscard]] Samples atComparisonRate(const Samples& samples, double rate);

/// The band in which two recordings are compared, Hz.
struct Band {
    double low = 100.0;
    double high = 3400.0;
};

/// What lies in `band`, without a narrow slit around each of `tones`: a tone that is mixed in
/// correlates with itself at any time and would hide what was spoken.
[[nodiscard]] Samples inBand(const Samples& samples, const Band& band,
                             const std::vector<double>& tones);

} // namespace audiocheck
