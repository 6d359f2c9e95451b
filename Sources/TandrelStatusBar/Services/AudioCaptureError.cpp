#include "Services/AudioCaptureError.h"

namespace tandrel {

namespace {

const char* userText(AudioCaptureError::Case which) {
    switch (which) {
    case AudioCaptureError::Case::deviceSelectionFailed:
        return "Failed to select audio device";
    case AudioCaptureError::Case::formatCreationFailed:
        return "Failed to create audio format";
    case AudioCaptureError::Case::converterCreationFailed:
        return "Failed to create audio converter";
    }
    return "";
}

} // namespace

AudioCaptureError::AudioCaptureError(Case which)
    : std::runtime_error(userText(which))
    , which_(which) {}

const char* AudioCaptureError::caseName() const {
    switch (which_) {
    case Case::deviceSelectionFailed:
        return "deviceSelectionFailed";
    case Case::formatCreationFailed:
        return "formatCreationFailed";
    case Case::converterCreationFailed:
        return "converterCreationFailed";
    }
    return "";
}

} // namespace tandrel
