#include "BusLimit.h"

#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <stop_token>
#include <unistd.h>

namespace tandrel {

BusLimit::BusLimit(std::chrono::milliseconds limit)
    : watch_([limit](const std::stop_token& stop) {
        std::mutex mutex;
        std::condition_variable_any changed;
        std::unique_lock lock(mutex);
        changed.wait_for(lock, stop, limit, [] { return false; });
        if (!stop.stop_requested()) {
            std::fputs("quorvane-tandrel: the session bus does not answer\n", stderr);
            // The main thread is held up: nothing can be put away.
            ::_exit(1);
        }
    }) {}

} // namespace tandrel
