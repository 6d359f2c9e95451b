#include "Platform/SampleRing.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <thread>
#include <vector>

namespace tandrel {
namespace {

using testing::ElementsAre;

std::vector<float> popAll(SampleRing& ring) {
    std::vector<float> samples(ring.size());
    EXPECT_TRUE(ring.pop(samples.data(), samples.size()));
    return samples;
}

TEST(SampleRing, HoldsAtLeastWhatWasAskedFor) {
    EXPECT_GE(SampleRing(96000).capacity(), 96000U);
    EXPECT_GE(SampleRing(0).capacity(), 1U);
}

TEST(SampleRing, TakesTheFirstChannel) {
    SampleRing ring(8);
    const std::vector<float> stereo{1, -1, 2, -2, 3, -3};
    ring.push(stereo.data(), 3, 2);
    EXPECT_THAT(popAll(ring), ElementsAre(1, 2, 3));
}

TEST(SampleRing, TakesTheFirstOfAnyNumberOfChannelsInAnyPlaceOfTheRing) {
    for (std::size_t channels = 1; channels <= 8; ++channels) {
        SampleRing ring(64);
        float next = 0;
        float expected = 0;
        // Odd ones, so that the ring's end comes anywhere within them.
        for (std::size_t frames = 1; frames < ring.capacity(); frames += 2) {
            std::vector<float> interleaved(frames * channels, -1.0F);
            for (std::size_t frame = 0; frame < frames; ++frame) {
                interleaved[frame * channels] = next++;
            }
            ring.push(interleaved.data(), frames, channels);
            for (const float sample : popAll(ring)) {
                ASSERT_EQ(sample, expected++) << channels << " channels, " << frames << " frames";
            }
        }
        EXPECT_EQ(expected, next);
    }
}

TEST(SampleRing, FillsHolesWithSilence) {
    SampleRing ring(8);
    const std::vector<float> samples{1, 2};
    ring.push(samples.data(), 1, 1);
    ring.pushSilence(2);
    ring.push(samples.data() + 1, 1, 1);
    EXPECT_THAT(popAll(ring), ElementsAre(1, 0, 0, 2));
}

TEST(SampleRing, GivesAllThatIsAskedOrNothing) {
    SampleRing ring(8);
    const std::vector<float> samples{1, 2};
    ring.push(samples.data(), 2, 1);
    std::vector<float> taken{9, 9, 9};
    EXPECT_FALSE(ring.pop(taken.data(), 3));
    EXPECT_THAT(taken, ElementsAre(9, 9, 9));
    EXPECT_EQ(ring.size(), 2U);
}

TEST(SampleRing, DropsAndCountsWhatDoesNotFit) {
    SampleRing ring(4);
    const std::vector<float> samples{1, 2, 3, 4, 5, 6};
    ring.push(samples.data(), 3, 1);
    ring.push(samples.data() + 3, 3, 1);
    EXPECT_EQ(ring.dropped(), 2U);
    EXPECT_THAT(popAll(ring), ElementsAre(1, 2, 3, 4));

    ring.push(samples.data() + 4, 2, 1);
    EXPECT_EQ(ring.dropped(), 2U);
    EXPECT_THAT(popAll(ring), ElementsAre(5, 6));
}

/// Every number a float can count up to, so that a lost, repeated or reordered one is found.
constexpr std::uint32_t countedSamples = 1U << 21U;

TEST(SampleRing, TellsHowMuchFitsWithoutADrop) {
    SampleRing ring(8);
    const std::vector<float> samples(ring.capacity(), 1.0F);
    EXPECT_EQ(ring.room(), ring.capacity());
    ring.push(samples.data(), 5, 1);
    EXPECT_EQ(ring.room(), ring.capacity() - 5);
    ring.push(samples.data(), ring.room(), 1);
    EXPECT_EQ(ring.room(), 0U);
    EXPECT_EQ(ring.dropped(), 0U);
    std::vector<float> taken(3);
    ASSERT_TRUE(ring.pop(taken.data(), taken.size()));
    EXPECT_EQ(ring.room(), 3U);
}

TEST(SampleRing, KeepsEveryCountInOrderBetweenTwoThreads) {
    SampleRing ring(1024);
    std::thread producer([&ring] {
        std::vector<float> chunk(257);
        std::uint32_t next = 0;
        for (std::size_t size = 1; next < countedSamples; size = size % chunk.size() + 1) {
            const auto count = std::min<std::size_t>(size, countedSamples - next);
            for (std::size_t index = 0; index < count; ++index) {
                chunk[index] = static_cast<float>(next++);
            }
            while (ring.capacity() - ring.size() < count) {
                std::this_thread::yield();
            }
            ring.push(chunk.data(), count, 1);
        }
    });
    std::vector<float> chunk(341);
    std::uint32_t expected = 0;
    std::uint32_t wrong = 0;
    while (expected < countedSamples) {
        const auto count = std::min<std::size_t>(chunk.size(), countedSamples - expected);
        if (!ring.pop(chunk.data(), count)) {
            std::this_thread::yield();
            continue;
        }
        for (std::size_t index = 0; index < count; ++index) {
            wrong += chunk[index] == static_cast<float>(expected++) ? 0U : 1U;
        }
    }
    producer.join();
    EXPECT_EQ(wrong, 0U);
    EXPECT_EQ(ring.size(), 0U);
    EXPECT_EQ(ring.dropped(), 0U);
}

TEST(SampleRing, AccountsForEverySampleWhenTheConsumerIsTooSlow) {
    SampleRing ring(256);
    std::atomic<bool> done{false};
    std::thread producer([&ring, &done] {
        std::vector<float> chunk(64);
        for (std::uint32_t next = 0; next < countedSamples;) {
            for (float& sample : chunk) {
                sample = static_cast<float>(next++);
            }
            ring.push(chunk.data(), chunk.size(), 1);
        }
        done = true;
    });
    float last = -1;
    std::uint64_t taken = 0;
    std::uint64_t outOfOrder = 0;
    float sample = 0;
    while (!done || ring.size() > 0) {
        if (!ring.pop(&sample, 1)) {
            std::this_thread::yield();
            continue;
        }
        outOfOrder += sample > last ? 0U : 1U;
        last = sample;
        ++taken;
    }
    producer.join();
    EXPECT_EQ(outOfOrder, 0U);
    EXPECT_EQ(taken + ring.dropped(), countedSamples);
}

} // namespace
} // namespace tandrel
