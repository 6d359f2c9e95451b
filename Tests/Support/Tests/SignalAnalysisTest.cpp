#include "Support/SignalAnalysis.h"

#include <gmock/gmock.h>

#include <vector>

namespace tandrel::test {
namespace {

std::vector<double> tones(std::initializer_list<Tone> list) {
    const auto samples = synthesize(std::vector<Tone>(list), 16000, 16000);
    return {samples.begin(), samples.end()};
}

TEST(SignalAnalysis, FindsAToneBesideAnother) {
    const auto samples = tones({{1000, 0.5}, {3001, 0.001}});
    EXPECT_NEAR(std::abs(component(samples, 3001, 16000)), 0.001, 1e-8);
    EXPECT_NEAR(std::abs(component(samples, 3002, 16000)), 0, 1e-8);
}

TEST(SignalAnalysis, MeasuresAFrequencyThatIsALittleOff) {
    EXPECT_NEAR(measureFrequency(tones({{1000.4, 0.5}}), 1000, 16000), 1000.4, 0.01);
}

TEST(SignalAnalysis, MeasuresAFrequencyThatIsFarOff) {
    // Of 48 kHz, taken for 44.1 kHz.
    EXPECT_NEAR(measureFrequency(tones({{918.75, 0.5}}), 1000, 16000), 918.75, 0.01);
    EXPECT_NEAR(measureFrequency(tones({{1088.4, 0.5}, {3000, 0.1}}), 1000, 16000), 1088.4, 0.01);
}

TEST(SignalAnalysis, MeasuresDistortion) {
    EXPECT_NEAR(distortionAndNoise(tones({{1000, 1}, {2000, 0.001}}), 1000, 16000), -60, 0.01);
}

TEST(SignalAnalysis, DecodesLittleEndianSamples) {
    const std::vector<std::uint8_t> bytes{0x00, 0x40, 0x00, 0x80, 0xff, 0xff};
    EXPECT_THAT(decodePcm(bytes), testing::ElementsAre(0.5, -1.0, -1.0 / 32768));
}

} // namespace
} // namespace tandrel::test
