#include "DevBackend/StreamStatistics.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cmath>
#include <cstdio>

namespace devbackend {

namespace {

constexpr double framesPerSecond = 16000.0;
constexpr double fullScale = 32768.0;
constexpr double silenceDbfs = -120.0;
constexpr std::int64_t recentNanoseconds = 150'000'000;

double toDbfs(double amplitude) {
    return amplitude > 0.0 ? std::max(20.0 * std::log10(amplitude), silenceDbfs) : silenceDbfs;
}

double toMilliseconds(std::int64_t nanoseconds) {
    return static_cast<double>(nanoseconds) / 1e6;
}

} // namespace

void StreamStatistics::Loudness::add(const Loudness& other) {
    peak = std::max(peak, other.peak);
    sumOfSquares += other.sumOfSquares;
    samples += other.samples;
}

Level StreamStatistics::Loudness::level() const {
    if (samples == 0) {
        return {};
    }
    return {.peakDbfs = toDbfs(peak),
            .rmsDbfs = toDbfs(std::sqrt(sumOfSquares / static_cast<double>(samples)))};
}

StreamStatistics::Loudness StreamStatistics::measure(std::span<const std::uint8_t> pcm) {
    Loudness loudness;
    for (std::size_t at = 0; at + 1 < pcm.size(); at += 2) {
        const auto sample = static_cast<std::int16_t>(pcm[at] | (pcm[at + 1] << 8));
        const double amplitude = std::abs(sample / fullScale);
        loudness.peak = std::max(loudness.peak, amplitude);
        loudness.sumOfSquares += amplitude * amplitude;
        ++loudness.samples;
    }
    return loudness;
}

void StreamStatistics::addGap(std::int64_t arrivalNanoseconds) {
    if (messages_ == 0) {
        interval_.beginNanoseconds = arrivalNanoseconds;
        return;
    }
    const double gap = toMilliseconds(arrivalNanoseconds - lastArrivalNanoseconds_);
    maxGapMilliseconds_ = std::max(maxGapMilliseconds_, gap);
    interval_.maxGap = std::max(interval_.maxGap, gap);
    interval_.gapSum += gap;
    interval_.gapSumOfSquares += gap * gap;
    ++interval_.gaps;
}

void StreamStatistics::add(std::span<const std::uint8_t> pcm, std::int64_t arrivalNanoseconds) {
    addGap(arrivalNanoseconds);
    lastArrivalNanoseconds_ = arrivalNanoseconds;

    const std::uint64_t frames = pcm.size() / 2;
    minFrames_ = messages_ == 0 ? frames : std::min(minFrames_, frames);
    maxFrames_ = std::max(maxFrames_, frames);
    ++messages_;
    oddMessages_ += pcm.size() % 2;
    frames_ += frames;
    bytes_ += pcm.size();
    interval_.bytes += pcm.size();

    const Loudness loudness = measure(pcm);
    interval_.loudness.add(loudness);
    recent_.push_back({arrivalNanoseconds, loudness});
    while (recent_.front().arrivalNanoseconds < arrivalNanoseconds - recentNanoseconds) {
        recent_.pop_front();
    }
}

double StreamStatistics::meanFrames() const {
    return messages_ == 0 ? 0.0 : static_cast<double>(frames_) / static_cast<double>(messages_);
}

double StreamStatistics::seconds() const {
    return static_cast<double>(frames_) / framesPerSecond;
}

Level StreamStatistics::recentLevel(std::int64_t nowNanoseconds) const {
    Loudness sum;
    for (const Recent& recent : recent_) {
        if (recent.arrivalNanoseconds >= nowNanoseconds - recentNanoseconds) {
            sum.add(recent.loudness);
        }
    }
    return sum.level();
}

std::string StreamStatistics::report(std::int64_t nowNanoseconds) {
    const double elapsed =
        std::max(toMilliseconds(nowNanoseconds - interval_.beginNanoseconds), 1.0);
    const double gaps = std::max<double>(static_cast<double>(interval_.gaps), 1.0);
    const double meanGap = interval_.gapSum / gaps;
    const double variance = interval_.gapSumOfSquares / gaps - meanGap * meanGap;

    std::array<char, 256> line{};
    std::snprintf(line.data(), line.size(),
                  "%.1f s audio, %" PRIu64 " messages, frames/message %" PRIu64 "/%.1f/%" PRIu64
                  ", %.1f kB/s, peak %.1f dBFS, gap %.1f ms (max %.1f, jitter %.1f)",
                  seconds(), messages_, minFrames_, meanFrames(), maxFrames_,
                  static_cast<double>(interval_.bytes) / elapsed,
                  interval_.loudness.level().peakDbfs, meanGap, interval_.maxGap,
                  std::sqrt(std::max(variance, 0.0)));
    interval_ = {};
    interval_.beginNanoseconds = nowNanoseconds;
    return line.data();
}

} // namespace devbackend
