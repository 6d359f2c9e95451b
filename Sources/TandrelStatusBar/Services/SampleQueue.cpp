#include "Services/SampleQueue.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace tandrel {

SampleQueue::SampleQueue(std::size_t reservedSamples) {
    samples_.reserve(reservedSamples);
}

void SampleQueue::append(std::span<const float> samples) {
    makeRoom(samples.size());
    const std::size_t start = samples_.size();
    samples_.resize(start + samples.size());
    std::transform(samples.begin(), samples.end(), samples_.begin() + std::ptrdiff_t(start),
                   [](float sample) { return std::isfinite(sample) ? sample : 0.0F; });
}

std::span<const float> SampleQueue::unread() const {
    return std::span(samples_).subspan(head_);
}

void SampleQueue::consume(std::size_t count) {
    head_ += count;
    if (head_ == samples_.size()) {
        samples_.clear();
        head_ = 0;
    }
}

void SampleQueue::makeRoom(std::size_t count) {
    if (samples_.size() + count <= samples_.capacity()) {
        return;
    }
    const std::size_t waiting = samples_.size() - head_;
    // Moving pays only when it frees at least as much as it moves; otherwise the vector grows.
    if (head_ >= waiting && waiting + count <= samples_.capacity()) {
        samples_.erase(samples_.begin(), samples_.begin() + std::ptrdiff_t(head_));
        head_ = 0;
    }
}

} // namespace tandrel
