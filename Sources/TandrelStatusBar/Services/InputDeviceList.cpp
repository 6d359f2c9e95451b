#include "Services/InputDeviceList.h"

#include <algorithm>

namespace tandrel {

namespace {

bool canRecord(const InputDeviceFacts& device) {
    return device.inputStreamChannels &&
           std::any_of(device.inputStreamChannels->begin(), device.inputStreamChannels->end(),
                       [](std::uint32_t channels) { return channels > 0; });
}

} // namespace

std::vector<AudioDevice> inputDevices(const std::vector<InputDeviceFacts>& devices) {
    std::vector<AudioDevice> inputs;
    for (const InputDeviceFacts& device : devices) {
        if (canRecord(device) && device.name && device.uid) {
            inputs.push_back({device.id, *device.name, *device.uid});
        }
    }
    return inputs;
}

} // namespace tandrel
