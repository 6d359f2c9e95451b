#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <sys/types.h>

namespace tandrel::bench {

/// What some threads have used.
struct ProcessUse {
    std::chrono::nanoseconds cpu{0};
    /// Times that a thread gave up the processor by itself: each stands for one wake-up.
    std::int64_t wakeUps = 0;
};

/// What each thread of a process had used at one moment, by the scheduler's counters (proc(5):
/// schedstat, status).
class ProcessMeter {
public:
    explicit ProcessMeter(pid_t pid);

    /// What the process has used since `earlier`. What a thread used that has ended between the two
    /// is unknown, and left out.
    [[nodiscard]] ProcessUse since(const ProcessMeter& earlier) const;

private:
    std::map<std::string, ProcessUse> threads_;
};

/// Proportional set size in KiB (proc(5): smaps_rollup); 0 when the process has gone.
[[nodiscard]] std::int64_t proportionalSetSize(pid_t pid);

/// Memory that is the process's alone, in KiB: unlike its share of the libraries' it does not
/// change when others start or end. 0 when the process has gone.
[[nodiscard]] std::int64_t privateMemory(pid_t pid);

} // namespace tandrel::bench
