#include "Services/PCMConverter.h"

#include "Support/AllocationCounter.h"
#include "Support/PCMConversion.h"
#include "Support/SignalAnalysis.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace tandrel::test {
namespace {

// Creation and capacity

TEST(PCMConverter, RefusesFormatsThatItCannotConvert) {
    EXPECT_EQ(PCMConverter::create({48000, 1, SampleType::int16, true}), nullptr);
    EXPECT_EQ(PCMConverter::create({48000, 1, SampleType::other, true}), nullptr);
    EXPECT_EQ(PCMConverter::create({48000, 0, SampleType::float32, true}), nullptr);
    for (const double rate :
         {0.0, -48000.0, 0.5, 44100.5, 768001.0, 4294967296.0 * 4,
          std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(makeConverter(rate), nullptr) << rate;
    }
    EXPECT_NE(makeConverter(1), nullptr);
    EXPECT_NE(makeConverter(768000), nullptr);
    EXPECT_NE(PCMConverter::create({48000, 2, SampleType::float32, false}), nullptr);
}

TEST(PCMConverter, TheCapacityIsTheTruncatedQuotientOfTheRates) {
    EXPECT_EQ(streamFrameCapacity(1024, 48000), 341U);
    EXPECT_EQ(streamFrameCapacity(1024, 44100), 371U);
    EXPECT_EQ(streamFrameCapacity(882, 44100), 320U);
    EXPECT_EQ(streamFrameCapacity(1026, 96000), 171U);
    EXPECT_EQ(streamFrameCapacity(1024, 8000), 2048U);
    EXPECT_EQ(streamFrameCapacity(2, 48000), 0U);
    EXPECT_EQ(streamFrameCapacity(0, 48000), 0U);
    EXPECT_EQ(streamFrameCapacity(1, -48000), 0U);
    EXPECT_EQ(streamFrameCapacity(4294967295U, 16000), 4294967295U);
}

TEST(PCMConverterDeathTest, ACapacityThatIsNoCountStopsTheProcess) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_DEATH((void)streamFrameCapacity(1024, 0), "not a 32-bit frame count");
    EXPECT_DEATH((void)streamFrameCapacity(0, 0), "not a 32-bit frame count");
    EXPECT_DEATH((void)streamFrameCapacity(1024, nan), "not a 32-bit frame count");
    EXPECT_DEATH((void)streamFrameCapacity(3, -48000), "not a 32-bit frame count");
    EXPECT_DEATH((void)streamFrameCapacity(4294967295U, 15999), "not a 32-bit frame count");
    EXPECT_DEATH((void)streamFrameCapacity(2147483648U, 8000), "not a 32-bit frame count");
}

// Samples

TEST(PCMConverter, PassesEvery16BitValueUnchangedAtTheStreamsOwnRate) {
    std::vector<float> samples;
    std::vector<std::uint8_t> expected;
    for (int value = -32768; value <= 32767; ++value) {
        samples.push_back(static_cast<float>(value) / 32768.0F);
        expected.push_back(static_cast<std::uint8_t>(value & 0xff));
        expected.push_back(static_cast<std::uint8_t>((value >> 8) & 0xff));
    }
    EXPECT_EQ(convertAtOnce(streamRate, samples), expected);
}

TEST(PCMConverter, WritesTheLowByteFirst) {
    const std::vector<float> samples{static_cast<float>(0x1234) / 32768.0F};
    EXPECT_THAT(convertAtOnce(streamRate, samples), testing::ElementsAre(0x34, 0x12));
}

TEST(PCMConverter, RoundsToTheNearestValueWithTiesToEven) {
    const std::vector<float> samples{0.5F / 32768, 1.5F / 32768, 2.5F / 32768, -0.5F / 32768,
                                     0.75F / 32768};
    EXPECT_THAT(convertAtOnce(streamRate, samples),
                testing::ElementsAre(0, 0, 2, 0, 2, 0, 0, 0, 1, 0));
}

TEST(PCMConverter, ClipsWhatIsTooLoud) {
    const std::vector<float> samples{1.0F, 1.5F, 1e30F, -1.0F, -1.5F, -1e30F};
    EXPECT_THAT(
        convertAtOnce(streamRate, samples),
        testing::ElementsAre(0xff, 0x7f, 0xff, 0x7f, 0xff, 0x7f, 0, 0x80, 0, 0x80, 0, 0x80));

    // A wrapped sample would jump over the whole range where the clipped tone is flat.
    const std::vector<Tone> tooLoud{{1000, 2.0}};
    const auto output = decodePcm(convertAtOnce(48000, synthesize(tooLoud, 48000, 48000)));
    for (std::size_t index = 1; index < output.size(); ++index) {
        ASSERT_LT(std::abs(output[index] - output[index - 1]), 1.0) << index;
    }
}

TEST(PCMConverter, WhatIsNotFiniteCountsAsSilence) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    const std::vector<float> samples{nan, -nan, infinity, -infinity};
    EXPECT_THAT(convertAtOnce(streamRate, samples), testing::Each(0));
}

