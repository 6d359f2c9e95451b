#include "Signal/KaiserLowPass.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace {

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

} // namespace

std::vector<float> kaiserLowPass(std::size_t tapCount, double cutoff) {
    std::vector<double> taps(tapCount);
    const double centre = (static_cast<double>(tapCount) - 1) / 2;
    const double omega = 2 * std::numbers::pi * cutoff;
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
