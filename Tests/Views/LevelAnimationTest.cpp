#include "Views/LevelAnimation.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using tandrel::LevelAnimation;

TEST(LevelAnimation, StartsAtZeroAndAtRest) {
    const LevelAnimation animation;
    EXPECT_EQ(animation.value(LevelAnimation::TimePoint{1h}), 0.0);
    EXPECT_FALSE(animation.isRunning(LevelAnimation::TimePoint{}));
}

TEST(LevelAnimation, IsLinearOverFiftyMilliseconds) {
    LevelAnimation animation;
    const LevelAnimation::TimePoint start{10s};
    animation.setTarget(1.0, start);
    EXPECT_DOUBLE_EQ(animation.value(start), 0.0);
    EXPECT_DOUBLE_EQ(animation.value(start + 5ms), 0.1);
    EXPECT_DOUBLE_EQ(animation.value(start + 25ms), 0.5);
    EXPECT_DOUBLE_EQ(animation.value(start + 50ms), 1.0);
    EXPECT_DOUBLE_EQ(animation.value(start + 51ms), 1.0);
    EXPECT_TRUE(animation.isRunning(start + 49ms));
    EXPECT_FALSE(animation.isRunning(start + 50ms));
}

TEST(LevelAnimation, TurnsFromWhereItIs) {
    LevelAnimation animation;
    const LevelAnimation::TimePoint start{10s};
    animation.setTarget(1.0, start);
    animation.setTarget(0.0, start + 20ms);
    EXPECT_DOUBLE_EQ(animation.value(start + 20ms), 0.4);
    EXPECT_DOUBLE_EQ(animation.value(start + 45ms), 0.2);
    EXPECT_DOUBLE_EQ(animation.value(start + 70ms), 0.0);
}

TEST(LevelAnimation, JumpsWithoutMoving) {
    LevelAnimation animation;
    animation.jumpTo(0.7);
    EXPECT_EQ(animation.value(LevelAnimation::TimePoint{}), 0.7);
    EXPECT_FALSE(animation.isRunning(LevelAnimation::TimePoint{}));
}
