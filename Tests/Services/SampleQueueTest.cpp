#include "Services/SampleQueue.h"

#include "Support/AllocationCounter.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

namespace tandrel {
namespace {

using testing::ElementsAre;

TEST(SampleQueue, YieldsWhatWasAppendedInOrder) {
    SampleQueue queue(4);
    EXPECT_TRUE(queue.unread().empty());
    queue.append(std::vector{1.0F, 2.0F});
    queue.append(std::vector{3.0F});
    EXPECT_THAT(queue.unread(), ElementsAre(1.0F, 2.0F, 3.0F));
    queue.consume(2);
    EXPECT_THAT(queue.unread(), ElementsAre(3.0F));
    queue.append(std::vector{4.0F, 5.0F, 6.0F});
    EXPECT_THAT(queue.unread(), ElementsAre(3.0F, 4.0F, 5.0F, 6.0F));
    queue.consume(4);
    EXPECT_TRUE(queue.unread().empty());
}

TEST(SampleQueue, TakesWhatIsNotFiniteAsZero) {
    SampleQueue queue(4);
    queue.append(std::vector{std::nanf(""), std::numeric_limits<float>::infinity(),
                             -std::numeric_limits<float>::infinity(), 0.5F});
    EXPECT_THAT(queue.unread(), ElementsAre(0.0F, 0.0F, 0.0F, 0.5F));
}

TEST(SampleQueue, KeepsARampWholeWhateverIsAppendedAndConsumed) {
    SampleQueue queue(16);
    std::mt19937 generator(5);
    float written = 0;
    float read = 0;
    for (int round = 0; round < 20000; ++round) {
        std::vector<float> samples(generator() % 40);
        for (float& sample : samples) {
            sample = written++;
        }
        queue.append(samples);
        const std::size_t count = generator() % (queue.unread().size() + 1);
        for (const float sample : queue.unread().first(count)) {
            ASSERT_EQ(sample, read++);
        }
        queue.consume(count);
    }
    EXPECT_EQ(queue.unread().size(), static_cast<std::size_t>(written - read));
}

TEST(SampleQueue, AllocatesNothingForAStreamWithASteadyRemainder) {
    SampleQueue queue(4096);
    const std::vector<float> samples(1024);
    queue.append(std::vector<float>(2));
    const test::AllocationCounter allocations;
    for (int round = 0; round < 1000; ++round) {
        queue.append(samples);
        queue.consume(1024);
    }
    EXPECT_EQ(allocations.count(), 0U);
    EXPECT_EQ(queue.unread().size(), 2U);
}

} // namespace
} // namespace tandrel
