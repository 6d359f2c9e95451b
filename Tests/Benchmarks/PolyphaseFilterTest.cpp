#include "Signal/PolyphaseFilter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <numeric>
#include <span>
#include <vector>

namespace {

constexpr std::size_t outputRate = 16000;

class PolyphaseFilterAt : public testing::TestWithParam<std::size_t> {
protected:
    /// A second of a sine at full scale, resampled in pieces of `piece` frames.
    [[nodiscard]] static std::vector<float> resampled(double frequency, std::size_t piece) {
        const std::size_t rate = GetParam();
        std::vector<float> input(rate);
        for (std::size_t index = 0; index < input.size(); ++index) {
            input[index] = static_cast<float>(std::sin(2 * std::numbers::pi * frequency *
                                                       static_cast<double>(index) / double(rate)));
        }
        PolyphaseFilter filter(rate, outputRate);
        std::vector<float> output(outputRate + 1);
        std::size_t written = 0;
        for (std::size_t start = 0; start < rate; start += piece) {
            written +=
                filter.process(std::span(input).subspan(start, std::min(piece, rate - start)),
                               std::span(output).subspan(written));
        }
        output.resize(written);
        return output;
    }

    /// Of a sine; past the filter's start.
    [[nodiscard]] static double amplitude(const std::vector<float>& sound) {
        const auto settled = std::span(sound).subspan(outputRate / 10);
        const double squares =
            std::inner_product(settled.begin(), settled.end(), settled.begin(), 0.0);
        return std::sqrt(2 * squares / static_cast<double>(settled.size()));
    }
};

TEST_P(PolyphaseFilterAt, GivesAFrameForEachSixteenthOfAMillisecond) {
    EXPECT_EQ(resampled(1000, 1021).size(), outputRate);
}

TEST_P(PolyphaseFilterAt, PassesWhatBothRatesCanHold) {
    EXPECT_NEAR(amplitude(resampled(1000, 1021)), 1.0, 0.001);
    EXPECT_NEAR(amplitude(resampled(3400, 1021)), 1.0, 0.001);
}

class PolyphaseFilterFromAbove : public PolyphaseFilterAt {};

TEST_P(PolyphaseFilterFromAbove, LeavesNoTraceOfWhatTheOutputCannotHold) {
    EXPECT_LT(amplitude(resampled(9000, 1021)), 3e-5);
}

TEST_P(PolyphaseFilterAt, GivesTheSameHoweverItsInputIsCut) {
    EXPECT_EQ(resampled(1000, 1021), resampled(1000, 7));
}

INSTANTIATE_TEST_SUITE_P(EachRate, PolyphaseFilterAt,
                         testing::Values(8000U, 44100U, 48000U, 96000U, 192000U));
INSTANTIATE_TEST_SUITE_P(EachRate, PolyphaseFilterFromAbove,
                         testing::Values(44100U, 48000U, 96000U, 192000U));

} // namespace
