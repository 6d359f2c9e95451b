#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

namespace tandrel {

/// A thread that runs jobs one after the other, in the order they were posted: for calls that may
/// block for as long as they please.
///
/// Nothing here ever waits for such a call without a limit. The destructor drops the jobs that have
/// not begun and leaves one that runs to end by itself, on its own; so a job owns all that it uses.
class SerialWorker {
public:
    SerialWorker();
    ~SerialWorker();
    SerialWorker(const SerialWorker&) = delete;
    SerialWorker& operator=(const SerialWorker&) = delete;

    /// Any thread. A job must not throw.
    void post(std::function<void()> job);

    /// Waits until every job posted so far has ended, for at most `limit`; whether they have. Any
    /// thread but the worker's own.
    bool flush(std::chrono::milliseconds limit);

private:
    struct Shared;
    static void run(Shared& shared);

    std::shared_ptr<Shared> shared_;
    std::thread thread_;
};

} // namespace tandrel
