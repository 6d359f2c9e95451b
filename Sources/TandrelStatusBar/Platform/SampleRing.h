#pragma once

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tandrel {

/// A fixed ring of mono samples between one producer thread and one consumer thread. Both sides are
/// wait-free: no lock, no allocation, no system call. What does not fit is dropped and counted, so
/// that what the consumer gets is always in order.
// The padding is wanted: it keeps the two sides off each other's cache lines.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
class SampleRing {
public:
    /// Holds at least `minimumCapacity` samples.
    explicit SampleRing(std::size_t minimumCapacity)
        : samples_(std::bit_ceil(std::max<std::size_t>(minimumCapacity, 1)))
        , mask_(samples_.size() - 1) {}

    [[nodiscard]] std::size_t capacity() const { return samples_.size(); }

    /// Appends the first channel of `frames` interleaved frames. Producer only.
    void push(const float* interleaved, std::size_t frames, std::size_t channels) noexcept {
        append(frames, [interleaved, channels](std::size_t frame) {
            return interleaved[frame * channels];
        });
    }

    /// Appends `frames` zeros. Producer only.
    void pushSilence(std::size_t frames) noexcept {
        append(frames, [](std::size_t) { return 0.0F; });
    }

    /// Samples that can be appended now without a drop; more later, never fewer. Producer only.
    [[nodiscard]] std::size_t room() const noexcept { return samples_.size() - size(); }

    /// Takes exactly `count` samples, or none when fewer are there. Consumer only.
    bool pop(float* into, std::size_t count) noexcept {
        const std::uint64_t tail = tail_.load(std::memory_order_relaxed);
        if (head_.load(std::memory_order_acquire) - tail < count) {
            return false;
        }
        for (std::size_t index = 0; index < count; ++index) {
            into[index] = samples_[(tail + index) & mask_];
        }
        tail_.store(tail + count, std::memory_order_release);
        return true;
    }

    /// Samples that wait. Either side.
    [[nodiscard]] std::size_t size() const noexcept {
        // The tail first: read the other way round, it could overtake the head.
        const std::uint64_t tail = tail_.load(std::memory_order_acquire);
        return static_cast<std::size_t>(head_.load(std::memory_order_acquire) - tail);
    }

    /// Frames dropped so far because the ring was full. Any thread.
    [[nodiscard]] std::uint64_t dropped() const noexcept {
        return dropped_.load(std::memory_order_relaxed);
    }

private:
    template <typename SampleAt>
    void append(std::size_t frames, SampleAt sampleAt) noexcept {
        const std::uint64_t head = head_.load(std::memory_order_relaxed);
        const std::uint64_t tail = tail_.load(std::memory_order_acquire);
        const std::size_t room = samples_.size() - static_cast<std::size_t>(head - tail);
        const std::size_t accepted = std::min(frames, room);
        for (std::size_t frame = 0; frame < accepted; ++frame) {
            samples_[(head + frame) & mask_] = sampleAt(frame);
        }
        head_.store(head + accepted, std::memory_order_release);
        if (accepted < frames) {
            dropped_.fetch_add(frames - accepted, std::memory_order_relaxed);
        }
    }

    // The two sides write on cache lines of their own.
    static constexpr std::size_t cacheLine = 64;

    std::vector<float> samples_;
    std::size_t mask_;
    // Counts of all samples ever written, dropped and taken.
    alignas(cacheLine) std::atomic<std::uint64_t> head_{0};
    std::atomic<std::uint64_t> dropped_{0};
    alignas(cacheLine) std::atomic<std::uint64_t> tail_{0};
};

static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

} // namespace tandrel
