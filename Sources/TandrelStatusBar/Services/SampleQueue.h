#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace tandrel {

/// Samples that wait to be read, oldest first, in one contiguous piece. Reading moves a head
/// instead of the samples; appending allocates only when more wait than ever before.
class SampleQueue {
public:
    explicit SampleQueue(std::size_t reservedSamples);

    /// Samples that are not finite numbers go in as zero: one of them would otherwise spread over
    /// every output that a filter makes from it.
    void append(std::span<const float> samples);

    [[nodiscard]] std::span<const float> unread() const;
    /// Drops the oldest `count` samples; at most as many as there are.
    void consume(std::size_t count);

private:
    void makeRoom(std::size_t count);

    std::vector<float> samples_;
    std::size_t head_ = 0;
};

} // namespace tandrel
