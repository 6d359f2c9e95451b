#pragma once

#include "Platform/AudioInput.h"
#include "Platform/SampleRing.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace tandrel {

/// Takes buffers of a fixed length from a ring and hands them to an engine's tap, one at a time.
class TapFeed {
public:
    /// Is the only consumer of `ring`.
    TapFeed(std::shared_ptr<SampleRing> ring, std::uint32_t bufferFrames, double sampleRate,
            AudioEngine::Tap tap);

    /// Hands over all whole buffers that wait. Any one thread at a time.
    void deliver();

    /// No tap call begins after this, and one under way is waited for: a tap must be quick, and
    /// must never wait for the thread that calls this.
    void end();

private:
    bool deliverOne();

    std::shared_ptr<SampleRing> ring_;
    std::vector<float> buffer_;
    double sampleRate_;
    AudioEngine::Tap tap_;
    std::atomic<bool> isEnding_{false};
    /// Held during a tap call.
    std::mutex turn_;
};

} // namespace tandrel
