#include "AudioCheck/Filters.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <numeric>

namespace audiocheck {

namespace {

constexpr double pi = std::numbers::pi;

/// A second-order section, direct form II transposed. The designs are the bilinear transforms of
/// the analogue prototypes (R. Bristow-Johnson, Cookbook formulae for audio EQ biquads).
class Biquad {
public:
    static Biquad lowPass(double frequency, double quality) {
        const Design design(frequency, quality);
        const double b = (1.0 - design.cosine) / 2.0;
        return {design, b, 2.0 * b, b};
    }
    static Biquad highPass(double frequency, double quality) {
        const Design design(frequency, quality);
        const double b = (1.0 + design.cosine) / 2.0;
        return {design, b, -2.0 * b, b};
    }
    static Biquad notch(double frequency, double quality) {
        const Design design(frequency, quality);
        return {design, 1.0, -2.0 * design.cosine, 1.0};
    }

    void apply(Samples& samples) const {
        double first = 0.0;
        double second = 0.0;
        for (float& sample : samples) {
            const double in = static_cast<double>(sample);
            const double out = b0_ * in + first;
            first = b1_ * in - a1_ * out + second;
            second = b2_ * in - a2_ * out;
            sample = static_cast<float>(out);
        }
    }

private:
    struct Design {
        Design(double frequency, double quality)
            : cosine(std::cos(2.0 * pi * frequency / comparisonRate))
            , alpha(std::sin(2.0 * pi * frequency / comparisonRate) / (2.0 * quality)) {}
        double cosine;
        double alpha;
    };

    Biquad(const Design& design, double b0, double b1, double b2)
        : b0_(b0 / (1.0 + design.alpha))
        , b1_(b1 / (1.0 + design.alpha))
        , b2_(b2 / (1.0 + design.alpha))
        , a1_(-2.0 * design.cosine / (1.0 + design.alpha))
        , a2_((1.0 - design.alpha) / (1.0 + design.alpha)) {}

    double b0_;
    double b1_;
    double b2_;
    double a1_;
    double a2_;
};

double sinc(double x) {
    return x == 0.0 ? 1.0 : std::sin(pi * x) / (pi * x);
}

/// A Blackman window over -1…1.
double window(double x) {
    return std::abs(x) >= 1.0 ? 0.0 : 0.42 + 0.5 * std::cos(pi * x) + 0.08 * std::cos(2.0 * pi * x);
}

/// The taps for a frame that lies `phase` frames behind a frame of the source.
std::vector<double> kernel(double phase, double cutoff, std::size_t reach) {
    std::vector<double> taps(2 * reach + 1);
    for (std::size_t tap = 0; tap < taps.size(); ++tap) {
        const double distance = static_cast<double>(tap) - static_cast<double>(reach) - phase;
        taps[tap] =
            cutoff * sinc(cutoff * distance) * window(distance / static_cast<double>(reach));
    }
    return taps;
}

} // namespace

Samples atComparisonRate(const Samples& samples, double rate) {
    const auto from = static_cast<std::size_t>(rate);
    const auto to = static_cast<std::size_t>(comparisonRate);
    if (from == to) {
        return samples;
    }
    // The kernel has 32 zero crossings on either side of the lower of the two rates.
    const double cutoff = 0.95 * std::min(1.0, comparisonRate / rate);
    const auto reach = static_cast<std::size_t>(32.0 / cutoff);
    // The distances to the source's frames repeat.
    const std::size_t phases = to / std::gcd(from, to);
    std::vector<std::vector<double>> kernels;
    for (std::size_t phase = 0; phase < phases; ++phase) {
        const double distance = static_cast<double>(phase * from % to) / comparisonRate;
        kernels.push_back(kernel(distance, cutoff, reach));
    }

    Samples result(samples.size() * to / from);
    for (std::size_t index = 0, phase = 0; index < result.size(); ++index) {
        const std::vector<double>& taps = kernels[phase];
        phase = phase + 1 < phases ? phase + 1 : 0;
        const std::size_t middle = index * from / to;
        const std::size_t first = middle < reach ? reach - middle : 0;
        const std::size_t last = std::min(taps.size(), samples.size() + reach - middle);
        double sum = 0.0;
        for (std::size_t tap = first; tap < last; ++tap) {
            sum += taps[tap] * static_cast<double>(samples[middle + tap - reach]);
        }
        result[index] = static_cast<float>(sum);
    }
    return result;
}

Samples inBand(const Samples& samples, const Band& band, const std::vector<double>& tones) {
    // The two sections of a fourth-order Butterworth low-pass.
    constexpr double firstQuality = 0.5412;
    constexpr double secondQuality = 1.3066;
    constexpr double slitHertz = 40.0;
    Samples result = samples;
    Biquad::highPass(band.low, std::numbers::sqrt2 / 2.0).apply(result);
    Biquad::lowPass(band.high, firstQuality).apply(result);
    Biquad::lowPass(band.high, secondQuality).apply(result);
    for (const double tone : tones) {
        Biquad::notch(tone, tone / slitHertz).apply(result);
    }
    return result;
}

} // namespace audiocheck
