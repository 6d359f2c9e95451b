#pragma once

#include "Platform/AudioInput.h"

#include <string>

namespace tandrel {

/// What users are told while the microphone is waited for.
[[nodiscard]] std::string waitingText(CaptureFault::Kind kind);
/// What they are told when it was waited for in vain.
[[nodiscard]] std::string stoppedText(CaptureFault::Kind kind);

} // namespace tandrel
