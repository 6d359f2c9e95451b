#pragma once

#include <chrono>
#include <functional>

namespace tandrel::test {

/// Looks at `condition` every few milliseconds until it holds or `limit` has passed; whether it
/// held. For what happens in other processes and threads. On a slow machine the environment
/// variable TANDREL_TEST_TIMEOUT_FACTOR stretches the limit.
bool waitUntil(const std::function<bool()>& condition,
               std::chrono::milliseconds limit = std::chrono::seconds(20));

/// `limit` as it is on this machine: what that variable makes of it.
[[nodiscard]] std::chrono::milliseconds stretched(std::chrono::milliseconds limit);

} // namespace tandrel::test
