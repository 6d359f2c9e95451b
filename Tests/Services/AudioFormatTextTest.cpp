#include "Services/AudioFormatText.h"

#include <gmock/gmock.h>

namespace tandrel {
namespace {

TEST(AudioFormatText, TellsRateChannelsSampleTypeAndLayout) {
    EXPECT_EQ(describe({48000, 1, SampleType::float32, true}),
              "48000 Hz, 1 channel, float32, interleaved");
    EXPECT_EQ(describe({44100, 2, SampleType::float32, false}),
              "44100 Hz, 2 channels, float32, non-interleaved");
    EXPECT_EQ(describe({16000, 1, SampleType::int16, true}),
              "16000 Hz, 1 channel, int16, interleaved");
    EXPECT_EQ(describe({11025.5, 0, SampleType::other, true}),
              "11025.5 Hz, 0 channels, other samples, interleaved");
}

TEST(AudioFormatText, WritesRoundRatesOut) {
    EXPECT_EQ(describe({400000, 1, SampleType::float32, true}),
              "400000 Hz, 1 channel, float32, interleaved");
}

} // namespace
} // namespace tandrel
