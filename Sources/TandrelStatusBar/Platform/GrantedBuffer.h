#pragma once

#include <cstdint>
#include <numeric>

namespace tandrel {

/// What an engine captures when asked for buffers of a certain length.
struct CaptureGrant {
    /// Frames per second to open the device's stream with.
    std::uint32_t sampleRate = 0;
    /// Frames of each buffer handed to the tap.
    std::uint32_t bufferFrames = 0;
};

/// The grant for a device that runs at `deviceRate` (frames per second; 0, not known, counts as
/// 48 kHz).
///
/// A buffer of n frames becomes at most floor(n x 16000 / rate) output frames, so a length that
/// does not divide evenly loses a fraction each time, which piles up inside the resampler: with
/// 1024 frames at 48 kHz 3.5 s of lag in an hour. Only the multiples of rate / gcd(rate, 16000)
/// leave nothing over; granted is the one nearest to the request, of two the lower. A rate whose
/// smallest multiple is far above the request is left to the sound server, which delivers 48 kHz
/// instead.
[[nodiscard]] constexpr CaptureGrant grantCapture(std::uint32_t deviceRate,
                                                  std::uint32_t requestedFrames) {
    constexpr std::uint32_t outputRate = 16000;
    constexpr std::uint32_t fallbackRate = 48000;
    constexpr std::uint32_t longestPeriod = 2047;

    std::uint32_t rate = deviceRate;
    std::uint32_t period = rate / std::gcd(rate, outputRate);
    if (period == 0 || period > longestPeriod) {
        rate = fallbackRate;
        period = rate / std::gcd(rate, outputRate);
    }
    const std::uint32_t below = requestedFrames / period * period;
    const std::uint32_t above = below + period;
    const bool belowIsNearer = requestedFrames - below <= above - requestedFrames;
    return {rate, belowIsNearer && below > 0 ? below : above};
}

} // namespace tandrel
