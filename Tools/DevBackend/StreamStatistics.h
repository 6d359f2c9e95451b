#pragma once

#include <cstdint>
#include <deque>
#include <span>
#include <string>

namespace devbackend {

/// How loud a stretch of audio is, relative to full scale; -120 stands for silence.
struct Level {
    double peakDbfs = -120.0;
    double rmsDbfs = -120.0;
};

/// Counts what a stream delivers: in all, since the last report, and over the last moments.
class StreamStatistics {
public:
    /// One message of 16-bit little-endian mono frames that arrived at `arrivalNanoseconds`.
    void add(std::span<const std::uint8_t> pcm, std::int64_t arrivalNanoseconds);

    [[nodiscard]] std::uint64_t messages() const { return messages_; }
    [[nodiscard]] std::uint64_t bytes() const { return bytes_; }
    [[nodiscard]] std::uint64_t frames() const { return frames_; }
    /// Messages that did not hold whole frames.
    [[nodiscard]] std::uint64_t oddMessages() const { return oddMessages_; }
    [[nodiscard]] std::uint64_t minFrames() const { return minFrames_; }
    [[nodiscard]] std::uint64_t maxFrames() const { return maxFrames_; }
    [[nodiscard]] double meanFrames() const;
    [[nodiscard]] double seconds() const;
    /// The longest time between two messages, ms.
    [[nodiscard]] double maxGapMilliseconds() const { return maxGapMilliseconds_; }
    /// The level over the last 150 ms before `now`.
    [[nodiscard]] Level recentLevel(std::int64_t nowNanoseconds) const;

    /// One line about the time since the last call (or the start), for people to read.
    [[nodiscard]] std::string report(std::int64_t nowNanoseconds);

private:
    /// Sums over a stretch of samples.
    struct Loudness {
        double peak = 0.0;
        double sumOfSquares = 0.0;
        std::uint64_t samples = 0;

        void add(const Loudness& other);
        [[nodiscard]] Level level() const;
    };
    struct Recent {
        std::int64_t arrivalNanoseconds;
        Loudness loudness;
    };
    /// What a report covers.
    struct Interval {
        std::int64_t beginNanoseconds = 0;
        std::uint64_t bytes = 0;
        Loudness loudness;
        std::uint64_t gaps = 0;
        double gapSum = 0.0;
        double gapSumOfSquares = 0.0;
        double maxGap = 0.0;
    };

    static Loudness measure(std::span<const std::uint8_t> pcm);
    void addGap(std::int64_t arrivalNanoseconds);

    std::uint64_t messages_ = 0;
    std::uint64_t bytes_ = 0;
    std::uint64_t frames_ = 0;
    std::uint64_t oddMessages_ = 0;
    std::uint64_t minFrames_ = 0;
    std::uint64_t maxFrames_ = 0;
    double maxGapMilliseconds_ = 0.0;
    std::int64_t lastArrivalNanoseconds_ = 0;
    std::deque<Recent> recent_;
    Interval interval_;
};

} // namespace devbackend
