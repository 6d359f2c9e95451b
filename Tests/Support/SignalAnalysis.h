#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tandrel::test {

/// One sine; add several by listing them.
struct Tone {
    double frequency = 0;
    double amplitude = 0;
};

/// `frames` samples of the tones' sum at `rate`, all starting at phase 0.
[[nodiscard]] std::vector<float> synthesize(std::span<const Tone> tones, double rate,
                                            std::size_t frames);

/// Deterministic white noise in -1...1.
[[nodiscard]] std::vector<float> noise(std::size_t frames, std::uint32_t seed = 1);

/// Samples of signed 16-bit little-endian PCM, full scale 1.
[[nodiscard]] std::vector<double> decodePcm(std::span<const std::uint8_t> bytes);

/// The component of `samples` at one frequency: its absolute value is the amplitude, its argument
/// the phase against a sine that starts with the first sample. Exact when the frequency, and every
/// other one present, makes a whole number of periods in the samples.
[[nodiscard]] std::complex<double> component(std::span<const double> samples, double frequency,
                                             double rate);

/// The frequency in Hz of the loudest tone within a quarter of `nearly`, as long as it lasts all
/// the time.
[[nodiscard]] double measureFrequency(std::span<const double> samples, double nearly, double rate);

/// Power of all but the tone at `frequency` over the tone's power, in dB: THD+N.
[[nodiscard]] double distortionAndNoise(std::span<const double> samples, double frequency,
                                        double rate);

[[nodiscard]] double decibels(double amplitudeRatio);

} // namespace tandrel::test
