#include "Foundation/OperationSet.h"

#include "Support/ManualClock.h"

#include <gmock/gmock.h>

#include <chrono>
#include <functional>
#include <memory>
#include <utility>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using test::ManualClock;

TEST(OperationSet, RunsAnActionOnceAndForgetsIt) {
    ManualClock clock;
    OperationSet operations;
    int calls = 0;
    operations.after(clock, 1s, [&] { ++calls; });
    EXPECT_EQ(operations.size(), 1U);
    clock.advance(10s);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(operations.size(), 0U);
}

TEST(OperationSet, KeepsSeveralOperationsApart) {
    ManualClock clock;
    OperationSet operations;
    int calls = 0;
    operations.after(clock, 1s, [&] { calls += 1; });
    operations.after(clock, 2s, [&] { calls += 10; });
    clock.advance(1s);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(operations.size(), 1U);
    clock.advance(1s);
    EXPECT_EQ(calls, 11);
}

TEST(OperationSet, EndsWhatIsUnderWayWhenItGoes) {
    ManualClock clock;
    int calls = 0;
    {
        OperationSet operations;
        operations.after(clock, 1s, [&] { ++calls; });
    }
    clock.advance(10s);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(clock.pendingCount(), 0U);
}

TEST(OperationSet, AnActionMayDestroyTheSet) {
    ManualClock clock;
    auto operations = std::make_unique<OperationSet>();
    bool ran = false;
    operations->after(clock, 1s, [&operations, &ran] {
        operations.reset();
        ran = true;
    });
    clock.advance(1s);
    EXPECT_TRUE(ran);
}

TEST(OperationSet, AnActionMayStartAnother) {
    ManualClock clock;
    OperationSet operations;
    int calls = 0;
    operations.after(clock, 1s, [&] { operations.after(clock, 1s, [&] { ++calls; }); });
    clock.advance(1s);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(operations.size(), 1U);
    clock.advance(1s);
    EXPECT_EQ(calls, 1);
}

TEST(OperationSet, AnOperationIsKeptUntilItSaysThatItEnded) {
    ManualClock clock;
    OperationSet operations;
    int calls = 0;
    operations.start([&](OperationSet::Ended ended) {
        return clock.after(1s, [&calls, ended = std::move(ended)] {
            ++calls;
            ended();
        });
    });
    EXPECT_EQ(operations.size(), 1U);
    clock.advance(1s);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(operations.size(), 0U);
}

TEST(OperationSet, AnOperationThatEndsAtOnceOrIsNoneLeavesNothing) {
    ManualClock clock;
    OperationSet operations;
    operations.start([&](const OperationSet::Ended& ended) {
        ended();
        return clock.after(1s, [] { FAIL(); });
    });
    operations.start([](const OperationSet::Ended&) { return Handle(); });
    EXPECT_EQ(operations.size(), 0U);
    clock.advance(1s);
}

TEST(OperationSet, TheEndMayBeToldAfterTheSetHasGone) {
    OperationSet::Ended told;
    {
        OperationSet operations;
        operations.start([&](OperationSet::Ended ended) {
            told = std::move(ended);
            return Handle();
        });
    }
    told();
}

} // namespace
} // namespace tandrel
