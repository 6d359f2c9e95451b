#include "Foundation/WakeUpPreemption.h"

#ifdef __linux__
#include <pthread.h>
#include <sched.h>
#endif

namespace tandrel {

void renounceWakeUpPreemption() {
#ifdef __linux__
    // Same share of the processor, but "mildly disfavored" on waking up (sched(7)). Needs no
    // privilege; a refusal leaves things as they were.
    const sched_param priority{};
    pthread_setschedparam(pthread_self(), SCHED_BATCH, &priority);
#endif
}

} // namespace tandrel
