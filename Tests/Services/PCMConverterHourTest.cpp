#include "Services/PCMConverter.h"
#include "Support/PCMConversion.h"
#include "Support/SignalAnalysis.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <string>
#include <vector>

namespace tandrel::test {
namespace {

/// The buffer length that the engine grants and the simulated time.
struct HourRow {
    double rate;
    std::size_t granted;
};

class PCMConverterHour : public testing::TestWithParam<HourRow> {};

TEST_P(PCMConverterHour, LosesRepeatsAndDelaysNothing) {
#if defined(TANDREL_SANITIZED) || defined(TANDREL_COVERAGE)
    constexpr double seconds = 20;
#else
    constexpr double seconds = 3600;
#endif
    const auto [rate, granted] = GetParam();
    // Noise that repeats every second: once settled, the stream must do so too, bit for bit, and
    // any frame lost, repeated or reordered would break that.
    const auto perSecond = static_cast<std::size_t>(rate);
    auto input = noise(perSecond);
    input.insert(input.end(), input.begin(), input.begin() + std::ptrdiff_t(granted));
    const std::size_t capacity = streamFrameCapacity(static_cast<std::uint32_t>(granted), rate);
    const auto converter = makeConverter(rate);
    std::vector<std::uint8_t> piece(capacity * 2);
    std::vector<std::uint8_t> second(16000 * 2);

    const auto buffers = static_cast<std::size_t>(seconds * rate) / granted;
    std::size_t shortBuffers = 0;
    std::size_t wrongFrames = 0;
    std::size_t out = 0;
    for (std::size_t buffer = 0; buffer < buffers; ++buffer) {
        const std::size_t start = buffer * granted % perSecond;
        const std::size_t frames =
            converter->convert(std::span(input).subspan(start, granted), piece).value();
        shortBuffers += frames == capacity ? 0U : 1U;
        for (std::size_t index = 0; index < frames; ++index, ++out) {
            std::uint8_t* expected = &second[out % 16000 * 2];
            if (out >= 2 * 16000) {
                wrongFrames +=
                    (expected[0] != piece[2 * index] || expected[1] != piece[2 * index + 1]) ? 1U
                                                                                             : 0U;
            } else {
                expected[0] = piece[2 * index];
                expected[1] = piece[2 * index + 1];
            }
        }
    }
    const double lag =
        static_cast<double>(buffers * granted) / rate - static_cast<double>(out) / streamRate;
    printFigure("lag after the simulated time", rate, lag * 1000, "ms");
    printFigure("wrong frames in the simulated time", rate, static_cast<double>(wrongFrames), "");
    EXPECT_EQ(shortBuffers, 0U);
    EXPECT_EQ(wrongFrames, 0U);
    EXPECT_NEAR(lag, 0, 1e-9);
}

INSTANTIATE_TEST_SUITE_P(Rates, PCMConverterHour,
                         testing::Values(HourRow{8000, 1024}, HourRow{16000, 1024},
                                         HourRow{44100, 882}, HourRow{48000, 1023},
                                         HourRow{96000, 1026}),
                         [](const auto& row) {
                             return std::to_string(static_cast<int>(row.param.rate)) + "Hz";
                         });

} // namespace
} // namespace tandrel::test
