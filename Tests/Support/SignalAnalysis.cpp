#include "Support/SignalAnalysis.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <random>

namespace tandrel::test {

using std::numbers::pi;

namespace {

/// Sine and cosine of a steadily growing angle, each step by a rotation: tones are most of these
/// tests' time, and the error stays below 1e-12 over the lengths used here.
class Rotator {
public:
    explicit Rotator(double step)
        : stepSine_(std::sin(step))
        , stepCosine_(std::cos(step)) {}

    [[nodiscard]] double sine() const { return sine_; }
    [[nodiscard]] double cosine() const { return cosine_; }

    void advance() {
        const double sine = sine_ * stepCosine_ + cosine_ * stepSine_;
        cosine_ = cosine_ * stepCosine_ - sine_ * stepSine_;
        sine_ = sine;
    }

private:
    double stepSine_;
    double stepCosine_;
    double sine_ = 0;
    double cosine_ = 1;
};

} // namespace

std::vector<float> synthesize(std::span<const Tone> tones, double rate, std::size_t frames) {
    std::vector<double> sum(frames);
    for (const Tone& tone : tones) {
        Rotator angle(2 * pi * tone.frequency / rate);
        for (double& sample : sum) {
            sample += tone.amplitude * angle.sine();
            angle.advance();
        }
    }
    std::vector<float> samples(frames);
    std::transform(sum.begin(), sum.end(), samples.begin(),
                   [](double sample) { return static_cast<float>(sample); });
    return samples;
}

std::vector<float> noise(std::size_t frames, std::uint32_t seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<float> distribution(-1.0F, 1.0F);
    std::vector<float> samples(frames);
    std::generate(samples.begin(), samples.end(), [&] { return distribution(generator); });
    return samples;
}

std::vector<double> decodePcm(std::span<const std::uint8_t> bytes) {
    std::vector<double> samples(bytes.size() / 2);
    for (std::size_t index = 0; index < samples.size(); ++index) {
        const auto value =
            static_cast<std::int16_t>(bytes[2 * index] | (bytes[2 * index + 1] << 8));
        samples[index] = value / 32768.0;
    }
    return samples;
}

std::complex<double> component(std::span<const double> samples, double frequency, double rate) {
    Rotator angle(2 * pi * frequency / rate);
    double sine = 0;
    double cosine = 0;
    for (const double sample : samples) {
        sine += sample * angle.sine();
        cosine += sample * angle.cosine();
        angle.advance();
    }
    return std::complex(sine, cosine) * (2.0 / static_cast<double>(samples.size()));
}

double measureFrequency(std::span<const double> samples, double nearly, double rate) {
    const auto window =
        std::min(samples.size() / 4, static_cast<std::size_t>(std::llround(rate / 10)));
    // The loudest frequency first: a phase alone is known up to whole turns only, and would take
    // any tone for one that is nearly right.
    const double step = rate / static_cast<double>(4 * window);
    const auto steps = std::lround(nearly / 4 / step);
    double frequency = nearly;
    double loudest = 0;
    for (long number = -steps; number <= steps; ++number) {
        const double candidate = nearly + static_cast<double>(number) * step;
        const double loudness = std::abs(component(samples.first(window), candidate, rate));
        if (loudness > loudest) {
            loudest = loudness;
            frequency = candidate;
        }
    }
    // Then by how far its phase turns over a short distance, and so over ever longer ones.
    const std::size_t longest = samples.size() - window;
    for (std::size_t distance = window;; distance = std::min(2 * distance, longest)) {
        const double first = std::arg(component(samples.first(window), frequency, rate));
        const double last = std::arg(component(samples.subspan(distance, window), frequency, rate));
        const double expected = 2 * pi * frequency / rate * static_cast<double>(distance);
        const double turned = std::remainder(last - first - expected, 2 * pi);
        frequency += turned * rate / (2 * pi * static_cast<double>(distance));
        if (distance == longest) {
            return frequency;
        }
    }
}

double distortionAndNoise(std::span<const double> samples, double frequency, double rate) {
    const double power = std::inner_product(samples.begin(), samples.end(), samples.begin(), 0.0) /
                         static_cast<double>(samples.size());
    const double tonePower = std::norm(component(samples, frequency, rate)) / 2;
    return 10 * std::log10((power - tonePower) / tonePower);
}

double decibels(double amplitudeRatio) {
    return 20 * std::log10(amplitudeRatio);
}

} // namespace tandrel::test
