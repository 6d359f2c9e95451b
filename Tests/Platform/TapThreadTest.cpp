#include "Platform/TapThread.h"

#include <gmock/gmock.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <future>
#include <memory>
#include <mutex>
#include <numeric>
#include <thread>
#include <vector>

namespace tandrel {
namespace {

constexpr std::uint32_t bufferFrames = 341;

/// Keeps what a tap is handed; the test waits for it.
class Collector {
public:
    void take(const AudioBuffer& buffer) {
        const std::lock_guard lock(mutex_);
        samples_.insert(samples_.end(), buffer.floatChannelData,
                        buffer.floatChannelData + buffer.frameLength);
        lengths_.push_back(buffer.frameLength);
        rate_ = buffer.sampleRate;
        changed_.notify_all();
    }

    bool waitForBuffers(std::size_t count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(20),
                                 [this, count] { return lengths_.size() >= count; });
    }
    std::size_t bufferCount() {
        const std::lock_guard lock(mutex_);
        return lengths_.size();
    }
    std::vector<float> samples() {
        const std::lock_guard lock(mutex_);
        return samples_;
    }
    std::vector<std::uint32_t> lengths() {
        const std::lock_guard lock(mutex_);
        return lengths_;
    }
    double rate() {
        const std::lock_guard lock(mutex_);
        return rate_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<float> samples_;
    std::vector<std::uint32_t> lengths_;
    double rate_ = 0;
};

std::vector<float> countUp(std::size_t count) {
    std::vector<float> samples(count);
    std::iota(samples.begin(), samples.end(), 0.0F);
    return samples;
}

class TapThreadTest : public testing::Test {
protected:
    std::shared_ptr<SampleRing> ring = std::make_shared<SampleRing>(96000);
    Collector collector;
    AudioEngine::Tap tap = [this](const AudioBuffer& buffer) { collector.take(buffer); };
};

TEST_F(TapThreadTest, HandsOverWholeBuffersInOrder) {
    const std::vector<float> samples = countUp(std::size_t{bufferFrames} * 100);
    {
        TapThread thread(ring, bufferFrames, 16000, tap);
        // In the portions of a sound server, which know nothing of our buffers.
        constexpr std::size_t portion = 100;
        for (std::size_t at = 0; at < samples.size(); at += portion) {
            ring->push(samples.data() + at, std::min(portion, samples.size() - at), 1);
            thread.wake();
        }
        ASSERT_TRUE(collector.waitForBuffers(100));
    }
    EXPECT_EQ(collector.samples(), samples);
    EXPECT_THAT(collector.lengths(), testing::Each(bufferFrames));
    EXPECT_EQ(collector.rate(), 16000);
}

TEST_F(TapThreadTest, LeavesAPartOfABufferWaiting) {
    const std::vector<float> samples = countUp(std::size_t{bufferFrames} * 2 - 1);
    TapThread thread(ring, bufferFrames, 16000, tap);
    ring->push(samples.data(), samples.size(), 1);
    thread.wake();
    ASSERT_TRUE(collector.waitForBuffers(1));
    EXPECT_EQ(collector.bufferCount(), 1U);
    EXPECT_EQ(ring->size(), bufferFrames - 1U);
}

TEST_F(TapThreadTest, LosesNothingWhileTheTapIsHeldUp) {
    const std::vector<float> samples = countUp(std::size_t{bufferFrames} * 140);
    std::promise<void> release;
    std::once_flag first;
    TapThread thread(ring, bufferFrames, 48000, [&](const AudioBuffer& buffer) {
        std::call_once(first, [&release] { release.get_future().wait(); });
        collector.take(buffer);
    });
    for (std::size_t at = 0; at < samples.size(); at += bufferFrames) {
        ring->push(samples.data() + at, bufferFrames, 1);
        thread.wake();
    }
    EXPECT_EQ(collector.bufferCount(), 0U);
    release.set_value();
    ASSERT_TRUE(collector.waitForBuffers(140));
    EXPECT_EQ(collector.samples(), samples);
    EXPECT_EQ(ring->dropped(), 0U);
}

TEST_F(TapThreadTest, EndsBetweenBuffersThoughMoreAreWaiting) {
    const std::vector<float> samples = countUp(std::size_t{bufferFrames} * 100);
    ring->push(samples.data(), samples.size(), 1);
    std::promise<void> entered;
    std::promise<void> release;
    std::once_flag first;
    std::thread helper;
    {
        TapThread thread(ring, bufferFrames, 16000, [&](const AudioBuffer& buffer) {
            std::call_once(first, [&] {
                entered.set_value();
                release.get_future().wait();
            });
            collector.take(buffer);
        });
        thread.wake();
        entered.get_future().wait();
        // Lets the call under way return while the thread is being ended.
        helper = std::thread([&release] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            release.set_value();
        });
    }
    const std::size_t count = collector.bufferCount();
    helper.join();
    EXPECT_GE(count, 1U);
    EXPECT_LT(count, 100U);
    EXPECT_EQ(collector.bufferCount(), count);
}

TEST_F(TapThreadTest, WakesForNothingWithoutACall) {
    TapThread thread(ring, bufferFrames, 16000, tap);
    for (int count = 0; count < 1000; ++count) {
        thread.wake();
    }
    EXPECT_EQ(collector.bufferCount(), 0U);
}

} // namespace
} // namespace tandrel
