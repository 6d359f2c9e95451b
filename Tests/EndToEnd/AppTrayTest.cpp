#include "EndToEnd/AppStory.h"
#include "Support/WaitUntil.h"

#include <chrono>
#include <string>

namespace tandrel::test {
namespace {

using std::chrono::seconds;

/// The icon and the popover on desktops of each kind, and other starts of the program.
class AppTray : public AppStory {
protected:
    bool showsForm() { return interface().shows(role::button, "Sign In"); }
    bool formComes(std::chrono::milliseconds limit = seconds(10)) {
        return waitUntil([&] { return showsForm(); }, limit);
    }
    bool formGoes() { return interface().awaitGone(role::button, "Sign In"); }
    static void clickIcon(const AccessibleElement::Rectangle& icon) {
        input().click(icon.x + icon.width / 2, icon.y + icon.height / 2);
    }
};

TEST_F(AppTray, AnIconInAPanelOfTodaysKindOpensAndClosesThePopover) {
    const StatusNotifierTray& tray = desktop().startStatusNotifierTray();
    start();
    const auto item = tray.awaitItem();
    EXPECT_FALSE(showsForm());
    EXPECT_THAT(item.text("Title") + item.toolTipTitle(), testing::HasSubstr("Quorvane Tandrel"));
    EXPECT_THAT(item.text("IconName").empty() && item.iconSizes().empty(), false);
    EXPECT_TRUE(item.activate());
    EXPECT_TRUE(formComes());
    input().press({"Escape"});
    EXPECT_TRUE(formGoes());
}

TEST_F(AppTray, AnIconInAPanelOfTheOlderKindOpensThePopoverBelowIt) {
    const XEmbedTray& tray = desktop().startXEmbedTray();
    start();
    const auto icon = tray.awaitIcon();
    EXPECT_FALSE(showsForm());
    clickIcon(icon);
    ASSERT_TRUE(formComes());
    const auto button = interface().extents(interface().await(role::button, "Sign In"));
    EXPECT_GT(button.y, icon.y + icon.height);
    EXPECT_LE(button.x + button.width, VirtualDisplay::width);
    EXPECT_GT(button.x, VirtualDisplay::width / 2);
    input().press({"Escape"});
    EXPECT_TRUE(formGoes());
}

TEST_F(AppTray, ADoubleClickOnTheIconIsOneClick) {
    const XEmbedTray& tray = desktop().startXEmbedTray();
    start();
    const auto icon = tray.awaitIcon();
    clickIcon(icon);
    clickIcon(icon);
    ASSERT_TRUE(formComes());
    pause();
    EXPECT_TRUE(showsForm());
    clickIcon(icon);
    EXPECT_TRUE(formGoes());
}

TEST_F(AppTray, ADoubleClickInAPanelOfTodaysKindIsOneClick) {
    const StatusNotifierTray& tray = desktop().startStatusNotifierTray();
    start();
    const auto item = tray.awaitItem();
    // The panel knows of no double clicks: it reports two.
    EXPECT_TRUE(item.activate());
    EXPECT_TRUE(item.activate());
    ASSERT_TRUE(formComes());
    pause();
    EXPECT_TRUE(showsForm());
    EXPECT_TRUE(item.activate());
    EXPECT_TRUE(formGoes());
}

TEST_F(AppTray, TheIconsMenuOpensThePopoverAndQuits) {
    const StatusNotifierTray& tray = desktop().startStatusNotifierTray();
    start();
    const auto item = tray.awaitItem();
    const auto entries = item.menu();
    ASSERT_GE(entries.size(), 2U);
    item.choose(entries.front().label);
    EXPECT_TRUE(formComes());
    item.choose(entries.back().label);
    EXPECT_EQ(app().waitForExit(seconds(5)), 0);
}

TEST_F(AppTray, WithoutATrayThePopoverIsAWindowAndAnotherStartBringsItBack) {
    start();
    ASSERT_TRUE(formComes());
    // An ordinary window, which the window manager closes.
    input().press({"alt+F4"});
    ASSERT_TRUE(formGoes());
    ASSERT_TRUE(app().process().isRunning());
    EXPECT_EQ(startAgain(), 0);
    EXPECT_TRUE(formComes());
}

TEST_F(AppTray, ATrayThatComesLateGetsItsIcon) {
    start();
    ASSERT_TRUE(formComes());
    const StatusNotifierTray& tray = desktop().startStatusNotifierTray();
    EXPECT_TRUE(tray.awaitItem().activate());
}

TEST_F(AppTray, ATrayOfTheOlderKindThatComesLateGetsItsIcon) {
    start();
    ASSERT_TRUE(formComes());
    (void)desktop().startXEmbedTray().awaitIcon();
}

TEST_F(AppTray, APanelThatIsStillStartingIsWaitedFor) {
    const StatusNotifierTray& tray =
        desktop().startStatusNotifierTray(StatusNotifierTray::Start::withoutHost);
    start();
    ASSERT_TRUE(app().waitForLog("[App] init"));
    tray.registerHost();
    EXPECT_TRUE(tray.awaitItem().activate());
    EXPECT_TRUE(formComes());
}

TEST_F(AppTray, ATrayThatRestartsGetsTheIconAgain) {
    desktop().startStatusNotifierTray();
    start();
    for (int restarts = 0; restarts < 2; ++restarts) {
        const StatusNotifierTray& tray = desktop().startStatusNotifierTray();
        EXPECT_TRUE(tray.awaitItem().activate());
        ASSERT_TRUE(formComes());
        input().press({"Escape"});
        ASSERT_TRUE(formGoes());
        pause();
    }
}

TEST_F(AppTray, APanelOfTheOlderKindThatRestartsGetsTheIconAgain) {
    desktop().startXEmbedTray();
    start();
    for (int restarts = 0; restarts < 2; ++restarts) {
        clickIcon(desktop().startXEmbedTray().awaitIcon());
        ASSERT_TRUE(formComes());
        input().press({"Escape"});
        ASSERT_TRUE(formGoes());
        pause();
    }
}

TEST_F(AppTray, ASecondStartOpensThePopoverAndEnds) {
    const StatusNotifierTray& tray = desktop().startStatusNotifierTray();
    start();
    (void)tray.awaitItem();
    EXPECT_FALSE(showsForm());
    EXPECT_EQ(startAgain(), 0);
    EXPECT_TRUE(formComes());
    EXPECT_EQ(tray.items().size(), 1U);
}

TEST_F(AppTray, ACommandToQuitEndsTheProgramThatRuns) {
    const StatusNotifierTray& tray = desktop().startStatusNotifierTray();
    start();
    (void)tray.awaitItem();
    EXPECT_EQ(startAgain({"--quit"}), 0);
    EXPECT_EQ(app().waitForExit(seconds(5)), 0);
    EXPECT_TRUE(waitUntil([&] { return tray.items().empty(); }));
}

TEST_F(AppTray, CommandsForAProgramThatRunsStartNone) {
    for (const char* command : {"--stop", "--quit"}) {
        EXPECT_EQ(startAgain({command}), 0) << command;
    }
}

} // namespace
} // namespace tandrel::test
