#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tandrel::test {

/// The debug log's lines since this object was made, without their timestamps. The log itself is
/// the real one, in the test process's own home directory.
class LogCapture {
public:
    LogCapture();

    [[nodiscard]] std::vector<std::string> lines() const;
    /// How many of the lines are exactly `line`.
    [[nodiscard]] std::size_t count(const std::string& line) const;
    /// The lines that start with `prefix`.
    [[nodiscard]] std::vector<std::string> linesStartingWith(const std::string& prefix) const;

private:
    std::size_t start_ = 0;
};

} // namespace tandrel::test