TEST(PCMConverter, ASampleThatIsNoNumberSpoilsAtMost96Frames) {
    for (const double rate : {16000.0, 22050.0, 44100.0, 48000.0, 96000.0}) {
        const std::vector<Tone> tone{{1000, 0.5}};
        auto input = synthesize(tone, rate, static_cast<std::size_t>(rate));
        const auto clean = convertAtOnce(rate, input);
        // A quarter period off the middle, where the tone is at its peak.
        input[input.size() / 2 + static_cast<std::size_t>(rate / 4000)] =
            std::numeric_limits<float>::quiet_NaN();
        const auto spoilt = convertAtOnce(rate, input);
        ASSERT_EQ(spoilt.size(), clean.size());
        int bad = 0;
        for (std::size_t index = 0; index < clean.size(); index += 2) {
            bad += (clean[index] != spoilt[index] || clean[index + 1] != spoilt[index + 1]) ? 1 : 0;
        }
        printFigure("frames changed by one NaN", rate, bad, "");
        EXPECT_GE(bad, 1);
        EXPECT_LE(bad, 96);
    }
}

TEST(PCMConverter, RecoversFromSamplesThatOverflowTheFilter) {
    const std::vector<Tone> tone{{1000, 0.5}};
    auto input = synthesize(tone, 48000, 48000);
    const auto clean = convertAtOnce(48000, input);
    for (std::size_t index = 24000; index < 24300; ++index) {
        input[index] = index % 7 < 3 ? 3e38F : -3e38F;
    }
    const auto output = convertAtOnce(48000, input);
    const std::size_t settled = (8100 + 96 + 1) * 2;
    EXPECT_TRUE(std::equal(output.begin() + settled, output.end(), clean.begin() + settled));
}

// The stream

TEST(PCMConverter, ComesOutTheSameHoweverItIsCut) {
    for (const double rate : {8000.0, 11025.0, 16000.0, 44100.0, 48000.0, 96000.0}) {
        const auto input = noise(static_cast<std::size_t>(rate));
        const auto expected = convertAtOnce(rate, input);

        std::mt19937 generator(7);
        for (const std::size_t longest : {1U, 3U, 160U, 1024U, 5000U}) {
            std::uniform_int_distribution<std::size_t> length(1, longest);
            const auto converter = makeConverter(rate);
            std::vector<std::uint8_t> output;
            std::vector<std::uint8_t> piece;
            for (std::size_t start = 0; start < input.size();) {
                const std::size_t frames = std::min(length(generator), input.size() - start);
                piece.resize(
                    2 * std::size_t{streamFrameCapacity(static_cast<std::uint32_t>(frames), rate)});
                const auto converted =
                    converter->convert(std::span(input).subspan(start, frames), piece);
                ASSERT_TRUE(converted.ok());
                output.insert(output.end(), piece.begin(),
                              piece.begin() + std::ptrdiff_t(converted.value() * 2));
                start += frames;
            }
            // What the capacity held back is not lost: it comes as soon as there is room.
            piece.resize(expected.size() + 2);
            const auto rest = converter->convert({}, piece);
            output.insert(output.end(), piece.begin(),
                          piece.begin() + std::ptrdiff_t(rest.value() * 2));
            EXPECT_TRUE(output == expected) << rate << " Hz, pieces of up to " << longest;
        }
    }
}

TEST(PCMConverter, WritesNoMoreThanTheOutputHolds) {
    for (const double rate : {streamRate, 48000.0}) {
        const auto converter = makeConverter(rate);
        std::vector<std::uint8_t> output(21, 0xaa);
        const auto frames = converter->convert(noise(1024), std::span(output).first(19));
        EXPECT_EQ(frames.value(), 9U);
        EXPECT_THAT(std::vector(output.begin() + 18, output.end()), testing::Each(0xaa));
    }
}

TEST(PCMConverter, YieldsNothingFromNothing) {
    for (const double rate : {16000.0, 48000.0}) {
        const auto converter = makeConverter(rate);
        std::vector<std::uint8_t> output(100);
        EXPECT_EQ(converter->convert({}, output).value(), 0U);
    }
}

TEST(PCMConverter, AllocatesNothingWhileItConverts) {
    struct Row {
        double rate;
        std::size_t granted;
    };
    for (const auto& [rate, granted] : {Row{8000, 1024}, Row{16000, 1024}, Row{44100, 882},
                                        Row{48000, 1023}, Row{96000, 1026}, Row{192000, 1020}}) {
        const auto converter = makeConverter(rate);
        const auto input = noise(granted);
        std::vector<std::uint8_t> output(
            2 * std::size_t{streamFrameCapacity(static_cast<std::uint32_t>(granted), rate)});
        const AllocationCounter allocations;
        for (int buffer = 0; buffer < 200; ++buffer) {
            (void)converter->convert(input, output);
        }
        EXPECT_EQ(allocations.count(), 0U) << rate;
    }
    const AllocationCounter allocations;
    const std::vector<int> counted(100);
    EXPECT_EQ(allocations.count(), 1U);
}

} // namespace
} // namespace tandrel::test
