#include "Foundation/SerialWorker.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <memory>
#include <thread>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

constexpr std::chrono::milliseconds longEnough = 20s;

TEST(SerialWorker, RunsJobsInOrderOnAThreadOfItsOwn) {
    SerialWorker worker;
    std::vector<int> order;
    std::thread::id thread;
    worker.post([&] {
        order.push_back(1);
        thread = std::this_thread::get_id();
    });
    worker.post([&] { order.push_back(2); });
    worker.post([&] { order.push_back(3); });
    ASSERT_TRUE(worker.flush(longEnough));
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
    EXPECT_NE(thread, std::this_thread::get_id());
}

TEST(SerialWorker, TakesJobsFromSeveralThreadsAndFromItsOwn) {
    static constexpr int perThread = 500;
    SerialWorker worker;
    int count = 0; // touched on the worker's thread only
    std::vector<std::thread> threads;
    threads.reserve(3);
    for (int index = 0; index < 3; ++index) {
        threads.emplace_back([&] {
            for (int number = 0; number < perThread; ++number) {
                worker.post([&] { ++count; });
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    worker.post([&] { worker.post([&] { ++count; }); });
    ASSERT_TRUE(worker.flush(longEnough));
    ASSERT_TRUE(worker.flush(longEnough));
    EXPECT_EQ(count, 3 * perThread + 1);
}

TEST(SerialWorker, FlushGivesUpAtItsLimitWhileAJobHangs) {
    SerialWorker worker;
    std::promise<void> release;
    worker.post([released = release.get_future().share()] { released.wait(); });
    EXPECT_FALSE(worker.flush(5ms));
    release.set_value();
    EXPECT_TRUE(worker.flush(longEnough));
}

TEST(SerialWorker, FlushWithNothingPostedReturnsAtOnce) {
    SerialWorker worker;
    EXPECT_TRUE(worker.flush(0ms));
}

TEST(SerialWorker, ItsDestructorDropsWaitingJobsAndDoesNotWaitForAHangingOne) {
    std::promise<void> begun;
    std::promise<void> release;
    auto owned = std::make_shared<int>(0);
    const std::weak_ptr<int> ofTheHangingJob = owned;
    std::promise<void> ended;
    auto ranWaiting = std::make_shared<std::atomic<bool>>(false);
    const std::weak_ptr<std::atomic<bool>> ofTheWaitingJob = ranWaiting;
    {
        SerialWorker worker;
        worker.post(
            [&begun, &ended, owned = std::move(owned), released = release.get_future().share()] {
                begun.set_value();
                released.wait();
                *owned = 1;
                ended.set_value();
            });
        worker.post([ranWaiting] { *ranWaiting = true; });
        begun.get_future().wait();
    }
    EXPECT_EQ(ofTheWaitingJob.use_count(), 1) << "the waiting job was dropped";
    EXPECT_FALSE(ofTheHangingJob.expired()) << "the running one keeps what it owns";
    release.set_value();
    ended.get_future().wait();
    while (!ofTheHangingJob.expired()) {
        std::this_thread::yield();
    }
    EXPECT_FALSE(*ranWaiting);
}

} // namespace
} // namespace tandrel
