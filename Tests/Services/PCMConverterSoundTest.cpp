#include "Services/PCMConverter.h"
#include "Support/PCMConversion.h"
#include "Support/SignalAnalysis.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <numbers>
#include <string>
#include <vector>

namespace tandrel::test {
namespace {

/// A quarter of a second of the stream, once the filter has settled. Tones whose frequency is a
/// multiple of 4 Hz make a whole number of periods in it, before and after folding.
constexpr std::size_t settledFrames = 1600;
constexpr std::size_t measuredFrames = 4000;

std::vector<double> settledStream(double rate, std::initializer_list<Tone> tones) {
    const auto input = synthesize(tones, rate, static_cast<std::size_t>(rate * 0.36));
    const auto output = decodePcm(convertAtOnce(rate, input));
    const auto start = output.begin() + settledFrames;
    return {start, start + measuredFrames};
}

double gain(double rate, double frequency) {
    const auto output = settledStream(rate, {{frequency, 0.5}});
    return decibels(std::abs(component(output, frequency, streamRate)) / 0.5);
}

TEST(PCMConverterSound, AOneKilohertzToneArrivesAtOneKilohertz) {
    for (const double rate : {8000.0, 16000.0, 22050.0, 44100.0, 48000.0, 96000.0}) {
        const auto output = settledStream(rate, {{1000, 0.5}});
        const double frequency = measureFrequency(output, 1000, streamRate);
        printFigure("1 kHz tone", rate, frequency, "Hz");
        EXPECT_NEAR(frequency, 1000.0, 0.5);
    }
}

TEST(PCMConverterSound, AddsLittleDelay) {
    struct Row {
        double rate;
        double limit;
    };
    for (const auto& [rate, limit] :
         {Row{8000, 6.5}, Row{16000, 0}, Row{22050, 3.2}, Row{24000, 3.2}, Row{32000, 3.2},
          Row{44100, 3.2}, Row{48000, 3.2}, Row{88200, 3.2}, Row{96000, 3.2}, Row{192000, 3.2}}) {
        // The settled stream starts after 100 ms, a whole number of periods, so that its phase is
        // the delay's alone; at 100 Hz a period is 10 ms, more than any delay to be found.
        const auto output = settledStream(rate, {{100, 0.5}});
        const double phase = std::arg(component(output, 100, streamRate));
        const double period = 10;
        double delay = -phase / (2 * std::numbers::pi) * period;
        delay += delay < -1 ? period : 0;
        printFigure("added delay", rate, delay, "ms");
        EXPECT_LE(delay, limit + 1e-3);
        EXPECT_GE(delay, -1e-3);
    }
}

TEST(PCMConverterSound, IsFlatFrom100HzTo7Kilohertz) {
    for (const double rate : {16000.0, 22050.0, 32000.0, 44100.0, 48000.0, 96000.0}) {
        double lowest = 0;
        double highest = -100;
        for (double frequency = 100; frequency <= 7000; frequency += 148) {
            const double level = gain(rate, frequency);
            lowest = std::min(lowest, level);
            highest = std::max(highest, level);
        }
        printFigure("ripple 100 Hz - 7 kHz", rate, highest - lowest, "dB");
        EXPECT_LE(highest - lowest, 0.01);
        EXPECT_NEAR(highest, 0, 0.01);
    }
}

TEST(PCMConverterSound, KeepsHalfThePowerUpTo7400Hertz) {
    for (const double rate : {22050.0, 32000.0, 44100.0, 48000.0, 96000.0}) {
        double cutoff = 7300;
        while (cutoff < 7900 && gain(rate, cutoff + 4) >= -3.0103) {
            cutoff += 4;
        }
        printFigure("-3 dB point", rate, cutoff, "Hz");
        EXPECT_GE(cutoff, 7400);
    }
}

/// The level of what is heard of a tone that the stream cannot carry, in dB.
double aliasLevel(double rate, double frequency) {
    // The tone beside it keeps the 16-bit output busy: an alias alone would be below half a step,
    // and rounded away.
    const auto output = settledStream(rate, {{996, 0.5}, {frequency, 0.45}});
    const double alias = std::abs(frequency - streamRate * std::round(frequency / streamRate));
    return decibels(std::abs(component(output, alias, streamRate)) / 0.45);
}

TEST(PCMConverterSound, KeepsAliasesOut) {
    struct Band {
        double from;
        double to;
        double limit;
    };
    for (const double rate : {22050.0, 32000.0, 44100.0, 48000.0, 96000.0}) {
        // The filter is still falling at the stream's Nyquist frequency of 8 kHz: what is just
        // above comes out just below, in the highest 50 Hz that the stream has.
        for (const auto& [from, to, limit] :
             {Band{8004, 8052, -60}, Band{8052, 8800, -93}, Band{8800, rate / 2, -100}}) {
            double highest = -300;
            const double step = from < 8052 ? 12 : from < 8800 ? 44 : 148;
            for (double frequency = from; frequency < to; frequency += step) {
                highest = std::max(highest, aliasLevel(rate, frequency));
            }
            const std::string name = "highest alias from " + std::to_string(int(from)) + " Hz";
            printFigure(name.c_str(), rate, highest, "dB");
            EXPECT_LE(highest, limit) << name << " at " << rate;
        }
    }
}

TEST(PCMConverterSound, AddsLittleDistortionAndNoise) {
    for (const double rate : {8000.0, 16000.0, 22050.0, 44100.0, 48000.0, 96000.0}) {
        const double level =
            distortionAndNoise(settledStream(rate, {{996, 0.999}}), 996, streamRate);
        printFigure("THD+N", rate, level, "dB");
        EXPECT_LE(level, -96.5);
    }
}

} // namespace
} // namespace tandrel::test
