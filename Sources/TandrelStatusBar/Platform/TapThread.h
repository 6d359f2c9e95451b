#pragma once

#include "Platform/AudioInput.h"
#include "Platform/SampleRing.h"

#include <cstdint>
#include <memory>

namespace tandrel {

/// The thread that takes buffers of a fixed length from a ring and hands them to an engine's tap,
/// one at a time. Made and destroyed on the main thread.
class TapThread {
public:
    /// Starts the thread, the only consumer of `ring`.
    TapThread(std::shared_ptr<SampleRing> ring, std::uint32_t bufferFrames, double sampleRate,
              AudioEngine::Tap tap);
    /// No tap call begins after this, and one under way is waited for: a tap must be quick, and
    /// must never wait for the main thread. The thread itself ends by and by, when a busy system
    /// next lets it run.
    ~TapThread();
    TapThread(const TapThread&) = delete;
    TapThread& operator=(const TapThread&) = delete;

    /// Says that a whole buffer may be there. Any thread; holds a short lock, never during a tap
    /// call.
    void wake() noexcept;

private:
    class Worker;
    std::shared_ptr<Worker> worker_;
};

} // namespace tandrel
