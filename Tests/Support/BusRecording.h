#pragma once

#include "Support/ChildProcess.h"

#include <filesystem>
#include <string>

namespace tandrel::test {

/// All that crosses a bus, byte for byte, as anybody on it may record it (dbus-monitor).
class BusRecording {
public:
    /// Begins to record into `file`; throws std::runtime_error when it does not within 10 s.
    BusRecording(const std::string& busAddress, std::filesystem::path file);

    /// All so far.
    [[nodiscard]] std::string bytes() const;

private:
    std::filesystem::path file_;
    ChildProcess monitor_;
};

} // namespace tandrel::test
