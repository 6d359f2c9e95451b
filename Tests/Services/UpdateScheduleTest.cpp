#include "Services/UpdateSchedule.h"

#include "Support/FakeUserDefaults.h"
#include "Support/ManualClock.h"

#include <gmock/gmock.h>

#include <chrono>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using std::chrono::hours;

class UpdateScheduleTest : public testing::Test {
protected:
    /// A start of the program; an earlier one has ended.
    void start() {
        schedule.emplace(
            clock, [this] { return now; },
            UpdateSchedule::Actions{[this] {
                                        ++loads;
                                        return UpdatePreferences(userDefaults);
                                    },
                                    [this] { ++questions; },
                                    [this] {
                                        ++checks;
                                        if (checksSucceed) {
                                            preferences.setLastCheck(now);
                                        }
                                    }});
        schedule->start();
    }
    void advance(std::chrono::minutes duration) {
        for (auto left = duration; left > 0min; left -= 1min) {
            now += 1min;
            clock.advance(1min);
        }
    }

    test::ManualClock clock;
    test::FakeUserDefaults userDefaults;
    UpdatePreferences preferences{userDefaults};
    UpdatePreferences::TimePoint now{hours(24 * 365 * 50)};
    bool checksSucceed = true;
    int loads = 0;
    int questions = 0;
    int checks = 0;
    std::optional<UpdateSchedule> schedule;
};

TEST_F(UpdateScheduleTest, TouchesNothingInTheFirstMinute) {
    start();
    advance(0min);
    clock.advance(59s);
    EXPECT_EQ(loads, 0);
}

TEST_F(UpdateScheduleTest, AsksAtTheSecondStartAndNotAtTheFirst) {
    start();
    advance(hours(48));
    EXPECT_EQ(questions, 0);
    start();
    advance(1min);
    EXPECT_EQ(questions, 1);
    advance(hours(48));
    EXPECT_EQ(questions, 1);
    EXPECT_EQ(checks, 0) << "nobody agreed";
}

TEST_F(UpdateScheduleTest, AsksAtAStartAndAtNoOtherTime) {
    start();
    advance(1min);
    ASSERT_TRUE(preferences.hasStarted());
    // The user's answer is taken back, say by settings that were replaced.
    schedule->answerChanged();
    advance(hours(48));
    EXPECT_EQ(questions, 0);
}

TEST_F(UpdateScheduleTest, AsksNoMoreOnceThereIsAnAnswer) {
    for (const bool answer : {false, true}) {
        preferences.noteStart();
        preferences.setChecksDaily(answer);
        start();
        advance(hours(48));
    }
    EXPECT_EQ(questions, 0);
}

TEST_F(UpdateScheduleTest, ChecksNeverForSomebodyWhoDeclined) {
    preferences.setChecksDaily(false);
    start();
    advance(hours(72));
    EXPECT_EQ(checks, 0);
    EXPECT_EQ(clock.pendingCount(), 0U) << "a timer that nobody needs";
}

TEST_F(UpdateScheduleTest, ChecksOnceADay) {
    preferences.setChecksDaily(true);
    start();
    advance(1min);
    EXPECT_EQ(checks, 1);
    advance(hours(23));
    EXPECT_EQ(checks, 1);
    advance(hours(24 * 10));
    EXPECT_EQ(checks, 11);
}

TEST_F(UpdateScheduleTest, DoesNotCheckAgainAtEachStart) {
    preferences.setChecksDaily(true);
    for (int restart = 0; restart < 5; ++restart) {
        start();
        advance(hours(1));
    }
    EXPECT_EQ(checks, 1);
}

TEST_F(UpdateScheduleTest, ChecksSoonAfterALongSuspension) {
    preferences.setChecksDaily(true);
    start();
    advance(1min);
    // The timers stood still; the calendar did not.
    now += hours(24 * 3);
    advance(UpdateSchedule::lookInterval);
    EXPECT_EQ(checks, 2);
}

TEST_F(UpdateScheduleTest, SurvivesAClockThatWasSetBack) {
    preferences.setChecksDaily(true);
    start();
    advance(1min);
    now -= hours(24 * 365);
    advance(UpdateSchedule::lookInterval);
    EXPECT_EQ(checks, 2) << "or there would be no check for a year";
    advance(hours(12));
    EXPECT_EQ(checks, 2);
}

TEST_F(UpdateScheduleTest, TriesAgainAfterAFailureButNotAllTheTime) {
    preferences.setChecksDaily(true);
    checksSucceed = false;
    start();
    advance(hours(24));
    EXPECT_EQ(checks, 8);
}

TEST_F(UpdateScheduleTest, BeginsWhenTheUserAgreesAndEndsWhenTheyDoNot) {
    start();
    advance(hours(1));
    preferences.setChecksDaily(true);
    schedule->answerChanged();
    advance(1min);
    EXPECT_EQ(checks, 1);
    preferences.setChecksDaily(false);
    schedule->answerChanged();
    advance(hours(72));
    EXPECT_EQ(checks, 1);
}

TEST_F(UpdateScheduleTest, EndsWithItsOwner) {
    preferences.setChecksDaily(true);
    start();
    schedule.reset();
    advance(hours(48));
    EXPECT_EQ(checks + loads, 0);
}

TEST(UpdatePreferences, RememberWhatTheyAreTold) {
    test::FakeUserDefaults userDefaults;
    UpdatePreferences preferences(userDefaults);
    EXPECT_EQ(preferences.checksDaily(), std::nullopt);
    EXPECT_FALSE(preferences.hasStarted());
    EXPECT_EQ(preferences.lastCheck(), std::nullopt);
    EXPECT_EQ(preferences.skippedVersion(), "");
    preferences.setChecksDaily(true);
    preferences.noteStart();
    preferences.setLastCheck(UpdatePreferences::TimePoint(1'700'000'000'900ms));
    preferences.setSkippedVersion("1.2");
    const UpdatePreferences later(userDefaults);
    EXPECT_EQ(later.checksDaily(), true);
    EXPECT_TRUE(later.hasStarted());
    EXPECT_EQ(later.lastCheck(), UpdatePreferences::TimePoint(1'700'000'000s));
    EXPECT_EQ(later.skippedVersion(), "1.2");
}

TEST(UpdatePreferences, TakeDamagedSettingsForNone) {
    for (const char* text :
         {"", "soon", "-5", "1e9", " 5", "99999999999999999999", "10000000000"}) {
        test::FakeUserDefaults userDefaults;
        userDefaults.setData("updates.lastCheck", text);
        userDefaults.setData("updates.checksDaily", text);
        const UpdatePreferences preferences(userDefaults);
        EXPECT_EQ(preferences.lastCheck(), std::nullopt) << text;
        EXPECT_EQ(preferences.checksDaily(), std::nullopt) << text;
    }
}

} // namespace
} // namespace tandrel
