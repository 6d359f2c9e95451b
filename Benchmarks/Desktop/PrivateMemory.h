#pragma once

#include <cstdint>
#include <sys/types.h>

namespace tandrel::bench {

/// Memory that is the process's alone, in KiB: unlike its share of the libraries' it does not
/// change when others start or end. 0 when the process has gone.
[[nodiscard]] std::int64_t privateMemory(pid_t pid);

} // namespace tandrel::bench
