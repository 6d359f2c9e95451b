#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tandrel::test {

/// What a debug log holds besides the lines of audio that its throttle lets through.
struct LogVerdict {
    std::size_t lines = 0;
    std::size_t bytes = 0;
    std::size_t throttledLines = 0;
    std::size_t sendErrors = 0;
    /// All others.
    std::size_t eventLines = 0;
    std::vector<std::string> faults;
};

/// Looks whether each line of audio that the throttle lets through is there, once and in order, and
/// none of the others.
[[nodiscard]] LogVerdict judgeLog(const std::string& log);

} // namespace tandrel::test
