#pragma once

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>
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
        append(frames, [interleaved, channels](float* to, std::size_t first, std::size_t count) {
            const float* from = interleaved + first * channels;
            const auto takeEach = [=](auto stride) {
                for (std::size_t frame = 0; frame < count; ++frame) {
                    to[frame] = from[frame * stride];
                }
            };
            if (channels == 1) {
                std::copy_n(from, count, to);
            } else if (channels == 2) {
                // As many devices have: a stride that the compiler knows is taken several at a
                // time.
                takeEach(std::integral_constant<std::size_t, 2>());
            } else {
                takeEach(channels);
            }
        });
    }

    /// Appends `frames` zeros. Producer only.
    void pushSilence(std::size_t frames) noexcept {
        append(frames, [](float* to, std::size_t /*first*/, std::size_t count) {
            std::fill_n(to, count, 0.0F);
        });
    }

    /// Samples that can be appended now without a drop; more later, never fewer. Producer only.
    [[nodiscard]] std::size_t room() const noexcept { return samples_.size() - size(); }

    /// Takes exactly `count` samples, or none when fewer are there. Consumer only.
    bool pop(float* into, std::size_t count) noexcept {
        const std::uint64_t tail = tail_.load(std::memory_order_relaxed);
        if (head_.load(std::memory_order_acquire) - tail < count) {
            return false;
        }
        const Pieces pieces = piecesOf(tail, count);
        std::copy_n(samples_.data() + pieces.start, pieces.untilEnd, into);
        std::copy_n(samples_.data(), count - pieces.untilEnd, into + pieces.untilEnd);
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
    /// Where `count` samples lie from the `position`th ever on: a part up to the end of the memory,
    /// the rest from its beginning. In two pieces they are copied several at a time.
    struct Pieces {
        std::size_t start;
        std::size_t untilEnd;
    };
    [[nodiscard]] Pieces piecesOf(std::uint64_t position, std::size_t count) const noexcept {
        const auto start = static_cast<std::size_t>(position & mask_);
        return {start, std::min(count, samples_.size() - start)};
    }

    /// `fill` writes `count` frames, from the `first` one of those that are appended on.
    template <typename Fill>
    void append(std::size_t frames, Fill fill) noexcept {
        const std::uint64_t head = head_.load(std::memory_order_relaxed);
        const std::uint64_t tail = tail_.load(std::memory_order_acquire);
        const std::size_t room = samples_.size() - static_cast<std::size_t>(head - tail);
        const std::size_t accepted = std::min(frames, room);
        const Pieces pieces = piecesOf(head, accepted);
        fill(samples_.data() + pieces.start, 0, pieces.untilEnd);
        fill(samples_.data(), pieces.untilEnd, accepted - pieces.untilEnd);
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
