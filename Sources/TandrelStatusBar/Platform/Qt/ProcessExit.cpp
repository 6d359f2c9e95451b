#include "Platform/Qt/ProcessExit.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace tandrel {

void leaveProcess(int exitCode) {
    std::fflush(nullptr);
#if defined(TANDREL_SANITIZED) || defined(TANDREL_COVERAGE)
    // Leaks are looked for, and counts of lines stored, at an ordinary exit only.
    std::exit(exitCode);
#else
    ::_exit(exitCode);
#endif
}

} // namespace tandrel
