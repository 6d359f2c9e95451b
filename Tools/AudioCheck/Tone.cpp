#include "AudioCheck/Tone.h"

#include "AudioCheck/Fourier.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace audiocheck {

namespace {

constexpr std::size_t maxFrames = 131'072;
constexpr double reachHertz = 50.0;
constexpr double toleranceHertz = 0.5;
constexpr double leastDbfs = -70.0;
constexpr double leastProminenceDb = 20.0;

/// Four-term Blackman-Harris (F. J. Harris, 1978): side lobes below -92 dB.
double blackmanHarris(std::size_t index, std::size_t count) {
    const double x =
        2.0 * std::numbers::pi * static_cast<double>(index) / static_cast<double>(count);
    return 0.35875 - 0.48829 * std::cos(x) + 0.14128 * std::cos(2.0 * x) -
           0.01168 * std::cos(3.0 * x);
}

double toDecibel(double amplitude) {
    return 20.0 * std::log10(std::max(amplitude, 1e-10));
}

} // namespace

bool Tone::is(double expectedHertz) const {
    return std::abs(hertz - expectedHertz) <= toleranceHertz && levelDbfs >= leastDbfs &&
           prominenceDb >= leastProminenceDb;
}

Tone measureTone(const Samples& recording, double hertz) {
    const std::size_t frames = std::min(recording.size(), maxFrames);
    Spectrum spectrum(maxFrames);
    double weight = 0.0;
    for (std::size_t index = 0; index < frames; ++index) {
        const double factor = blackmanHarris(index, frames);
        spectrum[index] = static_cast<double>(recording[index]) * factor;
        weight += factor;
    }
    Fourier(maxFrames).transform(spectrum);

    const double binHertz = comparisonRate / static_cast<double>(maxFrames);
    const auto bin = [binHertz](double frequency) {
        constexpr std::size_t lastBin = maxFrames / 2 - 2;
        const auto last = static_cast<double>(lastBin);
        return static_cast<std::size_t>(std::clamp(frequency / binHertz, 1.0, last));
    };
    const std::size_t low = bin(hertz - reachHertz);
    const std::size_t high = bin(hertz + reachHertz);
    std::vector<double> magnitudes;
    std::size_t peak = low;
    for (std::size_t index = low; index <= high; ++index) {
        magnitudes.push_back(std::abs(spectrum[index]));
        peak = magnitudes.back() > std::abs(spectrum[peak]) ? index : peak;
    }
    const auto middle = magnitudes.begin() + static_cast<std::ptrdiff_t>(magnitudes.size() / 2);
    std::nth_element(magnitudes.begin(), middle, magnitudes.end());

    const double before = toDecibel(std::abs(spectrum[peak - 1]));
    const double at = toDecibel(std::abs(spectrum[peak]));
    const double after = toDecibel(std::abs(spectrum[peak + 1]));
    const double curvature = before - 2.0 * at + after;
    const double shift = curvature == 0.0 ? 0.0 : 0.5 * (before - after) / curvature;
    const double top = at - 0.25 * (before - after) * shift;
    Tone tone;
    tone.hertz = (static_cast<double>(peak) + shift) * binHertz;
    tone.levelDbfs = top - toDecibel(std::max(weight / 2.0, 1e-10));
    tone.prominenceDb = at - toDecibel(*middle);
    return tone;
}

} // namespace audiocheck
