#include "CaptureThread.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <span>
#include <utility>

namespace tandrel::bare {

namespace {

float levelOf(std::span<const float> buffer) {
    constexpr float gain = 3;
    const float squares = std::inner_product(buffer.begin(), buffer.end(), buffer.begin(), 0.0F);
    return std::min(gain * std::sqrt(squares / static_cast<float>(buffer.size())), 1.0F);
}

} // namespace

CaptureThread::CaptureThread(const MicrophoneStream::Ends& ends, Handlers handlers)
    : handlers_(std::move(handlers))
    , loop_(pa_mainloop_new())
    , stream_(std::make_unique<MicrophoneStream>(
          pa_mainloop_get_api(loop_.get()), ends,
          [this](std::span<const float> buffer) { handlers_.level(levelOf(buffer)); }))
    , thread_([this](const std::stop_token& stop) { run(stop); }) {}

CaptureThread::~CaptureThread() {
    thread_.request_stop();
    pa_mainloop_wakeup(loop_.get());
    thread_.join();
}

void CaptureThread::run(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        if (pa_mainloop_iterate(loop_.get(), 1, nullptr) < 0) {
            handlers_.ended();
            return;
        }
    }
}

} // namespace tandrel::bare
