#include "Foundation/InlineFunction.h"

#include "Support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <memory>
#include <utility>

namespace tandrel {
namespace {

/// Large enough for the heap.
using Large = std::array<char, 200>;

TEST(InlineFunction, CallsWhatItHoldsAndReturnsItsResult) {
    const InlineFunction<int(int, int)> sum = [](int left, int right) { return left + right; };
    EXPECT_EQ(sum(2, 3), 5);
}

TEST(InlineFunction, HandsArgumentsOnThatCannotBeCopied) {
    const InlineFunction<int(std::unique_ptr<int>)> read = [](std::unique_ptr<int> value) {
        return *value;
    };
    EXPECT_EQ(read(std::make_unique<int>(7)), 7);
}

TEST(InlineFunction, IsEmptyUntilItHoldsSomethingAndOnceThatHasGone) {
    InlineFunction<void()> function;
    EXPECT_FALSE(function);
    EXPECT_FALSE(InlineFunction<void()>(nullptr));
    function = [] {};
    EXPECT_TRUE(function);
    const InlineFunction<void()> other = std::move(function);
    EXPECT_TRUE(other);
    EXPECT_FALSE(function); // NOLINT(bugprone-use-after-move): what is left behind is the question
    function = nullptr;
    EXPECT_FALSE(function);
}

TEST(InlineFunction, KeepsWhatACallChanges) {
    const InlineFunction<int()> count = [calls = 0]() mutable { return ++calls; };
    EXPECT_EQ(count(), 1);
    EXPECT_EQ(count(), 2);
}

template <typename Ballast>
void expectOneDestruction() {
    auto owned = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = owned;
    {
        InlineFunction<int()> first = [owned = std::move(owned), ballast = Ballast()] {
            return *owned + ballast[0];
        };
        InlineFunction<int()> second = std::move(first);
        EXPECT_EQ(watched.use_count(), 1);
        first = std::move(second);
        EXPECT_EQ(first(), 1);
        EXPECT_EQ(watched.use_count(), 1);
    }
    EXPECT_TRUE(watched.expired());

    auto again = std::make_shared<int>(1);
    const std::weak_ptr<int> replaced = again;
    InlineFunction<void()> function = [again = std::move(again), ballast = Ballast()] {};
    function = [] {};
    EXPECT_TRUE(replaced.expired());
}

TEST(InlineFunction, DestroysWhatItHoldsOnceHoweverItIsMoved) {
    expectOneDestruction<std::array<char, 1>>();
}

TEST(InlineFunction, DestroysWhatIsTooLargeForItOnceToo) {
    expectOneDestruction<Large>();
}

TEST(InlineFunction, AllocatesNothingForOwningPointersAndAFewNumbers) {
    const auto owned = std::make_shared<int>(1);
    const std::weak_ptr<int> weak = owned;
    const test::AllocationCounter allocations;
    InlineFunction<int()> small = [weak, number = 2.0, owned] { return *owned; };
    const InlineFunction<int()> moved = std::move(small);
    EXPECT_EQ(moved(), 1);
    EXPECT_EQ(allocations.count(), 0U);
    const InlineFunction<char()> large = [ballast = Large()] { return ballast[0]; };
    EXPECT_EQ(large(), 0);
    EXPECT_EQ(allocations.count(), 1U);
}

TEST(InlineFunction, HoldsAStandardFunction) {
    const std::function<int()> standard = [] { return 3; };
    const InlineFunction<int()> function = standard;
    EXPECT_EQ(function(), 3);
}

} // namespace
} // namespace tandrel
