#include "Platform/RepeatedLook.h"

#include "Support/ManualMainQueue.h"
#include "Support/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <thread>

namespace tandrel {
namespace {

using namespace std::chrono_literals;

class RepeatedLookTest : public testing::Test {
protected:
    /// Looks that find something once `isThere` is set; counted.
    [[nodiscard]] RepeatedLook::Look look() {
        return [this] {
            ++looks;
            return isThere.load();
        };
    }

    test::ManualMainQueue mainQueue;
    std::atomic<int> looks{0};
    std::atomic<bool> isThere{false};
    int found = 0;
};

TEST_F(RepeatedLookTest, LooksUntilItFindsAndTellsOnceOnTheMainThread) {
    const RepeatedLook search(mainQueue, 1ms, look(), [this] { ++found; });
    ASSERT_TRUE(test::waitUntil([this] { return looks > 3; }));
    EXPECT_EQ(mainQueue.size(), 0U);
    isThere = true;
    ASSERT_TRUE(test::waitUntil([this] { return mainQueue.size() == 1; }));
    EXPECT_EQ(found, 0) << "on the main thread";
    const int before = looks;
    mainQueue.drain();
    EXPECT_EQ(found, 1);
    EXPECT_EQ(looks, before);
    EXPECT_EQ(mainQueue.size(), 0U);
}

TEST_F(RepeatedLookTest, LooksAtOnceAndNeverOnTheMainThread) {
    isThere = true;
    std::atomic<std::thread::id> where;
    const RepeatedLook search(
        mainQueue, 1h,
        [&, ask = look()] {
            where = std::this_thread::get_id();
            return ask();
        },
        [this] { ++found; });
    EXPECT_TRUE(mainQueue.drainUntil([this] { return found == 1; }));
    EXPECT_NE(where.load(), std::this_thread::get_id());
}

TEST_F(RepeatedLookTest, TellsNothingMoreOnceItHasEnded) {
    isThere = true;
    std::optional<RepeatedLook> search;
    search.emplace(mainQueue, 1ms, look(), [this] { ++found; });
    ASSERT_TRUE(test::waitUntil([this] { return mainQueue.size() == 1; }));
    search.reset();
    mainQueue.drain();
    EXPECT_EQ(found, 0);
}

TEST_F(RepeatedLookTest, MayEndInsideItsOwnCompletion) {
    isThere = true;
    std::optional<RepeatedLook> search;
    search.emplace(mainQueue, 1ms, look(), [&] {
        search.reset();
        ++found;
    });
    EXPECT_TRUE(mainQueue.drainUntil([this] { return found == 1; }));
}

TEST_F(RepeatedLookTest, AnEndCutsTheWaitBetweenTwoLooksShort) {
    auto used = std::make_shared<int>();
    const std::weak_ptr<int> alive = used;
    std::optional<RepeatedLook> search;
    search.emplace(
        mainQueue, 1h, [ask = look(), used = std::move(used)] { return ask(); },
        [this] { ++found; });
    ASSERT_TRUE(test::waitUntil([this] { return looks == 1; }));
    search.reset();
    EXPECT_TRUE(test::waitUntil([&] { return alive.expired(); })) << "its thread ends";
    EXPECT_EQ(looks, 1);
}

TEST_F(RepeatedLookTest, AnEndDoesNotWaitForALookThatHangs) {
    std::promise<void> entered;
    std::promise<void> release;
    // Shared with a look that outlives the operation.
    auto released = std::make_shared<std::future<void>>(release.get_future());
    const std::weak_ptr<std::future<void>> alive = released;
    auto queue = std::make_unique<test::ManualMainQueue>();
    std::optional<RepeatedLook> search;
    search.emplace(
        *queue, 1ms,
        [&entered, released = std::move(released)] {
            entered.set_value();
            released->wait();
            return true;
        },
        [this] { ++found; });
    entered.get_future().wait();
    search.reset();
    queue.reset();
    release.set_value();
    EXPECT_TRUE(test::waitUntil([&] { return alive.expired(); }));
    EXPECT_EQ(found, 0);
}

} // namespace
} // namespace tandrel
