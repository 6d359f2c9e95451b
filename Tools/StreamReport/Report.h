#pragma once

#include "MessageRecord.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// How what arrived differs from what was sent.
struct Comparison {
    std::size_t lost = 0;
    std::size_t reordered = 0;
    /// Arrived without having been sent, or more often than it was.
    std::size_t unexpected = 0;
};

/// Compares by payload hash. `reordered` counts the arrivals that do not follow the one before them
/// in the order of sending.
Comparison compare(const std::vector<MessageRecord>& sent,
                   const std::vector<MessageRecord>& arrived);

struct Distribution {
    double median = 0;
    double p95 = 0;
    double maximum = 0;
};

/// Of an unsorted sample, which must not be empty.
Distribution distribution(std::vector<double> values);

/// From hand-over to the socket until arrival, per message, in ms. Both lists hold the same
/// messages in the same order.
std::vector<double> transportDelays(const std::vector<MessageRecord>& sent,
                                    const std::vector<MessageRecord>& arrived);

/// From the moment a sample was in the microphone until the message that carries it arrived, in ms,
/// for samples taken every millisecond.
///
/// `referenceStart`: when sample 0 of the reference was in the microphone. `offsetFrames`: which
/// frame of the reference, at 16 kHz, stands at the start of what arrived. `loopFrames`: the
/// reference's length, for one that is spoken over and over: the round that fits the first arrival
/// best is taken.
std::vector<double> microphoneDelays(const std::vector<MessageRecord>& arrived,
                                     std::int64_t referenceStart, double offsetFrames,
                                     double loopFrames);
