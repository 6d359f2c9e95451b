#include "Foundation/SharedHeap.h"

#include <cstdlib>
#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace tandrel {

void shareOneHeap() {
#ifdef __GLIBC__
    mallopt(M_ARENA_MAX, 1);
#endif
}

} // namespace tandrel
