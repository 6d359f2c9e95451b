#include "DevBackend/StreamStatistics.h"

#include <gmock/gmock.h>

#include <vector>

namespace devbackend {
namespace {

using testing::DoubleNear;
using testing::HasSubstr;

constexpr std::int64_t millisecond = 1'000'000;

/// `frames` frames of a square wave of that amplitude.
std::vector<std::uint8_t> square(std::size_t frames, std::int16_t amplitude) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t frame = 0; frame < frames; ++frame) {
        const int sample = frame % 2 == 0 ? amplitude : -amplitude;
        bytes.push_back(static_cast<std::uint8_t>(sample & 0xff));
        bytes.push_back(static_cast<std::uint8_t>((sample >> 8) & 0xff));
    }
    return bytes;
}

TEST(StreamStatistics, CountsMessagesAndFrames) {
    StreamStatistics statistics;
    statistics.add(square(341, 100), 0);
    statistics.add(square(320, 100), 20 * millisecond);
    statistics.add(square(350, 100), 45 * millisecond);
    EXPECT_EQ(statistics.messages(), 3U);
    EXPECT_EQ(statistics.frames(), 1011U);
    EXPECT_EQ(statistics.bytes(), 2022U);
    EXPECT_EQ(statistics.minFrames(), 320U);
    EXPECT_EQ(statistics.maxFrames(), 350U);
    EXPECT_THAT(statistics.meanFrames(), DoubleNear(337.0, 1e-9));
    EXPECT_THAT(statistics.seconds(), DoubleNear(1011.0 / 16000.0, 1e-12));
    EXPECT_THAT(statistics.maxGapMilliseconds(), DoubleNear(25.0, 1e-9));
}

TEST(StreamStatistics, CountsMessagesThatHoldHalfAFrame) {
    StreamStatistics statistics;
    statistics.add(std::vector<std::uint8_t>(5), 0);
    EXPECT_EQ(statistics.oddMessages(), 1U);
    EXPECT_EQ(statistics.frames(), 2U);
}

TEST(StreamStatistics, MeasuresTheLevelOfTheLastMoments) {
    StreamStatistics statistics;
    statistics.add(square(320, 16384), 0);
    EXPECT_THAT(statistics.recentLevel(0).peakDbfs, DoubleNear(-6.02, 0.01));
    EXPECT_THAT(statistics.recentLevel(0).rmsDbfs, DoubleNear(-6.02, 0.01));
    statistics.add(square(320, 328), 400 * millisecond);
    EXPECT_THAT(statistics.recentLevel(400 * millisecond).peakDbfs, DoubleNear(-40.0, 0.05));
    EXPECT_EQ(statistics.recentLevel(600 * millisecond).peakDbfs, -120.0) << "nothing came lately";
}

TEST(StreamStatistics, CallsZerosSilence) {
    StreamStatistics statistics;
    statistics.add(square(320, 0), 0);
    EXPECT_EQ(statistics.recentLevel(0).peakDbfs, -120.0);
    EXPECT_EQ(statistics.recentLevel(0).rmsDbfs, -120.0);
}

TEST(StreamStatistics, ReportsEachIntervalByItself) {
    StreamStatistics statistics;
    for (std::int64_t message = 0; message < 50; ++message) {
        statistics.add(square(320, 16384), message * 20 * millisecond);
    }
    EXPECT_EQ(statistics.report(1000 * millisecond),
              "1.0 s audio, 50 messages, frames/message 320/320.0/320, 32.0 kB/s, "
              "peak -6.0 dBFS, gap 20.0 ms (max 20.0, jitter 0.0)");
    statistics.add(square(320, 328), 1020 * millisecond);
    statistics.add(square(320, 328), 1080 * millisecond);
    EXPECT_THAT(statistics.report(2000 * millisecond),
                HasSubstr("52 messages, frames/message 320/320.0/320, 1.3 kB/s, peak -40.0 dBFS, "
                          "gap 50.0 ms (max 60.0, jitter 10.0)"));
}

} // namespace
} // namespace devbackend
