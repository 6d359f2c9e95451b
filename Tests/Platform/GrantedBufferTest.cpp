#include "Platform/GrantedBuffer.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <vector>

namespace tandrel {
namespace {

struct Row {
    std::uint32_t deviceRate;
    std::uint32_t captureRate;
    std::uint32_t bufferFrames;
    std::uint32_t outputFrames;
};

const std::vector<Row> usualRates{
    {8000, 8000, 1024, 2048},   {11025, 11025, 882, 1280}, {12000, 12000, 1023, 1364},
    {16000, 16000, 1024, 1024}, {22050, 22050, 882, 640},  {24000, 24000, 1023, 682},
    {32000, 32000, 1024, 512},  {44100, 44100, 882, 320},  {48000, 48000, 1023, 341},
    {88200, 88200, 882, 160},   {96000, 96000, 1026, 171}, {176400, 176400, 882, 80},
    {192000, 192000, 1020, 85},
};

TEST(GrantedBuffer, IsTheLosslessLengthNearestToTheRequest) {
    for (const Row& row : usualRates) {
        const CaptureGrant grant = grantCapture(row.deviceRate, 1024);
        EXPECT_EQ(grant.sampleRate, row.captureRate) << row.deviceRate;
        EXPECT_EQ(grant.bufferFrames, row.bufferFrames) << row.deviceRate;
        const std::uint64_t scaled = std::uint64_t{grant.bufferFrames} * 16000;
        EXPECT_EQ(scaled % grant.sampleRate, 0U) << row.deviceRate;
        EXPECT_EQ(scaled / grant.sampleRate, row.outputFrames) << row.deviceRate;
    }
}

TEST(GrantedBuffer, OfTwoEquallyNearLengthsIsTheLower) {
    // Multiples of 3: 1022 lies between 1020 and 1023, nearer to 1023. Multiples of 2: 1023 lies
    // in the middle of 1022 and 1024.
    EXPECT_EQ(grantCapture(48000, 1022).bufferFrames, 1023U);
    EXPECT_EQ(grantCapture(32000, 1023).bufferFrames, 1022U);
}

TEST(GrantedBuffer, IsNeverEmpty) {
    EXPECT_EQ(grantCapture(48000, 0).bufferFrames, 3U);
    EXPECT_EQ(grantCapture(44100, 1).bufferFrames, 441U);
}

TEST(GrantedBuffer, LeavesOddRatesToTheServersConversion) {
    // 44056 = 8 x 5507 frames make a whole number of output frames only after 5507.
    for (const std::uint32_t rate : {44056U, 47999U, 2048U * 16000U + 1U, 0U}) {
        EXPECT_EQ(grantCapture(rate, 1024).sampleRate, 48000U) << rate;
        EXPECT_EQ(grantCapture(rate, 1024).bufferFrames, 1023U) << rate;
    }
    // The longest that is still captured as it is: 2047 frames.
    EXPECT_EQ(grantCapture(2047 * 8, 1024).sampleRate, 2047U * 8U);
    EXPECT_EQ(grantCapture(2047 * 8, 1024).bufferFrames, 2047U);
    EXPECT_EQ(grantCapture(2049 * 8, 1024).sampleRate, 48000U);
}

} // namespace
} // namespace tandrel
