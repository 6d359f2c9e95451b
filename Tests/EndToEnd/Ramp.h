#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tandrel::test {

/// A sound in which no frame equals its neighbours, so that one that is lost, repeated or out of
/// order shows: 1, 2, 3… as 16-bit samples, wrapping around.
[[nodiscard]] std::vector<float> makeRamp(std::size_t frames);

/// What a recording holds of a ramp.
struct RampReport {
    /// Frames of silence before it.
    std::size_t silence = 0;
    /// Frames of it that arrived one after the other, from its beginning.
    std::size_t intact = 0;
    /// What is wrong, for people; empty when the whole ramp arrived and only silence after it.
    std::string fault;
};

/// Looks for a ramp of `frames` frames between silence and silence.
[[nodiscard]] RampReport findRamp(std::span<const std::int16_t> recording, std::size_t frames);

} // namespace tandrel::test
