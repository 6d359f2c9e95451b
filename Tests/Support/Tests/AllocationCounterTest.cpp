#include "Support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace tandrel::test {
namespace {

TEST(AllocationCounter, CountsThisThreadsAllocations) {
    const AllocationCounter counter;
    EXPECT_EQ(counter.count(), 0U);
    const auto value = std::make_unique<int>(7);
    EXPECT_EQ(counter.count(), 1U);
    const std::vector<int> values(static_cast<std::size_t>(*value));
    EXPECT_EQ(counter.count(), 2U);
}

} // namespace
} // namespace tandrel::test
