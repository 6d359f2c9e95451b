#include "Foundation/Published.h"

#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tandrel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Published, NotifiesEveryAssignmentEvenAnEqualOne) {
    Published<int> property(1);
    std::vector<int> seen;
    const Subscription subscription = property.observe([&](int value) { seen.push_back(value); });
    property.set(1);
    property.set(1);
    property.set(2);
    EXPECT_THAT(seen, ElementsAre(1, 1, 2));
}

TEST(Published, ReactsOnlyToADifferenceAndNeverToTheInitialValue) {
    Published<int> property(1);
    std::vector<int> seen;
    const Subscription subscription = property.onChange([&](int value) { seen.push_back(value); });
    EXPECT_THAT(seen, IsEmpty());
    property.set(1);
    property.set(2);
    property.set(2);
    property.set(1);
    EXPECT_THAT(seen, ElementsAre(2, 1));
}

struct Record {
    int id = 0;
    std::string token;
    friend bool operator==(const Record& left, const Record& right) { return left.id == right.id; }
};

TEST(Published, StoresAValueThatComparesEqualButReactsToNone) {
    Published<Record> property(Record{1, "old"});
    int reactions = 0;
    const Subscription subscription = property.onChange([&](const Record&) { ++reactions; });
    property.set(Record{1, "new"});
    EXPECT_EQ(property.value().token, "new");
    EXPECT_EQ(reactions, 0);
}

TEST(Published, ShowsTheNewValueToAnObserverThatReadsIt) {
    Published<int> property(0);
    int read = -1;
    const Subscription subscription = property.observe([&](int) { read = property.value(); });
    property.set(7);
    EXPECT_EQ(read, 7);
}

TEST(Published, IsSilentAfterTheSubscriptionHasGone) {
    Published<int> property(0);
    int calls = 0;
    {
        const Subscription subscription = property.observe([&](int) { ++calls; });
        property.set(1);
    }
    property.set(2);
    EXPECT_EQ(calls, 1);
}

TEST(Published, HandsTheNewestValueToObserversAfterANestedAssignment) {
    Published<int> property(0);
    std::vector<int> first;
    std::vector<int> second;
    const Subscription a = property.onChange([&](int value) {
        first.push_back(value);
        if (value == 1) {
            property.set(2);
        }
    });
    const Subscription b = property.onChange([&](int value) { second.push_back(value); });
    property.set(1);
    EXPECT_THAT(first, ElementsAre(1, 2));
    EXPECT_THAT(second, ElementsAre(2));
}

TEST(Published, AnObserverMayEndItselfAndOthersDuringANotification) {
    Published<int> property(0);
    int own = 0;
    int other = 0;
    std::optional<Subscription> b;
    std::optional<Subscription> a;
    a = property.observe([&](int) {
        ++own;
        b.reset();
        a.reset();
    });
    b = property.observe([&](int) { ++other; });
    property.set(1);
    property.set(2);
    EXPECT_EQ(own, 1);
    EXPECT_EQ(other, 0);
}

TEST(Published, AnObserverAddedDuringANotificationWaitsForTheNextOne) {
    Published<int> property(0);
    std::vector<int> late;
    std::optional<Subscription> added;
    const Subscription subscription = property.observe([&](int) {
        if (!added) {
            added = property.observe([&](int value) { late.push_back(value); });
        }
    });
    property.set(1);
    property.set(2);
    EXPECT_THAT(late, ElementsAre(2));
}

TEST(Published, MayBeDestroyedByItsOwnObserver) {
    auto property = std::make_unique<Published<int>>(0);
    int calls = 0;
    const Subscription a = property->observe([&](int) {
        ++calls;
        property.reset();
    });
    const Subscription b = property->observe([&](int) { ++calls; });
    property->set(1);
    EXPECT_EQ(property, nullptr);
    EXPECT_EQ(calls, 2);
}

TEST(Published, ASubscriptionMayOutliveItsProperty) {
    std::optional<Subscription> subscription;
    {
        Published<int> property(0);
        subscription = property.observe([](int) {});
    }
    subscription.reset();
}

TEST(Published, AMovedSubscriptionStaysAttachedOnce) {
    Published<int> property(0);
    int calls = 0;
    Subscription first = property.observe([&](int) { ++calls; });
    Subscription second = std::move(first);
    property.set(1);
    EXPECT_EQ(calls, 1);
    second = Subscription();
    property.set(2);
    EXPECT_EQ(calls, 1);
}

TEST(Published, TellsItsOwnerWhetherAnybodyWatches) {
    Published<int> number;
    std::vector<bool> told;
    number.setOnWatched([&](bool isWatched) { told.push_back(isWatched); });
    Subscription first = number.observe([](int) {});
    Subscription second = number.observe([](int) {});
    EXPECT_THAT(told, ElementsAre(true));
    first.reset();
    EXPECT_THAT(told, ElementsAre(true));
    second.reset();
    EXPECT_THAT(told, ElementsAre(true, false));
    first = number.onChange([](int) {});
    EXPECT_THAT(told, ElementsAre(true, false, true));
}

TEST(Published, AnObserverThatLeavesDuringItsNotificationIsNoLongerCounted) {
    Published<int> number;
    std::vector<bool> told;
    number.setOnWatched([&](bool isWatched) { told.push_back(isWatched); });
    Subscription subscription;
    subscription = number.observe([&](int) { subscription.reset(); });
    number.set(1);
    EXPECT_THAT(told, ElementsAre(true, false));
}

} // namespace
} // namespace tandrel
