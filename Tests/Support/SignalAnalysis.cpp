#include "Support/SignalAnalysis.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <random>

namespace tandrel::test {

using std::numbers::pi;

std::vector<float> synthesize(std::span<const Tone> tones, double rate, std::size_t frames) {
    std::vector<double> sum(frames);
    for (const Tone& tone : tones) {
        const double step = 2 * pi * tone.frequency / rate;
        for (std::size_t index = 0; index < frames; ++index) {
            sum[index] += tone.amplitude * std::sin(step * static_cast<double>(index));
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
    const double step = 2 * pi * frequency / rate;
    double sine = 0;
    double cosine = 0;
    for (std::size_t index = 0; index < samples.size(); ++index) {
        const double angle = step * static_cast<double>(index);
        sine += samples[index] * std::sin(angle);
        cosine += samples[index] * std::cos(angle);
    }
    return std::complex(sine, cosine) * (2.0 / static_cast<double>(samples.size()));
}

double measureFrequency(std::span<const double> samples, double nearly, double rate) {
    const std::size_t quarter = samples.size() / 4;
    const std::size_t distance = samples.size() - quarter;
    const double first = std::arg(component(samples.first(quarter), nearly, rate));
    const double last = std::arg(component(samples.last(quarter), nearly, rate));
    const double expected = 2 * pi * nearly / rate * static_cast<double>(distance);
    const double turned = std::remainder(last - first - expected, 2 * pi);
    return nearly + turned * rate / (2 * pi * static_cast<double>(distance));
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
