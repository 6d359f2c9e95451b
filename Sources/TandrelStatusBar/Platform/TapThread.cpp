#include "Platform/TapThread.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace tandrel {

/// What the thread works with, kept alive by it.
class TapThread::Worker {
public:
    Worker(std::shared_ptr<SampleRing> ring, std::uint32_t bufferFrames, double sampleRate,
           AudioEngine::Tap tap)
        : ring_(std::move(ring))
        , buffer_(bufferFrames)
        , sampleRate_(sampleRate)
        , tap_(std::move(tap)) {}

    void run() {
        while (!stopping_.load()) {
            while (deliverOne()) {
            }
            waitForWake();
        }
    }

    void wake() noexcept {
        {
            const std::lock_guard lock(mutex_);
            isAwoken_ = true;
        }
        awoken_.notify_one();
    }

    void stop() {
        stopping_.store(true);
        // Whoever takes the turn decides: while it is held here for good, no call can begin.
        while (turn_.exchange(true)) {
            turn_.wait(true);
        }
        tap_ = nullptr;
        wake();
    }

private:
    // Not std::atomic's wait: libstdc++ yields the processor several times before it sleeps, which
    // on a busy machine puts this thread behind all others just when the sound comes.
    void waitForWake() {
        std::unique_lock lock(mutex_);
        awoken_.wait(lock, [this] { return isAwoken_; });
        isAwoken_ = false;
    }

    bool deliverOne() {
        if (stopping_.load() || turn_.exchange(true)) {
            return false;
        }
        const bool isWhole = ring_->pop(buffer_.data(), buffer_.size());
        if (isWhole) {
            tap_(AudioBuffer{buffer_.data(), static_cast<std::uint32_t>(buffer_.size()),
                             sampleRate_});
        }
        turn_.store(false);
        turn_.notify_one();
        return isWhole;
    }

    std::shared_ptr<SampleRing> ring_;
    std::vector<float> buffer_;
    double sampleRate_;
    AudioEngine::Tap tap_;
    std::atomic<bool> stopping_{false};
    /// Held while a tap call is under way, and for ever by the stop.
    std::atomic<bool> turn_{false};
    /// Held for a moment only, never during a tap call.
    std::mutex mutex_;
    std::condition_variable awoken_;
    /// Whether a wake came since the last look at the ring.
    bool isAwoken_ = false;
};

TapThread::TapThread(std::shared_ptr<SampleRing> ring, std::uint32_t bufferFrames,
                     double sampleRate, AudioEngine::Tap tap)
    : worker_(std::make_shared<Worker>(std::move(ring), bufferFrames, sampleRate, std::move(tap))) {
    std::thread([worker = worker_] { worker->run(); }).detach();
}

TapThread::~TapThread() {
    worker_->stop();
}

void TapThread::wake() noexcept {
    worker_->wake();
}

} // namespace tandrel
