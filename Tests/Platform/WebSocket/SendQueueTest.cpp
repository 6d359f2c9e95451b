#include "Platform/WebSocket/SendQueue.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using Pushed = SendQueue::Pushed;

SendQueue::Message message(std::uint8_t value, SendQueue::Time since = {}) {
    return {Bytes{value}, nullptr, since};
}

Pushed push(SendQueue& queue, SendQueue::Message entry) {
    return queue.push(entry);
}

TEST(SendQueue, AsksForOneWakeUpPerRound) {
    SendQueue queue(100'000);
    EXPECT_EQ(push(queue, message(1)), Pushed::wakeNeeded);
    EXPECT_EQ(push(queue, message(2)), Pushed::waiting);
    queue.beginRound();
    EXPECT_EQ(queue.pop()->payload, Bytes{1});
    EXPECT_EQ(push(queue, message(3)), Pushed::wakeNeeded);
    EXPECT_EQ(queue.pop()->payload, Bytes{2});
    EXPECT_EQ(queue.pop()->payload, Bytes{3});
    EXPECT_FALSE(queue.pop());
}

TEST(SendQueue, TellsTheAgeOfItsOldestMessage) {
    SendQueue queue(100'000);
    const SendQueue::Time start{};
    EXPECT_FALSE(queue.oldest());
    (void)push(queue, message(1, start + 1s));
    (void)push(queue, message(2, start + 2s));
    EXPECT_EQ(queue.oldest(), start + 1s);
    (void)queue.pop();
    EXPECT_EQ(queue.oldest(), start + 2s);
    (void)queue.pop();
    EXPECT_FALSE(queue.oldest());
}

TEST(SendQueue, RefusesWhatDoesNotFitAndRemembersIt) {
    SendQueue queue(1000 + 2 * sizeof(SendQueue::Message));
    SendQueue::Message fits{Bytes(1000), nullptr, {}};
    SendQueue::Message tooMuch{Bytes(sizeof(SendQueue::Message) + 1), nullptr, {}};
    EXPECT_NE(queue.push(fits), Pushed::refused);
    EXPECT_FALSE(queue.hasOverflowed());
    EXPECT_EQ(queue.push(tooMuch), Pushed::refused);
    EXPECT_EQ(tooMuch.payload.size(), sizeof(SendQueue::Message) + 1) << "left to the caller";
    EXPECT_TRUE(queue.hasOverflowed());
}

TEST(SendQueue, CountsEmptyMessagesToo) {
    SendQueue queue(400'000);
    int count = 0;
    while (push(queue, {}) != Pushed::refused) {
        ++count;
    }
    EXPECT_LT(count, 20'000);
}

TEST(SendQueue, YieldsWhatWaitsWhenItClosesAndRefusesTheRest) {
    SendQueue queue(100'000);
    (void)push(queue, message(1));
    (void)push(queue, message(2));
    EXPECT_EQ(queue.close().size(), 2U);
    EXPECT_EQ(push(queue, message(3)), Pushed::refused);
    EXPECT_FALSE(queue.hasOverflowed());
    EXPECT_FALSE(queue.pop());
    EXPECT_TRUE(queue.close().empty());
}

/// A ramp through the queue: nothing lost, repeated or reordered, and no wake-up forgotten.
TEST(SendQueue, KeepsOrderAndCountBetweenTwoThreads) {
    constexpr std::uint32_t count = 200'000;
    SendQueue queue(400'000);
    std::atomic<int> wakeUps{0};
    std::thread producer([&] {
        for (std::uint32_t value = 0; value < count;) {
            SendQueue::Message entry{Bytes{static_cast<std::uint8_t>(value),
                                           static_cast<std::uint8_t>(value >> 8U),
                                           static_cast<std::uint8_t>(value >> 16U)},
                                     nullptr,
                                     {}};
            const Pushed pushed = queue.push(entry);
            if (pushed == Pushed::refused) {
                std::this_thread::yield();
                continue;
            }
            ++value;
            if (pushed == Pushed::wakeNeeded) {
                ++wakeUps;
                wakeUps.notify_one();
            }
        }
    });
    std::uint32_t expected = 0;
    while (expected < count) {
        // Sleeps until woken: a wake-up that gets lost hangs here.
        wakeUps.wait(0);
        wakeUps = 0;
        queue.beginRound();
        while (const auto entry = queue.pop()) {
            const std::uint32_t value = entry->payload[0] +
                                        (std::uint32_t{entry->payload[1]} << 8U) +
                                        (std::uint32_t{entry->payload[2]} << 16U);
            ASSERT_EQ(value, expected);
            ++expected;
        }
    }
    producer.join();
}

TEST(SendQueue, EveryCompletionComesBackOnceWhenItClosesUnderLoad) {
    constexpr int count = 20'000;
    SendQueue queue(1'000'000'000);
    std::atomic<int> completed{0};
    std::atomic<int> refused{0};
    std::atomic<int> pushed{0};
    std::thread producer([&] {
        for (int index = 0; index < count; ++index) {
            SendQueue::Message entry{
                Bytes(10), [&completed](const std::optional<SocketError>&) { ++completed; }, {}};
            if (queue.push(entry) == Pushed::refused) {
                ++refused;
                entry.completion(SocketError{});
            }
            ++pushed;
        }
    });
    while (pushed < count / 2) {
        if (auto entry = queue.pop()) {
            entry->completion(std::nullopt);
        }
    }
    for (auto& entry : queue.close()) {
        entry.completion(SocketError{});
    }
    producer.join();
    EXPECT_EQ(completed, count);
}

} // namespace
} // namespace tandrel
