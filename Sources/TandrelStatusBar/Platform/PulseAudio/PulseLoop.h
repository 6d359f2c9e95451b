#pragma once

#include "Platform/PulseAudio/PulseHandles.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

struct pollfd;

namespace tandrel::pulse {

using Deadline = std::chrono::steady_clock::time_point;

/// Told when the loop has handled all that came and is about to wait for more.
class LoopObserver {
public:
    LoopObserver() = default;
    LoopObserver(const LoopObserver&) = delete;
    LoopObserver& operator=(const LoopObserver&) = delete;
    virtual ~LoopObserver() = default;

    /// Work for the loop's thread; shared, since whoever wants it done may go meanwhile.
    using Work = std::shared_ptr<const std::function<void()>>;

    /// On the loop's thread, under its lock. What it returns, if anything, is done at once, but
    /// with the lock free: then it may take its time without keeping others from the loop.
    [[nodiscard]] virtual Work aboutToWait() = 0;
};

/// Runs the library's main loop on a thread of its own. Like the library's threaded loop, but its
/// waits have a deadline, and it tells when it is about to wait: work that a real-time callback may
/// not do itself is done then. The library's own means for that, a deferred event, costs a write to
/// a pipe from inside the callback.
class Loop {
public:
    /// Starts the thread.
    Loop();
    /// Ends it; all handles of this loop are gone by then.
    ~Loop();
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    [[nodiscard]] pa_mainloop_api* api() const { return pa_mainloop_get_api(loop_.get()); }

    /// While it is held, the loop's thread runs no callback. Not for the loop's own thread, which
    /// holds it whenever it runs one.
    [[nodiscard]] std::unique_lock<std::mutex> lock() { return std::unique_lock(mutex_); }

    /// Waits until `isDone()`, asked after each `signal()`; false when the deadline passes first.
    template <typename IsDone>
    bool waitUntil(std::unique_lock<std::mutex>& lock, Deadline deadline, IsDone isDone) {
        return signalled_.wait_until(lock, deadline, isDone);
    }
    /// Ends a wait, if its condition is met now. On the loop's thread.
    void signal() { signalled_.notify_all(); }

    /// Under the lock.
    void addObserver(LoopObserver& observer) { observers_.push_back(&observer); }
    void removeObserver(LoopObserver& observer) { std::erase(observers_, &observer); }

private:
    void run();
    void doWork() noexcept;
    int waitForEvents(pollfd* files, unsigned long count, int timeout);

    std::mutex mutex_;
    std::condition_variable signalled_;
    MainLoop loop_;
    std::vector<LoopObserver*> observers_;
    /// On the loop's thread only.
    std::vector<LoopObserver::Work> work_;
    bool isStopping_ = false;
    std::thread thread_;
};

} // namespace tandrel::pulse
