#pragma once

#include <cstdint>

namespace tandrel {

/// Says on standard error what went wrong and aborts the process: for programming errors, where
/// going on would only spread the damage. Any thread.
[[noreturn]] void stopProcess(const char* reason);

/// Stops the process unless `holds`.
inline void precondition(bool holds, const char* reason) {
    if (!holds) {
        stopProcess(reason);
    }
}

/// Adds 1 and returns the new count; an overflow stops the process.
std::int64_t increment(std::int64_t& count);

} // namespace tandrel
