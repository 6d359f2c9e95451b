#include "Foundation/SerialWorker.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <utility>

namespace tandrel {

/// Kept alive by the thread too, which may outlive the worker.
struct SerialWorker::Shared {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::function<void()>> jobs;
    std::uint64_t postedCount = 0;
    std::uint64_t endedCount = 0;
    bool busy = false;
    bool stopping = false;
};

SerialWorker::SerialWorker()
    : shared_(std::make_shared<Shared>())
    , thread_([shared = shared_] { run(*shared); }) {}

SerialWorker::~SerialWorker() {
    std::deque<std::function<void()>> dropped;
    bool busy = false;
    {
        const std::lock_guard lock(shared_->mutex);
        shared_->stopping = true;
        dropped.swap(shared_->jobs);
        busy = shared_->busy;
        shared_->changed.notify_all();
    }
    if (busy) {
        thread_.detach();
    } else {
        thread_.join();
    }
}

void SerialWorker::post(std::function<void()> job) {
    const std::lock_guard lock(shared_->mutex);
    shared_->jobs.push_back(std::move(job));
    ++shared_->postedCount;
    shared_->changed.notify_all();
}

bool SerialWorker::flush(std::chrono::milliseconds limit) {
    std::unique_lock lock(shared_->mutex);
    const std::uint64_t target = shared_->postedCount;
    return shared_->changed.wait_for(lock, limit, [&] { return shared_->endedCount >= target; });
}

void SerialWorker::run(Shared& shared) {
    std::unique_lock lock(shared.mutex);
    for (;;) {
        shared.changed.wait(lock, [&] { return shared.stopping || !shared.jobs.empty(); });
        if (shared.stopping) {
            return;
        }
        std::function<void()> job = std::move(shared.jobs.front());
        shared.jobs.pop_front();
        shared.busy = true;
        lock.unlock();
        job();
        job = nullptr; // what it owns goes outside the lock, and before it counts as ended
        lock.lock();
        shared.busy = false;
        ++shared.endedCount;
        shared.changed.notify_all();
    }
}

} // namespace tandrel
