#include "Platform/Linux/SystemVersion.h"

#ifdef __GLIBC__
#include <gnu/libc-version.h>
#endif

namespace tandrel {

std::string systemVersion() {
#ifdef __GLIBC__
    return gnu_get_libc_version();
#else
    return {};
#endif
}

} // namespace tandrel
