#include "Platform/TapThread.h"

#include <atomic>
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
            const std::uint32_t seen = wakes_.load();
            while (deliverOne()) {
            }
            if (!stopping_.load()) {
                wakes_.wait(seen);
            }
        }
    }

    void wake() noexcept {
        wakes_.fetch_add(1);
        wakes_.notify_one();
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
    /// Counts the wakes, so that none is missed between a look at the ring and the wait.
    std::atomic<std::uint32_t> wakes_{0};
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
