#include "Foundation/Precondition.h"

#include <gmock/gmock.h>

#include <limits>

namespace tandrel {
namespace {

TEST(Precondition, CountsUpByOne) {
    std::int64_t count = 4;
    EXPECT_EQ(increment(count), 5);
    EXPECT_EQ(count, 5);
}

TEST(PreconditionDeathTest, AnOverflowStopsTheProcess) {
    std::int64_t count = std::numeric_limits<std::int64_t>::max();
    EXPECT_DEATH(increment(count), "Fatal error: counter overflow");
}

TEST(PreconditionDeathTest, StopsTheProcessWhenItDoesNotHold) {
    precondition(true, "unused");
    EXPECT_DEATH(precondition(false, "no engine"), "Fatal error: no engine");
}

} // namespace
} // namespace tandrel
