#include "AppDelegate.h"

#include "AppState.h"
#include "Support/LogCapture.h"
#include "Support/ManualClock.h"

#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <vector>

namespace tandrel {
namespace {

using test::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

const std::string received = "[AppDelegate] Received URL: ";
const std::string opening = "[AppDelegate] Opening popover via status bar button click";
const std::string missing = "[AppDelegate] Could not find status bar button to open popover";

class AppDelegateTest : public testing::Test {
protected:
    test::ManualClock clock_;
    AppState state_;
    LogCapture log_;
    int activations_ = 0;
    int clicks_ = 0;
    bool hasButton_ = true;
    AppDelegate delegate_{
        state_,
        clock_,
        {[this] { ++activations_; }, [this] { return hasButton_; }, [this] { ++clicks_; }}};
};

TEST_F(AppDelegateTest, AStopOnlySetsTheFlag) {
    delegate_.open({"quorvane-tandrel://stop"});
    clock_.advance(1s);
    EXPECT_TRUE(state_.stopRequested.value());
    EXPECT_FALSE(state_.autoStartRequested.value());
    EXPECT_EQ(activations_, 0);
    EXPECT_EQ(clicks_, 0);
    EXPECT_THAT(log_.lines(), ElementsAre(received + "quorvane-tandrel://stop command=stop"));
}

TEST_F(AppDelegateTest, AStartActivatesAndClicksATenthOfASecondLater) {
    delegate_.open({"quorvane-tandrel://start"});
    EXPECT_TRUE(state_.autoStartRequested.value());
    EXPECT_FALSE(state_.stopRequested.value());
    EXPECT_EQ(activations_, 1);
    clock_.advance(99ms);
    EXPECT_EQ(clicks_, 0);
    clock_.advance(1ms);
    EXPECT_EQ(clicks_, 1);
    EXPECT_THAT(log_.lines(),
                ElementsAre(received + "quorvane-tandrel://start command=start", opening));
}

TEST_F(AppDelegateTest, AnyOtherCommandIsAStart) {
    for (const std::string host : {"STOP", "st%6Fp", "", "stopp", "stop "}) {
        const std::string url = "quorvane-tandrel://" + host;
        state_.autoStartRequested.set(false);
        delegate_.open({url});
        EXPECT_TRUE(state_.autoStartRequested.value()) << url;
        EXPECT_FALSE(state_.stopRequested.value()) << url;
        EXPECT_EQ(log_.count(received + url + " command=" + host), 1U) << url;
    }
}

TEST_F(AppDelegateTest, AnotherSchemeIsIgnoredSilently) {
    delegate_.open({"https://stop", "QUORVANE-TANDREL://stop", "quorvane-tandrel", ""});
    clock_.advance(1s);
    EXPECT_FALSE(state_.stopRequested.value());
    EXPECT_FALSE(state_.autoStartRequested.value());
    EXPECT_EQ(clicks_, 0);
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(AppDelegateTest, TheURLsOfOneDeliveryAreHandledInOrder) {
    std::vector<std::string> order;
    const auto stop = state_.stopRequested.observe([&](bool) { order.emplace_back("stop"); });
    const auto start =
        state_.autoStartRequested.observe([&](bool) { order.emplace_back("start"); });
    delegate_.open({"quorvane-tandrel://stop", "ftp://x", "quorvane-tandrel://start"});
    EXPECT_THAT(order, ElementsAre("stop", "start"));
    EXPECT_TRUE(state_.stopRequested.value());
    EXPECT_TRUE(state_.autoStartRequested.value());
}

TEST_F(AppDelegateTest, WithoutAButtonTheFlagStaysAndTheLogSaysWhy) {
    hasButton_ = false;
    delegate_.open({"quorvane-tandrel://start"});
    clock_.advance(100ms);
    EXPECT_TRUE(state_.autoStartRequested.value());
    EXPECT_EQ(clicks_, 0);
    EXPECT_THAT(log_.lines(),
                ElementsAre(received + "quorvane-tandrel://start command=start", missing));
}

TEST_F(AppDelegateTest, EachStartClicksAgain) {
    delegate_.open({"quorvane-tandrel://start"});
    clock_.advance(100ms);
    delegate_.open({"quorvane-tandrel://start"});
    clock_.advance(100ms);
    EXPECT_EQ(clicks_, 2);
    EXPECT_EQ(log_.count(opening), 2U);
}

TEST_F(AppDelegateTest, StartsThatComeBeforeTheClickShareIt) {
    delegate_.open({"quorvane-tandrel://start", "quorvane-tandrel://start"});
    clock_.advance(50ms);
    delegate_.start();
    clock_.advance(50ms);
    EXPECT_EQ(clicks_, 1);
    clock_.advance(1s);
    EXPECT_EQ(clicks_, 1);
}

TEST_F(AppDelegateTest, NobodyForgesALineOfTheLog) {
    delegate_.open({"quorvane-tandrel://a\n2026-01-01T00:00:00Z [App] init\r\x1b[2J\x7f"});
    EXPECT_THAT(log_.lines(),
                ElementsAre(received + "quorvane-tandrel://a\\x0a2026-01-01T00:00:00Z [App] "
                                       "init\\x0d\\x1b[2J\\x7f command=a\\x0a2026-01-01T00"));
}

TEST_F(AppDelegateTest, ALongURLIsCutInTheLogToo) {
    delegate_.open({"quorvane-tandrel://stop/" + std::string(1'000'000, 'x')});
    EXPECT_TRUE(state_.stopRequested.value());
    ASSERT_EQ(log_.lines().size(), 1U);
    EXPECT_LT(log_.lines().front().size(), 2200U);
}

TEST_F(AppDelegateTest, AFloodIsHandledAFewAtATimeAndInOrder) {
    std::vector<std::string> urls;
    for (int number = 0; number < 1000; ++number) {
        urls.push_back("quorvane-tandrel://start/" + std::to_string(number));
    }
    delegate_.open(urls);
    EXPECT_EQ(log_.linesStartingWith(received).size(), AppDelegate::urlsPerTurn);
    delegate_.open({"quorvane-tandrel://stop"});
    EXPECT_FALSE(state_.stopRequested.value()) << "it came after those that wait";
    clock_.runPending();
    EXPECT_TRUE(state_.stopRequested.value());
    const auto lines = log_.linesStartingWith(received);
    ASSERT_EQ(lines.size(), 1001U);
    EXPECT_EQ(lines[999], received + "quorvane-tandrel://start/999 command=start");
    EXPECT_EQ(lines[1000], received + "quorvane-tandrel://stop command=stop");
    EXPECT_EQ(activations_, 1);
    clock_.advance(1s);
    EXPECT_EQ(clicks_, 1);
}

} // namespace
} // namespace tandrel
