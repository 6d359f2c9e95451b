#pragma once

#include <cstdint>

namespace tandrel::test {

/// What real-time code did that it must not do.
struct RealTimeCounts {
    std::uint64_t allocations = 0;
    std::uint64_t locks = 0;
    std::uint64_t systemCalls = 0;
};

/// Counts, on the calling thread and while it lives, every allocation and release of memory, every
/// lock and wait, and every system call. Works by taking the place of the C library's functions in
/// the whole program, so it belongs in a test program of its own; system calls are caught by the
/// kernel, however they are made.
class RealTimeScope {
public:
    RealTimeScope();
    ~RealTimeScope();
    RealTimeScope(const RealTimeScope&) = delete;
    RealTimeScope& operator=(const RealTimeScope&) = delete;

    /// Of all scopes and threads so far.
    [[nodiscard]] static RealTimeCounts counts();
};

/// Leaves the calling thread's scope, if it is in one, for a call of foreign code.
class ForeignCode {
public:
    ForeignCode();
    ~ForeignCode();
    ForeignCode(const ForeignCode&) = delete;
    ForeignCode& operator=(const ForeignCode&) = delete;

private:
    bool wasCounting_;
};

} // namespace tandrel::test
