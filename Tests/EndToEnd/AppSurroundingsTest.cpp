#include "EndToEnd/AppStory.h"
#include "EndToEnd/SetClock.h"
#include "Support/Desktop/SettingsPortal.h"
#include "Support/FileText.h"
#include "Support/WaitUntil.h"

#include <chrono>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace tandrel::test {
namespace {

using std::chrono::milliseconds;

/// What changes around the program while it runs: colours, screens, the clock, sleep.
class AppSurroundings : public AppStory {
protected:
    /// How bright the popover's heading is, 0 to 1.
    double brightness() {
        const auto area = interface().extents(interface().await(role::button, "Sign In"));
        const auto picture = app().home() / "screen.png";
        EXPECT_TRUE(desktop().saveScreenshot(picture));
        // Beside the button, where the card shows.
        const std::string strip =
            "300x8+" + std::to_string(area.x) + '+' + std::to_string(area.y + area.height + 4);
        const auto mean = ChildProcess::run(
            {"convert", picture.string(), "-crop", strip, "-format", "%[fx:mean]", "info:"}, {});
        return std::stod(mean.text);
    }
    [[nodiscard]] bool comesToBe(bool isDark) {
        return waitUntil([&] { return (brightness() < 0.5) == isDark; });
    }
    [[nodiscard]] static std::int64_t polls() { return backend().requestCount("pending"); }
    using Moment = std::chrono::steady_clock::time_point;
    /// Waits for poll number `number`; when it had not come yet, by the last look before.
    static Moment awaitPoll(std::int64_t number) {
        Moment earliest = std::chrono::steady_clock::now();
        EXPECT_TRUE(waitUntil([&] {
            const Moment look = std::chrono::steady_clock::now();
            const bool hasCome = polls() >= number;
            earliest = hasCome ? earliest : look;
            return hasCome;
        }));
        return earliest;
    }
    static void arrangeScreens(const std::vector<std::string>& arguments) {
        std::vector<std::string> command{"xrandr"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        EXPECT_EQ(ChildProcess::run(command, desktop().clientEnvironment()).exitCode, 0);
    }
};

TEST_F(AppSurroundings, ADarkDesktopMakesThePopoverDarkAndItFollowsWhileItIsOpen) {
    SettingsPortal portal(desktop().bus().address(), SettingsPortal::dark);
    startWithPopover();
    EXPECT_TRUE(comesToBe(true));
    const auto news = app().home() / "news";
    const ChildProcess monitor(
        {"dbus-monitor", "--address", desktop().bus().address(), "type='signal',member='NewIcon'"},
        {}, news);
    const auto heard = [&](const std::string& text) {
        const std::string all = textOf(news);
        return all.find(text) != std::string::npos;
    };
    ASSERT_TRUE(waitUntil([&] { return heard("NameAcquired"); }));
    portal.set(SettingsPortal::light);
    EXPECT_TRUE(comesToBe(false));
    EXPECT_TRUE(waitUntil([&] { return heard("member=NewIcon"); }))
        << "the panel goes on showing the icon in the old colours";
}

TEST_F(AppSurroundings, AScreenThatGoesOrShrinksLeavesThePopoverOnTheScreen) {
    const auto liesWithin = [this](int width, int height) {
        return waitUntil([&] {
            const auto area = interface().extents(interface().await(role::button, "Sign In"));
            return area.x > 0 && area.x + area.width < width && area.y > 0 &&
                   area.y + area.height < height;
        });
    };
    arrangeScreens({"--setmonitor", "left", "640/160x800/200+0+0", "screen"});
    arrangeScreens({"--setmonitor", "right", "640/160x800/200+640+0", "none"});
    // The popover opens where the pointer is at the click.
    input().moveTo(1200, 700);
    startWithPopover();
    EXPECT_GT(interface().extents(interface().await(role::button, "Sign In")).x, 640);
    arrangeScreens({"--delmonitor", "right"});
    EXPECT_TRUE(liesWithin(640, 800));
    arrangeScreens({"--delmonitor", "left"});
    arrangeScreens(
        {"--newmode", "small", "0", "500", "500", "500", "500", "400", "400", "400", "400"});
    arrangeScreens({"--addmode", "screen", "small"});
    arrangeScreens({"--output", "screen", "--mode", "small"});
    EXPECT_TRUE(liesWithin(500, 400));
    arrangeScreens({"--output", "screen", "--mode", "1280x800"});
}

TEST_F(AppSurroundings, AClockThatIsSetChangesTheLogsStampsAndNothingElse) {
    SetClock clock(desktop().folder() / "clock");
    environment["TANDREL_TEST_CLOCK"] = clock.file().string();
    // The first comes with the sign-in.
    auto poll = polls() + 1;
    startWithPopover();
    signIn();
    Moment lastPoll = awaitPoll(poll);
    for (const auto ahead : {std::chrono::hours(72), std::chrono::hours(-72)}) {
        clock.set(ahead);
        const Moment next = awaitPoll(++poll);
        EXPECT_GT(std::chrono::steady_clock::now() - lastPoll, milliseconds(2500));
        lastPoll = next;
        EXPECT_TRUE(app().waitForLog(clock.day())) << app().debugLog();
    }
    EXPECT_TRUE(answersFor(milliseconds(200)));
}

TEST_F(AppSurroundings, AfterASleepItPollsOnceAndThenAtItsUsualPace) {
    // The first comes with the sign-in.
    const auto before = polls() + 1;
    startWithPopover();
    signIn();
    awaitPoll(before);
    app().process().signal(SIGSTOP);
    // More than an interval: a timer falls due while it sleeps.
    std::this_thread::sleep_for(milliseconds(3500));
    ASSERT_EQ(polls(), before);
    app().process().signal(SIGCONT);
    const Moment woken = awaitPoll(before + 1);
    awaitPoll(before + 2);
    EXPECT_GT(std::chrono::steady_clock::now() - woken, milliseconds(2500));
    EXPECT_EQ(polls(), before + 2);
}

} // namespace
} // namespace tandrel::test
