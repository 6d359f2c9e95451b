#pragma once

#include <pulse/sample.h>

#include <cstddef>
#include <cstdint>

namespace tandrel::pulse {

/// What to ask of a server that is to deliver `frames` at a time: bytes, of the least whole frames
/// that are not fewer once the server has counted them. PulseAudio reckons in whole microseconds
/// and rounds down, so that of 1023 frames at 48 kHz 1022 would come: each buffer would wait for
/// the next portion's first frame.
[[nodiscard]] inline std::uint32_t fragmentBytes(const pa_sample_spec& spec, std::uint32_t frames) {
    const std::size_t frameBytes = pa_frame_size(&spec);
    const std::size_t wanted = frames * frameBytes;
    std::size_t asked = wanted;
    while (pa_usec_to_bytes(pa_bytes_to_usec(asked, &spec), &spec) < wanted) {
        asked += frameBytes;
    }
    return static_cast<std::uint32_t>(asked);
}

} // namespace tandrel::pulse
