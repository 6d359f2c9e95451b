#include "Platform/Qt/QtMainQueue.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QThread>
#include <QTimer>

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

namespace tandrel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Runs the event loop until `done` holds, for at most 20 s.
void runUntil(const std::function<bool()>& done) {
    QTimer limit;
    limit.setSingleShot(true);
    limit.start(std::chrono::seconds(20));
    while (!done() && limit.isActive()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    EXPECT_TRUE(done());
}

TEST(QtMainQueue, RunsLaterAndInOrder) {
    QtMainQueue queue;
    std::vector<int> order;
    for (int number = 0; number < 5; ++number) {
        queue.post([&order, number] { order.push_back(number); });
    }
    EXPECT_THAT(order, IsEmpty());
    runUntil([&] { return order.size() == 5; });
    EXPECT_THAT(order, ElementsAre(0, 1, 2, 3, 4));
}

TEST(QtMainQueue, RunsWhatIsNotWorthAWakeUpBeforeTheNextThatIs) {
    QtMainQueue queue;
    std::vector<int> order;
    queue.postWithoutWaking([&order] { order.push_back(1); });
    QCoreApplication::processEvents();
    EXPECT_THAT(order, IsEmpty());
    queue.post([&order] { order.push_back(2); });
    queue.postWithoutWaking([&order] { order.push_back(3); });
    runUntil([&] { return order.size() == 3; });
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
}

TEST(QtMainQueue, ManyThatAreNotWorthAWakeUpAreTogether) {
    QtMainQueue queue;
    std::size_t count = 0;
    for (std::size_t number = 0; number + 1 < QtMainQueue::wakingCount; ++number) {
        queue.postWithoutWaking([&count] { ++count; });
    }
    QCoreApplication::processEvents();
    EXPECT_EQ(count, 0U);
    queue.postWithoutWaking([&count] { ++count; });
    runUntil([&] { return count == QtMainQueue::wakingCount; });
}

TEST(QtMainQueue, RunsOnTheMainThreadWhatOtherThreadsPostEachInItsOrder) {
    static constexpr int posts = 5000;
    static constexpr std::size_t threadCount = 3;
    QtMainQueue queue;
    std::vector<std::vector<int>> seen(threadCount);
    int onMainThread = 0;
    std::vector<std::thread> threads;
    for (std::size_t index = 0; index < threadCount; ++index) {
        threads.emplace_back([&, index] {
            for (int number = 0; number < posts; ++number) {
                queue.post([&, index, number] {
                    seen[index].push_back(number);
                    onMainThread += QThread::currentThread() == qApp->thread() ? 1 : 0;
                });
            }
        });
    }
    const int total = posts * static_cast<int>(threadCount);
    runUntil([&] { return onMainThread == total; });
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const auto& numbers : seen) {
        ASSERT_EQ(numbers.size(), static_cast<std::size_t>(posts));
        EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    }
}

TEST(QtMainQueue, RunsWhatAnActionPosts) {
    QtMainQueue queue;
    std::vector<int> order;
    queue.post([&] {
        order.push_back(1);
        queue.post([&] { order.push_back(3); });
    });
    queue.post([&] { order.push_back(2); });
    runUntil([&] { return order.size() == 3; });
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
}

TEST(QtMainQueue, KeepsTheOrderWhenAnActionRunsAnEventLoop) {
    QtMainQueue queue;
    std::vector<int> order;
    queue.post([&] {
        order.push_back(1);
        queue.post([&] { order.push_back(3); });
        runUntil([&] { return order.size() == 3; });
        order.push_back(4);
    });
    queue.post([&] { order.push_back(2); });
    runUntil([&] { return order.size() == 4; });
    EXPECT_THAT(order, ElementsAre(1, 2, 3, 4));
}

TEST(QtMainQueue, ReleasesAnActionOnceItHasRun) {
    QtMainQueue queue;
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = held;
    bool ran = false;
    queue.post([held = std::move(held), &ran] { ran = true; });
    runUntil([&] { return ran; });
    EXPECT_TRUE(watched.expired());
}

TEST(QtMainQueue, DropsWaitingWorkUnrunWhenDestroyed) {
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = held;
    int calls = 0;
    {
        QtMainQueue queue;
        queue.post([held = std::move(held), &calls] { ++calls; });
    }
    EXPECT_TRUE(watched.expired());
    QCoreApplication::processEvents();
    EXPECT_EQ(calls, 0);
}

} // namespace
} // namespace tandrel
