#pragma once

#include <string>

namespace tandrel {

/// What an update's least version of the system is compared with: the version of the C library,
/// such as "2.36". It is what a program built elsewhere can lack whatever the distribution, whose
/// own numbers cannot be compared with each other's. Any thread.
[[nodiscard]] std::string systemVersion();

} // namespace tandrel
