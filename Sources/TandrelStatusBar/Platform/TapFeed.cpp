#include "Platform/TapFeed.h"

#include <utility>

namespace tandrel {

TapFeed::TapFeed(std::shared_ptr<SampleRing> ring, std::uint32_t bufferFrames, double sampleRate,
                 AudioEngine::Tap tap)
    : ring_(std::move(ring))
    , buffer_(bufferFrames)
    , sampleRate_(sampleRate)
    , tap_(std::move(tap)) {}

void TapFeed::deliver() {
    while (deliverOne()) {
    }
}

bool TapFeed::deliverOne() {
    const std::lock_guard turn(turn_);
    // Asked under the lock, and set before it is asked for: buffer after buffer, this thread could
    // otherwise take the lock again before the one that ends it gets its turn.
    if (isEnding_.load() || !ring_->pop(buffer_.data(), buffer_.size())) {
        return false;
    }
    tap_(AudioBuffer{buffer_.data(), static_cast<std::uint32_t>(buffer_.size()), sampleRate_});
    return true;
}

void TapFeed::end() {
    isEnding_.store(true);
    const std::lock_guard turn(turn_);
    tap_ = nullptr;
}

} // namespace tandrel
