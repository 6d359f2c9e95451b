#pragma once

#include "Doctor/Finding.h"
#include "Foundation/Result.h"
#include "Platform/MicrophonePermission.h"
#include "Platform/PulseAudio/InputSurvey.h"

#include <string>

namespace tandrel::doctor {

/// Whether the desktop lets the program record.
[[nodiscard]] Finding permissionFinding(AuthorizationStatus status);

/// The sound server, the microphones as a whole, and each of them. `wasListening` tells whether
/// they were listened to.
[[nodiscard]] Findings soundFindings(const Result<InputSurvey, std::string>& survey,
                                     bool wasListening);

/// Relative to full scale, with one decimal: "-42.1 dBFS". Not for silence.
[[nodiscard]] std::string decibelText(float amplitude);

} // namespace tandrel::doctor
