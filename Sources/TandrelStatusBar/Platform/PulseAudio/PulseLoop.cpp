#include "Platform/PulseAudio/PulseLoop.h"

#include <csignal>
#include <poll.h>
#include <pthread.h>
#include <utility>

namespace tandrel::pulse {

namespace {

/// Threads started meanwhile receive no signal: those are the main thread's to handle.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &previous_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t previous_{};
};

} // namespace

Loop::Loop()
    : loop_(pa_mainloop_new()) {
    pa_mainloop_set_poll_func(
        loop_.get(),
        [](pollfd* files, unsigned long count, int timeout, void* self) {
            return static_cast<Loop*>(self)->waitForEvents(files, count, timeout);
        },
        this);
    const SignalsBlocked blocked;
    thread_ = std::thread([this] { run(); });
}

Loop::~Loop() {
    {
        const auto held = lock();
        isStopping_ = true;
    }
    pa_mainloop_wakeup(loop_.get());
    thread_.join();
}

void Loop::run() {
    const auto held = lock();
    while (!isStopping_ && pa_mainloop_iterate(loop_.get(), 1, nullptr) >= 0) {
    }
}

void Loop::doWork() noexcept {
    for (const LoopObserver::Work& work : work_) {
        (*work)();
    }
    work_.clear();
}

int Loop::waitForEvents(pollfd* files, unsigned long count, int timeout) {
    for (LoopObserver* const observer : observers_) {
        if (auto work = observer->aboutToWait()) {
            work_.push_back(std::move(work));
        }
    }
    mutex_.unlock();
    doWork();
    const int result = ::poll(files, count, timeout);
    mutex_.lock();
    return result;
}

} // namespace tandrel::pulse
