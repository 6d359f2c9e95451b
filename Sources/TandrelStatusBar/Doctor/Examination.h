#pragma once

#include "Doctor/Finding.h"

#include <chrono>
#include <functional>
#include <vector>

namespace tandrel::doctor {

/// One look at the system.
struct Check {
    /// What is found when it does not answer in time, or throws.
    Findings unanswered;
    /// Called on a thread of its own, where it may block; owns all that it uses.
    std::function<Findings()> look;
};

/// Lets all checks look at the same time and returns what they found, in their order. A check that
/// takes longer than `limit` is left behind on its thread.
[[nodiscard]] Findings examine(const std::vector<Check>& checks, std::chrono::milliseconds limit);

} // namespace tandrel::doctor
