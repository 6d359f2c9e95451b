#pragma once

#include "Platform/AudioInput.h"
#include "Services/AudioDevice.h"

#include <vector>

namespace tandrel {

/// The devices that can record, in the platform's order: those with at least one input channel in
/// any stream whose name and unique identifier are known.
[[nodiscard]] std::vector<AudioDevice> inputDevices(const std::vector<InputDeviceFacts>& devices);

} // namespace tandrel
