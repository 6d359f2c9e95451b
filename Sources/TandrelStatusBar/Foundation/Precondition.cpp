#include "Foundation/Precondition.h"

#include <cstdio>
#include <cstdlib>
#include <limits>

namespace tandrel {

void stopProcess(const char* reason) {
    std::fprintf(stderr, "Fatal error: %s\n", reason);
    std::abort();
}

std::int64_t increment(std::int64_t& count) {
    precondition(count < std::numeric_limits<std::int64_t>::max(), "counter overflow");
    return ++count;
}

} // namespace tandrel
