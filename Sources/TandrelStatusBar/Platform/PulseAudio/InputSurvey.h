#pragma once

#include "Foundation/Result.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tandrel {

/// How loud an input was, relative to full scale (1 is 0 dBFS), linear.
struct InputLoudness {
    float rms = 0;
    float peak = 0;
};

/// One input device and what could be heard from it.
struct SurveyedInput {
    std::string name;
    std::string uid;
    std::uint32_t sampleRate = 0;
    std::uint32_t channels = 0;
    bool isDefault = false;
    /// Muted at the device, or this program's recording in the mixer.
    bool isMuted = false;
    /// Missing when it was not listened to, or no sound came.
    std::optional<InputLoudness> loudness;
    /// Why no sound came, for people; empty when it did, or was not asked for.
    std::string problem;
};

struct InputSurvey {
    /// As the server calls itself: "pulseaudio", "PulseAudio (on PipeWire 0.3.65)".
    std::string serverName;
    std::string serverVersion;
    std::vector<SurveyedInput> inputs;
};

/// Asks the user's sound server about itself and its input devices and, with `listening` above
/// zero, listens to all of them at once for that long, or to the first 16. What is heard is
/// measured and forgotten. The error is for people. Blocks: 4 s and the time of listening at the
/// most; not on the main thread. Writes nothing to the debug log.
[[nodiscard]] Result<InputSurvey, std::string> surveyInputs(std::chrono::milliseconds listening);

} // namespace tandrel
