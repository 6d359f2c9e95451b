#include "Platform/WebSocket/NetworkThread.h"

#include <gtest/gtest.h>

#include <future>
#include <sched.h>

namespace tandrel {
namespace {

TEST(NetworkThread, LetsTheSoundsThreadComeToItsEndBeforeItTakesTheProcessor) {
    std::promise<int> policy;
    NetworkThread thread;
    thread.mailbox()->post(
        [&policy](ConnectionTable& /*table*/) { policy.set_value(sched_getscheduler(0)); });
    EXPECT_EQ(policy.get_future().get(), SCHED_BATCH);
    EXPECT_EQ(sched_getscheduler(0), SCHED_OTHER) << "the interface's thread stays as it is";
}

} // namespace
} // namespace tandrel
