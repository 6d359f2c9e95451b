#include "Platform/Qt/ProcessExit.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace tandrel {

void leaveProcess(int exitCode) {
    std::fflush(nullptr);
#ifdef TANDREL_SANITIZED
    // The leak check runs at an ordinary exit only.
    std::exit(exitCode);
#else
    ::_exit(exitCode);
#endif
}

} // namespace tandrel
