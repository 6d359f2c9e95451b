#include "Platform/TapFeed.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <future>
#include <memory>
#include <numeric>
#include <thread>
#include <vector>

namespace tandrel {
namespace {

constexpr std::uint32_t bufferFrames = 341;

/// Keeps what a tap is handed. One thread at a time.
struct Collector {
    std::vector<float> samples;
    std::vector<std::uint32_t> lengths;
    double rate = 0;

    void take(const AudioBuffer& buffer) {
        samples.insert(samples.end(), buffer.floatChannelData,
                       buffer.floatChannelData + buffer.frameLength);
        lengths.push_back(buffer.frameLength);
        rate = buffer.sampleRate;
    }
};

std::vector<float> countUp(std::size_t count) {
    std::vector<float> samples(count);
    std::iota(samples.begin(), samples.end(), 0.0F);
    return samples;
}

class TapFeedTest : public testing::Test {
protected:
    std::shared_ptr<SampleRing> ring = std::make_shared<SampleRing>(96000);
    Collector collector;
    TapFeed feed{ring, bufferFrames, 16000,
                 [this](const AudioBuffer& buffer) { collector.take(buffer); }};
};

TEST_F(TapFeedTest, HandsOverWholeBuffersInOrder) {
    const std::vector<float> samples = countUp(std::size_t{bufferFrames} * 100);
    // In the portions of a sound server, which know nothing of our buffers.
    constexpr std::size_t portion = 100;
    for (std::size_t at = 0; at < samples.size(); at += portion) {
        ring->push(samples.data() + at, std::min(portion, samples.size() - at), 1);
        feed.deliver();
    }
    EXPECT_EQ(collector.samples, samples);
    EXPECT_THAT(collector.lengths, testing::SizeIs(100));
    EXPECT_THAT(collector.lengths, testing::Each(bufferFrames));
    EXPECT_EQ(collector.rate, 16000);
}

TEST_F(TapFeedTest, HandsOverAllThatHasPiledUp) {
    const std::vector<float> samples = countUp(std::size_t{bufferFrames} * 140);
    ring->push(samples.data(), samples.size(), 1);
    feed.deliver();
    EXPECT_EQ(collector.samples, samples);
    EXPECT_EQ(ring->size(), 0U);
}

TEST_F(TapFeedTest, LeavesAPartOfABufferWaiting) {
    const std::vector<float> samples = countUp(std::size_t{bufferFrames} * 2 - 1);
    ring->push(samples.data(), samples.size(), 1);
    feed.deliver();
    feed.deliver();
    EXPECT_THAT(collector.lengths, testing::SizeIs(1));
    EXPECT_EQ(ring->size(), bufferFrames - 1U);
}

TEST_F(TapFeedTest, HandsOverNothingOnceItHasEnded) {
    const std::vector<float> samples = countUp(bufferFrames);
    ring->push(samples.data(), samples.size(), 1);
    feed.end();
    feed.deliver();
    EXPECT_THAT(collector.lengths, testing::IsEmpty());
}

TEST_F(TapFeedTest, TakesWhatAnotherThreadPutsIn) {
    const std::vector<float> samples = countUp(std::size_t{bufferFrames} * 200);
    std::jthread producer([&] {
        constexpr std::size_t portion = 500;
        for (std::size_t at = 0; at < samples.size(); at += portion) {
            ring->push(samples.data() + at, std::min(portion, samples.size() - at), 1);
        }
    });
    while (collector.lengths.size() < 200) {
        feed.deliver();
    }
    EXPECT_EQ(collector.samples, samples);
}

TEST_F(TapFeedTest, ItsEndWaitsForTheCallUnderWayAndForNoOther) {
    const std::vector<float> samples = countUp(std::size_t{bufferFrames} * 100);
    ring->push(samples.data(), samples.size(), 1);
    std::promise<void> entered;
    std::promise<void> release;
    std::atomic<int> calls{0};
    std::atomic<bool> isInCall{false};
    TapFeed slow(ring, bufferFrames, 16000, [&](const AudioBuffer&) {
        isInCall = true;
        if (++calls == 1) {
            entered.set_value();
            release.get_future().wait();
        }
        isInCall = false;
    });
    std::jthread consumer([&slow] { slow.deliver(); });
    entered.get_future().wait();
    // Lets the call under way return while the feed is being ended.
    std::jthread helper([&release] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        release.set_value();
    });

    slow.end();

    EXPECT_FALSE(isInCall);
    const int count = calls;
    consumer.join();
    EXPECT_EQ(calls, count);
    EXPECT_LT(count, 100);
}

} // namespace
} // namespace tandrel
