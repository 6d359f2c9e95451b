#include "SyntheticSpeech.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>

namespace audiocheck::test {

namespace {

constexpr double tau = 2.0 * std::numbers::pi;
constexpr double syllableSeconds = 0.2;
constexpr std::size_t harmonics = 12;

struct Syllable {
    double loudness;
    std::array<double, harmonics> weights;
};

/// What is spoken in the nth fifth of a second.
Syllable syllable(unsigned seed, long number) {
    std::mt19937 random(seed * 7919U + static_cast<unsigned>(number) * 104'729U);
    std::uniform_real_distribution<double> uniform(0.0, 1.0);
    Syllable result{};
    result.loudness = uniform(random) < 0.25 ? 0.0 : 0.03 + 0.1 * uniform(random);
    for (double& weight : result.weights) {
        weight = uniform(random) * uniform(random);
    }
    return result;
}

/// The phase of a pitch that wanders around 120 Hz, in turns.
double pitchPhase(unsigned seed, double second) {
    const double pitch = 110.0 + 7.0 * (seed % 5);
    const double wander = 0.9 + 0.17 * (seed % 7);
    return pitch * second + 14.0 / (tau * wander) * (1.0 - std::cos(tau * wander * second));
}

double voice(unsigned seed, const Syllable& spoken, double second, double within) {
    const double envelope = spoken.loudness * (0.5 - 0.5 * std::cos(tau * within));
    if (envelope == 0.0) {
        return 0.0;
    }
    const double phase = tau * pitchPhase(seed, second);
    double sum = 0.0;
    for (std::size_t index = 0; index < harmonics; ++index) {
        sum += spoken.weights[index] * std::sin(static_cast<double>(index + 1) * phase);
    }
    return envelope * sum;
}

} // namespace

Samples speech(unsigned seed, double seconds, double rate, double fromSecond) {
    Samples samples(static_cast<std::size_t>(seconds * rate));
    long number = -1;
    Syllable spoken{};
    for (std::size_t index = 0; index < samples.size(); ++index) {
        const double second = fromSecond + static_cast<double>(index) / rate;
        const double syllables = second / syllableSeconds;
        if (const long here = std::lround(std::floor(syllables)); here != number) {
            number = here;
            spoken = syllable(seed, number);
        }
        samples[index] =
            static_cast<float>(voice(seed, spoken, second, syllables - std::floor(syllables)));
    }
    return samples;
}

Samples noise(unsigned seed, std::size_t frames, double loudness) {
    std::mt19937 random(seed);
    std::normal_distribution<double> normal(0.0, loudness);
    Samples samples(frames);
    std::generate(samples.begin(), samples.end(),
                  [&] { return static_cast<float>(normal(random)); });
    return samples;
}

void addTone(Samples& samples, double hertz, double amplitude, double rate) {
    for (std::size_t index = 0; index < samples.size(); ++index) {
        samples[index] += static_cast<float>(
            amplitude * std::sin(tau * hertz * static_cast<double>(index) / rate));
    }
}

void quantise(Samples& samples) {
    for (float& sample : samples) {
        sample = std::round(sample * 32768.0F) / 32768.0F;
    }
}

} // namespace audiocheck::test
