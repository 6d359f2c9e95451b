#pragma once

#include <chrono>
#include <functional>

namespace tandrel::test {

/// Runs the event loop of the calling thread until `condition` holds, which is asked after every
/// turn; whether it held before `limit` had passed.
[[nodiscard]] bool runUntil(const std::function<bool()>& condition,
                            std::chrono::milliseconds limit = std::chrono::seconds(20));

} // namespace tandrel::test
