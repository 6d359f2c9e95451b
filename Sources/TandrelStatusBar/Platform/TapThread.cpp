#include "Platform/TapThread.h"

#include <utility>

namespace tandrel {

TapThread::TapThread(SampleRing& ring, std::uint32_t bufferFrames, double sampleRate,
                     AudioEngine::Tap tap)
    : ring_(ring)
    , buffer_(bufferFrames)
    , sampleRate_(sampleRate)
    , tap_(std::move(tap))
    , thread_([this] { run(); }) {}

TapThread::~TapThread() {
    stopping_.store(true, std::memory_order_release);
    wake();
    thread_.join();
}

void TapThread::wake() noexcept {
    wakes_.fetch_add(1, std::memory_order_release);
    wakes_.notify_one();
}

void TapThread::run() {
    while (!stopping_.load(std::memory_order_acquire)) {
        const std::uint32_t seen = wakes_.load(std::memory_order_acquire);
        deliverAll();
        if (!stopping_.load(std::memory_order_acquire)) {
            wakes_.wait(seen, std::memory_order_acquire);
        }
    }
}

void TapThread::deliverAll() {
    while (!stopping_.load(std::memory_order_acquire) &&
           ring_.pop(buffer_.data(), buffer_.size())) {
        tap_(AudioBuffer{buffer_.data(), static_cast<std::uint32_t>(buffer_.size()), sampleRate_});
    }
}

} // namespace tandrel
