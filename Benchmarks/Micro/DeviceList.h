#pragma once

#include "Services/AudioCaptureService.h"
#include "Support/FakeAudioInput.h"
#include "Support/FakeMicrophonePermission.h"
#include "Support/ManualMainQueue.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tandrel::bench {

/// How many microphones there are, to see how cost grows with them.
inline constexpr std::size_t microphoneCounts[] = {1, 10, 100};

/// The list of microphones, on top of a sound system that has some, whose names are as long as such
/// names are.
struct DeviceList {
    test::ManualMainQueue mainQueue;
    test::FakeAudioInput input;
    test::FakeMicrophonePermission permission{mainQueue};
    AudioCaptureService service{input, permission, mainQueue};

    explicit DeviceList(std::size_t count) {
        for (std::size_t index = 0; index < count; ++index) {
            const std::string number = std::to_string(1000 + index);
            input.deviceFacts->push_back(test::FakeAudioInput::microphone(
                static_cast<std::uint32_t>(index), "USB Audio Device " + number + " Analog Stereo",
                "alsa_input.usb-Maker_USB_Audio_Device_" + number + "-00.analog-stereo", 2));
        }
    }

    void refresh() {
        service.refreshDevices();
        // Each is noted there.
        input.clearCalls();
    }
};

} // namespace tandrel::bench
