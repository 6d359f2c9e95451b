#pragma once

#include <chrono>
#include <thread>

namespace tandrel {

/// Ends the process, with a message, unless it is destroyed within `limit`. For a connection to the
/// session bus, which takes as long as the bus makes it: half a minute for one that hangs.
class BusLimit {
public:
    explicit BusLimit(std::chrono::milliseconds limit);

private:
    std::jthread watch_;
};

} // namespace tandrel
