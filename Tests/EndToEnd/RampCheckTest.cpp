#include "EndToEnd/Ramp.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>

namespace tandrel::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

/// More than once around the range of the samples.
constexpr std::size_t frames = 70000;

/// The ramp as a converter that changes nothing delivers it, in silence.
std::vector<std::int16_t> recording() {
    std::vector<std::int16_t> samples(500);
    for (const float sample : makeRamp(frames)) {
        samples.push_back(static_cast<std::int16_t>(std::lrintf(sample * 32768.0F)));
    }
    samples.resize(samples.size() + 300);
    return samples;
}

TEST(RampCheck, FindsAWholeRamp) {
    const RampReport report = findRamp(recording(), frames);
    EXPECT_EQ(report.silence, 500U);
    EXPECT_EQ(report.intact, frames);
    EXPECT_THAT(report.fault, IsEmpty());
}

TEST(RampCheck, FindsALostFrame) {
    auto samples = recording();
    samples.erase(samples.begin() + 500 + 1000);
    const RampReport report = findRamp(samples, frames);
    EXPECT_EQ(report.intact, 1000U);
    EXPECT_THAT(report.fault, HasSubstr("frame 1000 (expected 1001) and on: 1002 1003"));
}

TEST(RampCheck, FindsALostFirstFrameAndALostLastOne) {
    auto first = recording();
    first.erase(first.begin() + 500);
    EXPECT_EQ(findRamp(first, frames).intact, 0U);
    EXPECT_THAT(findRamp(first, frames).fault, HasSubstr("frame 0"));
    auto last = recording();
    last.erase(last.begin() + 500 + frames - 1);
    EXPECT_EQ(findRamp(last, frames).intact, frames - 1);
    EXPECT_THAT(findRamp(last, frames).fault, HasSubstr("frame 69999"));
}

TEST(RampCheck, FindsARepeatedFrame) {
    auto samples = recording();
    samples.insert(samples.begin() + 500 + 1000, samples[500 + 999]);
    const RampReport report = findRamp(samples, frames);
    EXPECT_EQ(report.intact, 1000U);
    EXPECT_THAT(report.fault, HasSubstr("and on: 1000 1001"));
}

TEST(RampCheck, FindsTwoBuffersInTheWrongOrder) {
    auto samples = recording();
    const auto first = samples.begin() + 500 + 2000;
    std::rotate(first, first + 341, first + 682);
    EXPECT_EQ(findRamp(samples, frames).intact, 2000U);
}

TEST(RampCheck, FindsALossOfExactlyOneTurnOfTheSamples) {
    auto samples = recording();
    samples.erase(samples.begin() + 500 + 1000, samples.begin() + 500 + 1000 + 65536);
    EXPECT_EQ(findRamp(samples, frames).intact, frames - 65536);
}

TEST(RampCheck, FindsSoundAfterTheEnd) {
    auto samples = recording();
    samples.back() = 7;
    EXPECT_THAT(findRamp(samples, frames).fault, HasSubstr("after its end"));
}

TEST(RampCheck, AnEmptyRecordingHoldsNoRamp) {
    EXPECT_EQ(findRamp({}, frames).intact, 0U);
    EXPECT_THAT(findRamp({}, frames).fault, HasSubstr("frame 0"));
}

} // namespace
} // namespace tandrel::test
