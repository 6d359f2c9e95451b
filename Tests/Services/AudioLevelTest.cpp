#include "Services/AudioLevel.h"

#include "Support/AllocationCounter.h"

#include <gmock/gmock.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace tandrel {
namespace {

TEST(AudioLevel, SilenceIsZero) {
    const AudioLevel measured = measureLevel(std::vector<float>(1024));
    EXPECT_EQ(measured.rms, 0.0F);
    EXPECT_EQ(measured.level, 0.0F);
}

TEST(AudioLevel, AFullScaleSquareWaveIsOne) {
    std::vector<float> samples(1024, 1.0F);
    for (std::size_t index = 0; index < samples.size(); index += 2) {
        samples[index] = -1.0F;
    }
    const AudioLevel measured = measureLevel(samples);
    EXPECT_EQ(measured.rms, 1.0F);
    EXPECT_EQ(measured.level, 1.0F);
}

TEST(AudioLevel, ThreeTimesTheRmsUpToAThird) {
    EXPECT_EQ(measureLevel(std::vector<float>(1024, 0.25F)).level, 0.75F);
    EXPECT_EQ(measureLevel(std::vector<float>(1024, 0.34F)).level, 1.0F);
    EXPECT_EQ(measureLevel(std::vector<float>(1024, 17.0F)).level, 1.0F);
    EXPECT_LT(measureLevel(std::vector<float>(1024, 0.33F)).level, 1.0F);
}

TEST(AudioLevel, NoSamplesAreNoNumberAndAFullBar) {
    const AudioLevel measured = measureLevel({});
    EXPECT_TRUE(std::isnan(measured.rms));
    EXPECT_EQ(measured.level, 1.0F);
}

TEST(AudioLevel, ASampleThatIsNoNumberIsAFullBar) {
    std::vector<float> samples(1024, 0.1F);
    samples[77] = std::numeric_limits<float>::quiet_NaN();
    const AudioLevel measured = measureLevel(samples);
    EXPECT_TRUE(std::isnan(measured.rms));
    EXPECT_EQ(measured.level, 1.0F);
}

TEST(AudioLevel, CountsEverySampleOfAnyLength) {
    for (std::size_t length = 1; length <= 40; ++length) {
        for (std::size_t loud = 0; loud < length; ++loud) {
            std::vector<float> samples(length);
            samples[loud] = 1.0F;
            EXPECT_FLOAT_EQ(measureLevel(samples).rms,
                            std::sqrt(1.0F / static_cast<float>(length)));
        }
    }
}

TEST(AudioLevel, AllocatesNothing) {
    const std::vector<float> samples(1024, 0.5F);
    const test::AllocationCounter allocations;
    const AudioLevel measured = measureLevel(samples);
    EXPECT_EQ(allocations.count(), 0U);
    EXPECT_EQ(measured.rms, 0.5F);
}

TEST(AudioLevel, TextIsTheShortestThatReadsBack) {
    EXPECT_EQ(shortestText(0.0F), "0.0");
    EXPECT_EQ(shortestText(-0.0F), "-0.0");
    EXPECT_EQ(shortestText(1.0F), "1.0");
    EXPECT_EQ(shortestText(0.1F), "0.1");
    EXPECT_EQ(shortestText(0.012345679F), "0.012345679");
    EXPECT_EQ(shortestText(1.0F / 3.0F), "0.33333334");
    EXPECT_EQ(shortestText(0.0001F), "0.0001");
    EXPECT_EQ(shortestText(0.001F), "0.001");
    EXPECT_EQ(shortestText(0.00001F), "1e-05");
    EXPECT_EQ(shortestText(1.25e-30F), "1.25e-30");
    EXPECT_EQ(shortestText(16777216.0F), "16777216.0");
    EXPECT_EQ(shortestText(1e20F), "1e+20");
}

TEST(AudioLevel, TextNamesWhatIsNoNumber) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(shortestText(nan), "nan");
    EXPECT_EQ(shortestText(-nan), "nan");
    EXPECT_EQ(shortestText(std::numeric_limits<float>::infinity()), "inf");
    EXPECT_EQ(shortestText(-std::numeric_limits<float>::infinity()), "-inf");
}

TEST(AudioLevel, TextReadsBackToTheSameValue) {
    std::mt19937 generator(3);
    std::uniform_real_distribution<float> exponent(-40.0F, 20.0F);
    for (int count = 0; count < 20000; ++count) {
        const float value = std::exp2(exponent(generator));
        const std::string text = shortestText(value);
        float read = 0;
        std::from_chars(text.data(), text.data() + text.size(), read);
        ASSERT_EQ(read, value) << text;
        ASSERT_LE(text.size(), 16U) << text;
    }
}

} // namespace
} // namespace tandrel
