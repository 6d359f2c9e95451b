#pragma once

#include "StreamReport/MessageRecord.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tandrel::test {

/// Something that was done to a stream, and what it may cost while it lasts.
struct Disturbance {
    std::string name;
    /// Whether sound may be missing: the microphone itself was away.
    bool costsSound = false;
    /// Whether the connection may be lost, and with it what had not arrived.
    bool costsConnection = false;
    /// CLOCK_MONOTONIC in nanoseconds: from its begin until sound arrived again.
    std::int64_t begin = 0;
    std::int64_t end = 0;
};

/// Frames of a counted sound that are missing: from `expected` on, until `found`.
struct Gap {
    std::uint64_t expected = 0;
    std::uint64_t found = 0;
};

/// What became of a long stream.
struct LongStreamVerdict {
    std::size_t messagesSent = 0;
    std::size_t messagesArrived = 0;
    /// Connections that carried sound.
    std::size_t connections = 0;
    /// Frames of the counted sound that arrived.
    std::uint64_t frames = 0;
    /// Frames of silence in place of a sound that came late.
    std::uint64_t silence = 0;
    /// Places where sound is missing.
    std::uint64_t gaps = 0;
    /// Those for which nothing accounts but that the witness missed the same sound.
    std::uint64_t serversGaps = 0;
    /// What should not be, for people; only the first ones.
    std::vector<std::string> faults;
};

/// Judges a stream of counted sound by what the program handed to its socket, what arrived, and the
/// 16-bit samples that arrived.
///
/// Each connection must have delivered, in order and once, what was handed to it from its first
/// message on; all of it, unless it was lost in a disturbance that may cost it. Sound may be
/// missing only where a disturbance costs it, or between two connections; between those just as
/// much as their distance in time. Nothing may come twice or late.
[[nodiscard]] LongStreamVerdict judgeLongStream(const std::vector<MessageRecord>& sent,
                                                const std::vector<MessageRecord>& arrived,
                                                std::span<const std::int16_t> samples,
                                                const std::vector<Disturbance>& disturbances,
                                                const std::vector<Gap>& witnessed = {});

/// The growth of `values`, taken at `hours`, by least squares: so much an hour.
[[nodiscard]] double growthPerHour(std::span<const double> hours, std::span<const double> values);

} // namespace tandrel::test
