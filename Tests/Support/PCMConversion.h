#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace tandrel {
class PCMConverter;
}

namespace tandrel::test {

/// Frames per second of the stream.
inline constexpr double streamRate = 16000;

/// From mono float samples at `rate`; null when there is none.
[[nodiscard]] std::unique_ptr<PCMConverter> makeConverter(double rate);

/// All the bytes that come out of `samples` when they have all the room they want.
[[nodiscard]] std::vector<std::uint8_t> convertAtOnce(double rate, std::span<const float> samples);

/// Prints a measured figure, so that a log shows how far it is from its limit.
void printFigure(const char* name, double rate, double value, const char* unit);

} // namespace tandrel::test
