#pragma once

#include <chrono>

namespace tandrel::test {

/// For its life, the disk under the debug log is one that stalls: the next `lines` lines that other
/// threads than the one that made this write there take `delay` each. Works by a `write` of the
/// program's own; so it is part of a test program itself and of no library.
class SlowLog {
public:
    SlowLog(std::chrono::milliseconds delay, int lines);
    ~SlowLog();
    SlowLog(const SlowLog&) = delete;
    SlowLog& operator=(const SlowLog&) = delete;

    /// How many lines have been held up.
    [[nodiscard]] static int heldUp();
};

} // namespace tandrel::test
