#include "Report.h"

#include <queue>

#include <algorithm>
#include <cmath>
#include <map>

namespace {

constexpr double framesPerSecond = 16'000;
constexpr double bytesPerFrame = 2;
constexpr std::uint64_t bytesPerMillisecond = 32;
/// A sample may arrive before it counts as spoken: a virtual sink plays a block ahead.
constexpr double mostAhead = 0.1;

} // namespace

Comparison compare(const std::vector<MessageRecord>& sent,
                   const std::vector<MessageRecord>& arrived) {
    // Equal payloads (silence) are told apart by their order.
    std::map<std::uint64_t, std::queue<std::size_t>> places;
    for (std::size_t index = 0; index < sent.size(); ++index) {
        places[sent[index].hash].push(index);
    }
    Comparison result;
    std::size_t matched = 0;
    bool hasPrevious = false;
    std::size_t previous = 0;
    for (const MessageRecord& message : arrived) {
        const auto found = places.find(message.hash);
        if (found == places.end() || found->second.empty()) {
            ++result.unexpected;
            continue;
        }
        const std::size_t place = found->second.front();
        found->second.pop();
        ++matched;
        if (hasPrevious && place < previous) {
            ++result.reordered;
        }
        previous = place;
        hasPrevious = true;
    }
    result.lost = sent.size() - matched;
    return result;
}

Distribution distribution(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const auto at = [&values](double share) {
        return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
    };
    return {at(0.5), at(0.95), values.back()};
}

std::vector<double> transportDelays(const std::vector<MessageRecord>& sent,
                                    const std::vector<MessageRecord>& arrived) {
    std::vector<double> delays;
    for (std::size_t index = 0; index < std::min(sent.size(), arrived.size()); ++index) {
        delays.push_back(static_cast<double>(arrived[index].nanoseconds - sent[index].nanoseconds) /
                         1e6);
    }
    return delays;
}

std::vector<double> microphoneDelays(const std::vector<MessageRecord>& arrived,
                                     std::int64_t referenceStart, double offsetFrames,
                                     double loopFrames) {
    std::vector<double> delays;
    if (arrived.empty()) {
        return delays;
    }
    const auto secondsSinceStart = [referenceStart](const MessageRecord& message) {
        return static_cast<double>(message.nanoseconds - referenceStart) / 1e9;
    };
    // The round of the reference in which the stream began: the last one that lies before the
    // first arrival.
    const double newest = offsetFrames + static_cast<double>(arrived.front().bytes) / bytesPerFrame;
    const double rounds = std::floor(
        ((secondsSinceStart(arrived.front()) + mostAhead) * framesPerSecond - newest) / loopFrames);
    double position = offsetFrames + rounds * loopFrames;
    for (const MessageRecord& message : arrived) {
        const double frames = static_cast<double>(message.bytes) / bytesPerFrame;
        const std::uint64_t milliseconds = message.bytes / bytesPerMillisecond;
        for (std::uint64_t offset = 0; offset < milliseconds; ++offset) {
            const double spoken = position / framesPerSecond + static_cast<double>(offset) / 1000;
            delays.push_back((secondsSinceStart(message) - spoken) * 1000);
        }
        position += frames;
    }
    return delays;
}
