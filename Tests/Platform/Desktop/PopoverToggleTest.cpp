#include "Platform/Desktop/PopoverToggle.h"

#include <gmock/gmock.h>

#include <chrono>

namespace tandrel {
namespace {

using Reaction = PopoverToggle::Reaction;
using namespace std::chrono_literals;

constexpr PopoverToggle::TimePoint start{1h};

TEST(PopoverToggle, OpensAndCloses) {
    PopoverToggle toggle;
    EXPECT_EQ(toggle.clicked(false, start), Reaction::open);
    EXPECT_EQ(toggle.clicked(true, start + 1s), Reaction::close);
    EXPECT_EQ(toggle.clicked(false, start + 2s), Reaction::open);
}

TEST(PopoverToggle, TakesADoubleClickForOne) {
    PopoverToggle toggle;
    EXPECT_EQ(toggle.clicked(false, start), Reaction::open);
    EXPECT_EQ(toggle.clicked(true, start + 249ms), Reaction::none);
    EXPECT_EQ(toggle.clicked(true, start + 250ms), Reaction::close);
}

TEST(PopoverToggle, ClicksThatAreIgnoredDoNotKeepTheNextOneFromCounting) {
    PopoverToggle toggle;
    EXPECT_EQ(toggle.clicked(false, start), Reaction::open);
    EXPECT_EQ(toggle.clicked(true, start + 200ms), Reaction::none);
    EXPECT_EQ(toggle.clicked(true, start + 400ms), Reaction::close);
}

TEST(PopoverToggle, TheClickThatTookTheFocusAwayDoesNotOpenAgain) {
    PopoverToggle toggle;
    toggle.closedByItself(start);
    EXPECT_EQ(toggle.clicked(false, start + 50ms), Reaction::none);
    EXPECT_EQ(toggle.clicked(false, start + 400ms), Reaction::open);
}

TEST(PopoverToggle, OpensAgainLongAfterItClosedByItself) {
    PopoverToggle toggle;
    toggle.closedByItself(start);
    EXPECT_EQ(toggle.clicked(false, start + 250ms), Reaction::open);
}

} // namespace
} // namespace tandrel
