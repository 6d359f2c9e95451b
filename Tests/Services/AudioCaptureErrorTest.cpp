#include "Services/AudioCaptureError.h"

#include <gmock/gmock.h>

namespace tandrel {
namespace {

using Case = AudioCaptureError::Case;

TEST(AudioCaptureError, TellsTheUserWhatFailed) {
    EXPECT_STREQ(AudioCaptureError(Case::deviceSelectionFailed).what(),
                 "Failed to select audio device");
    EXPECT_STREQ(AudioCaptureError(Case::formatCreationFailed).what(),
                 "Failed to create audio format");
    EXPECT_STREQ(AudioCaptureError(Case::converterCreationFailed).what(),
                 "Failed to create audio converter");
}

TEST(AudioCaptureError, NamesItsCaseForTheLog) {
    EXPECT_STREQ(AudioCaptureError(Case::deviceSelectionFailed).caseName(),
                 "deviceSelectionFailed");
    EXPECT_STREQ(AudioCaptureError(Case::formatCreationFailed).caseName(), "formatCreationFailed");
    EXPECT_STREQ(AudioCaptureError(Case::converterCreationFailed).caseName(),
                 "converterCreationFailed");
}

TEST(AudioCaptureError, EqualityAndHashGoByCase) {
    const AudioCaptureError error(Case::deviceSelectionFailed);
    const std::hash<AudioCaptureError> hash;
    EXPECT_EQ(error, AudioCaptureError(Case::deviceSelectionFailed));
    EXPECT_NE(error, AudioCaptureError(Case::formatCreationFailed));
    EXPECT_EQ(hash(error), hash(AudioCaptureError(Case::deviceSelectionFailed)));
    EXPECT_NE(hash(error), hash(AudioCaptureError(Case::formatCreationFailed)));
}

} // namespace
} // namespace tandrel
