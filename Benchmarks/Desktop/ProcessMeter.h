#pragma once

#include <chrono>
#include <cstdint>
#include <sys/types.h>

namespace tandrel::bench {

/// What a process has used so far, all its threads together.
struct ProcessUse {
    std::chrono::nanoseconds cpu{0};
    /// Times that a thread gave up the processor by itself: each stands for one wake-up.
    std::int64_t wakeUps = 0;

    friend ProcessUse operator-(const ProcessUse& left, const ProcessUse& right) {
        return {left.cpu - right.cpu, left.wakeUps - right.wakeUps};
    }
};

/// Reads the scheduler's counters (proc(5): schedstat, status). A thread that has ended meanwhile
/// is no longer counted, so that a difference over its end would be too small.
[[nodiscard]] ProcessUse processUse(pid_t pid);

/// Proportional set size in KiB (proc(5): smaps_rollup); 0 when the process has gone.
[[nodiscard]] std::int64_t proportionalSetSize(pid_t pid);

} // namespace tandrel::bench
