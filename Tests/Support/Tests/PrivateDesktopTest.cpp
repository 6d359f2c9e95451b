#include "Support/Desktop/PrivateDesktop.h"

#include "BuildPaths.h"
#include "Support/Desktop/AccessibleApp.h"
#include "Support/WaitUntil.h"

#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace tandrel::test {
namespace {

using std::chrono::seconds;
using testing::HasSubstr;
using State = AccessibleElement::State;

class PrivateDesktopTest : public testing::Test {
protected:
    static void SetUpTestSuite() { desktop = std::make_unique<PrivateDesktop>(); }
    static void TearDownTestSuite() { desktop.reset(); }
    void TearDown() override { desktop->stopTray(); }

    void startProbe() {
        probe = std::make_unique<ChildProcess>(
            std::vector<std::string>{TANDREL_BUILD_BIN "/desktop-probe"},
            desktop->clientEnvironment(), desktop->folder() / "probe.log");
        app = std::make_unique<AccessibleApp>(desktop->accessibility().address(), probe->pid());
    }

    static inline std::unique_ptr<PrivateDesktop> desktop;
    std::unique_ptr<ChildProcess> probe;
    std::unique_ptr<AccessibleApp> app;
};

TEST_F(PrivateDesktopTest, SeesWhatAProgramShows) {
    startProbe();
    const auto button = app->await("push button", "Say");
    EXPECT_EQ(button.description, "Says the word");
    EXPECT_TRUE(button.has(State::enabled));
    const auto area = app->extents(button);
    EXPECT_GT(area.width, 10);
    EXPECT_GT(area.height, 10);
    EXPECT_TRUE(app->shows("label", "Nothing said"));
    EXPECT_FALSE(app->shows("push button", "Sing"));
    EXPECT_THAT(app->describe(), HasSubstr("push button \"Say\" (Says the word)"));
}

TEST_F(PrivateDesktopTest, TypesAndClicksAndPresses) {
    startProbe();
    const auto field = app->extents(app->await("text", "Word"));
    desktop->input().click(field.x + 5, field.y + field.height / 2);
    ASSERT_TRUE(waitUntil([&] { return app->await("text", "Word").has(State::focused); }));
    desktop->input().type("a@b-C1");
    ASSERT_TRUE(waitUntil([&] { return app->text(app->await("text", "Word")) == "a@b-C1"; }));
    desktop->input().press({"Tab", "space"});
    app->await("label", "Said a@b-C1");
    app->grabFocus(app->await("text", "Word"));
    ASSERT_TRUE(waitUntil([&] { return app->await("text", "Word").has(State::focused); }));
    desktop->input().press({"ctrl+a", "x"});
    ASSERT_TRUE(waitUntil([&] { return app->text(app->await("text", "Word")) == "x"; }));
    app->press("push button", "Say");
    app->await("label", "Said x");
}

TEST_F(PrivateDesktopTest, TellsAHangingProgramAndOneThatHasGoneFromALiveOne) {
    startProbe();
    app->await("push button", "Say");
    EXPECT_LT(app->roundTrip(), seconds(1));
    probe->signal(SIGSTOP);
    EXPECT_EQ(app->roundTrip(seconds(1)), seconds(1));
    probe->signal(SIGCONT);
    EXPECT_LT(app->roundTrip(), seconds(1));
    probe->kill();
    EXPECT_EQ(app->roundTrip(), seconds(5));
}

TEST_F(PrivateDesktopTest, HasAPanelOfTheOlderKind) {
    const XEmbedTray& tray = desktop->startXEmbedTray();
    EXPECT_FALSE(tray.iconArea().has_value());
    startProbe();
    const auto icon = tray.awaitIcon();
    desktop->input().click(icon.x + icon.width / 2, icon.y + icon.height / 2);
    app->await("label", "Icon clicked");
}

TEST_F(PrivateDesktopTest, HasAPanelOfTodaysKind) {
    const StatusNotifierTray& tray = desktop->startStatusNotifierTray();
    EXPECT_TRUE(tray.items().empty());
    startProbe();
    const auto item = tray.awaitItem();
    EXPECT_EQ(item.toolTipTitle(), "A probe");
    EXPECT_FALSE(item.iconSizes().empty());
    ASSERT_EQ(item.menu().size(), 1U);
    EXPECT_EQ(item.menu().front().label, "Leave");
    EXPECT_TRUE(item.activate());
    app->await("label", "Icon clicked");
    item.choose("Leave");
    EXPECT_EQ(probe->waitForExit(seconds(5)), 0);
    EXPECT_TRUE(waitUntil([&] { return tray.items().empty(); }));
}

TEST_F(PrivateDesktopTest, APanelThatIsStillStartingHasNoHost) {
    const StatusNotifierTray& tray =
        desktop->startStatusNotifierTray(StatusNotifierTray::Start::withoutHost);
    const BusConnection bus(desktop->bus().address());
    const QString name = QStringLiteral("org.kde.StatusNotifierWatcher");
    const auto hasHost = [&] {
        return bus
            .property(name, QStringLiteral("/StatusNotifierWatcher"), name,
                      QStringLiteral("IsStatusNotifierHostRegistered"))
            .toBool();
    };
    EXPECT_FALSE(hasHost());
    tray.registerHost();
    EXPECT_TRUE(hasHost());
}

TEST_F(PrivateDesktopTest, SavesScreenshotsAndNotesPages) {
    const auto picture = desktop->folder() / "screen.png";
    EXPECT_TRUE(desktop->display().saveScreenshot(picture));
    EXPECT_GT(std::filesystem::file_size(picture), 100U);
    EXPECT_TRUE(desktop->openedPages().empty());
    (void)ChildProcess::run({"sh", "-c", "exec xdg-open https://page.example/a"},
                            desktop->clientEnvironment());
    EXPECT_THAT(desktop->openedPages(), testing::ElementsAre("https://page.example/a"));
}

} // namespace
} // namespace tandrel::test
