#include "EndToEnd/Ramp.h"

#include <algorithm>
#include <sstream>

namespace tandrel::test {

namespace {

std::int16_t rampSample(std::size_t frame) {
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(frame + 1));
}

/// The expected frames at `frame`, and what stands in their place.
std::string describeBreak(std::span<const std::int16_t> received, std::size_t frame) {
    constexpr std::size_t shown = 8;
    std::ostringstream text;
    text << "frame " << frame << " (expected " << rampSample(frame) << ") and on:";
    for (std::size_t index = frame; index < std::min(frame + shown, received.size()); ++index) {
        text << ' ' << received[index];
    }
    return text.str();
}

} // namespace

std::vector<float> makeRamp(std::size_t frames) {
    std::vector<float> samples(frames);
    for (std::size_t frame = 0; frame < frames; ++frame) {
        samples[frame] = static_cast<float>(rampSample(frame)) / 32768.0F;
    }
    return samples;
}

RampReport findRamp(std::span<const std::int16_t> recording, std::size_t frames) {
    const auto isSound = [](std::int16_t sample) { return sample != 0; };
    RampReport report;
    const auto begin = std::find_if(recording.begin(), recording.end(), isSound);
    report.silence = static_cast<std::size_t>(begin - recording.begin());
    const auto received = recording.subspan(report.silence);
    while (report.intact < std::min(frames, received.size()) &&
           received[report.intact] == rampSample(report.intact)) {
        ++report.intact;
    }
    if (report.intact < frames) {
        report.fault = describeBreak(received, report.intact);
        return report;
    }
    const auto rest = received.subspan(frames);
    const auto extra = std::find_if(rest.begin(), rest.end(), isSound);
    if (extra != rest.end()) {
        report.fault = "after its end: " +
                       describeBreak(received, static_cast<std::size_t>(extra - received.begin()));
    }
    return report;
}

} // namespace tandrel::test
