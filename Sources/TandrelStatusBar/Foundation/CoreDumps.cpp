#include "Foundation/CoreDumps.h"

#include <sys/resource.h>

namespace tandrel {

void refuseCoreDumps() {
    rlimit limit{};
    if (getrlimit(RLIMIT_CORE, &limit) == 0) {
        limit.rlim_cur = 0;
        setrlimit(RLIMIT_CORE, &limit);
    }
}

} // namespace tandrel
