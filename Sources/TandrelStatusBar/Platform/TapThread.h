#pragma once

#include "Platform/AudioInput.h"
#include "Platform/SampleRing.h"

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

namespace tandrel {

/// The thread that takes buffers of a fixed length from a ring and hands them to an engine's tap,
/// one at a time. Made and destroyed on the main thread.
class TapThread {
public:
    /// Starts the thread, the only consumer of `ring`, which must outlive it.
    TapThread(SampleRing& ring, std::uint32_t bufferFrames, double sampleRate,
              AudioEngine::Tap tap);
    /// Ends the thread; a tap call under way is waited for, so a tap must be quick and must never
    /// wait for the main thread.
    ~TapThread();
    TapThread(const TapThread&) = delete;
    TapThread& operator=(const TapThread&) = delete;

    /// Says that a whole buffer may be there. Any thread; never blocks, at most one system call.
    void wake() noexcept;

private:
    void run();
    void deliverAll();

    SampleRing& ring_;
    std::vector<float> buffer_;
    double sampleRate_;
    AudioEngine::Tap tap_;
    std::atomic<bool> stopping_{false};
    /// Counts the wakes, so that none is missed between a look at the ring and the wait.
    std::atomic<std::uint32_t> wakes_{0};
    std::thread thread_;
};

} // namespace tandrel
