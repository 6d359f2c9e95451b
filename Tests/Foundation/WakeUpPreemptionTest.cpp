#include "Foundation/WakeUpPreemption.h"

#include <gmock/gmock.h>

#include <pthread.h>
#include <sched.h>
#include <thread>

namespace tandrel {
namespace {

int ownPolicy() {
    int policy = -1;
    sched_param priority{};
    pthread_getschedparam(pthread_self(), &policy, &priority);
    return policy;
}

TEST(WakeUpPreemption, IsRenouncedByTheCallingThreadOnly) {
    int policyOfTheOther = -1;
    std::thread([&] {
        renounceWakeUpPreemption();
        policyOfTheOther = ownPolicy();
    }).join();
    EXPECT_EQ(policyOfTheOther, SCHED_BATCH);
    EXPECT_EQ(ownPolicy(), SCHED_OTHER);
}

} // namespace
} // namespace tandrel
