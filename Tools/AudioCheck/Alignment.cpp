#include "AudioCheck/Alignment.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace audiocheck {

namespace {

/// Where the next window is looked for first: around the place that continues the last one.
constexpr std::size_t nearFrames = 8;
constexpr double continuesCorrelation = 0.9;

/// Windows that are this much softer than the loudest are pauses; so is all below two steps of 16
/// bits.
constexpr double pauseRatio = 0.018; // -35 dB
constexpr double leastLoudness = 2.0 / 32768.0;

double energyOf(const float* samples, std::size_t count) {
    double sum = 0.0;
    for (std::size_t index = 0; index < count; ++index) {
        const double sample = static_cast<double>(samples[index]);
        sum += sample * sample;
    }
    return sum;
}

Samples extended(const Samples& reference, bool isLooped) {
    Samples result = reference;
    if (isLooped && !reference.empty()) {
        for (std::size_t index = 0; index < windowFrames + nearFrames; ++index) {
            result.push_back(reference[index % reference.size()]);
        }
    }
    return result;
}

std::vector<double> energySums(const Samples& samples) {
    std::vector<double> sums{0.0};
    sums.reserve(samples.size() + 1);
    for (const float sample : samples) {
        sums.push_back(sums.back() + static_cast<double>(sample) * static_cast<double>(sample));
    }
    return sums;
}

double activeFrom(const Samples& recording) {
    double loudest = 0.0;
    for (std::size_t start = 0; start + windowFrames <= recording.size(); start += windowDistance) {
        loudest = std::max(loudest, loudness(recording.data() + start, windowFrames));
    }
    return std::max(leastLoudness, loudest * pauseRatio);
}

} // namespace

double loudness(const float* samples, std::size_t count) {
    return count == 0 ? 0.0 : std::sqrt(energyOf(samples, count) / static_cast<double>(count));
}

Aligner::Aligner(const Samples& reference, bool isLooped)
    : frames_(reference.size())
    , isLooped_(isLooped)
    , reference_(extended(reference, isLooped))
    , energy_(energySums(reference_))
    , leastEnergy_(1e-4 * energy_.back() * static_cast<double>(windowFrames) /
                   static_cast<double>(std::max<std::size_t>(reference_.size(), 1)))
    , fourier_(fourierSize(reference_.size() + windowFrames))
    , spectrum_(fourier_.size()) {
    std::copy(reference_.begin(), reference_.end(), spectrum_.begin());
    fourier_.transform(spectrum_);
}

std::size_t Aligner::places() const {
    if (isLooped_) {
        return frames_;
    }
    return frames_ < windowFrames ? 0 : frames_ - windowFrames + 1;
}

double Aligner::energyAt(std::size_t referenceStart) const {
    return energy_[referenceStart + windowFrames] - energy_[referenceStart];
}

Aligner::Place Aligner::placeAt(const float* window, std::size_t referenceStart) const {
    const double energy = energyAt(referenceStart);
    if (energy <= leastEnergy_) {
        return {.referenceStart = referenceStart};
    }
    double product = 0.0;
    for (std::size_t index = 0; index < windowFrames; ++index) {
        product += static_cast<double>(window[index]) *
                   static_cast<double>(reference_[referenceStart + index]);
    }
    return {.referenceStart = referenceStart,
            .correlation = product / std::sqrt(energy * energyOf(window, windowFrames)),
            .gain = product / energy};
}

Aligner::Place Aligner::placeNear(const float* window, std::size_t referenceStart) const {
    Place best;
    for (std::size_t step = 0; step <= 2 * nearFrames; ++step) {
        std::size_t start = referenceStart + step;
        if (start < nearFrames) {
            start += isLooped_ ? frames_ : nearFrames;
        }
        start -= nearFrames;
        start = isLooped_ ? start % frames_ : start;
        if (start < places()) {
            const Place place = placeAt(window, start);
            best = place.correlation > best.correlation ? place : best;
        }
    }
    return best;
}

Aligner::Place Aligner::placeAnywhere(const float* window) const {
    Spectrum products(spectrum_.size());
    std::copy_n(window, windowFrames, products.begin());
    fourier_.transform(products);
    for (std::size_t index = 0; index < products.size(); ++index) {
        products[index] = spectrum_[index] * std::conj(products[index]);
    }
    fourier_.transformBack(products);

    Place best;
    const double own = energyOf(window, windowFrames);
    for (std::size_t start = 0; start < places(); ++start) {
        const double energy = energyAt(start);
        if (energy > leastEnergy_) {
            const double correlation = products[start].real() / std::sqrt(energy * own);
            if (correlation > best.correlation) {
                best = {.referenceStart = start,
                        .correlation = correlation,
                        .gain = products[start].real() / energy};
            }
        }
    }
    return best;
}

std::vector<Window> Aligner::align(const Samples& recording) const {
    const double threshold = activeFrom(recording);
    std::vector<Window> windows;
    std::optional<Window> last;
    for (std::size_t start = 0; start + windowFrames <= recording.size(); start += windowDistance) {
        const float* samples = recording.data() + start;
        Window window{.start = start, .isActive = loudness(samples, windowFrames) >= threshold};
        if (window.isActive && places() > 0) {
            Place place;
            if (last) {
                place = placeNear(samples, last->referenceStart + start - last->start);
            }
            if (place.correlation < continuesCorrelation) {
                const Place anywhere = placeAnywhere(samples);
                place = anywhere.correlation > place.correlation ? anywhere : place;
            }
            window.correlation = place.correlation;
            window.referenceStart = place.referenceStart;
            window.gain = place.gain;
            if (window.isFound()) {
                last = window;
            }
        }
        windows.push_back(window);
    }
    return windows;
}

} // namespace audiocheck
