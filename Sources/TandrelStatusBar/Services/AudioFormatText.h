#pragma once

#include "Platform/AudioInput.h"

#include <string>

namespace tandrel {

/// A format in words, for the log: "48000 Hz, 1 channel, float32, interleaved".
[[nodiscard]] std::string describe(const AudioFormat& format);

} // namespace tandrel
