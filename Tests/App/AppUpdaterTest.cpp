#include "Content/AppUpdater.h"

#include "EndToEnd/ReleaseScript.h"
#include "Platform/Qt/SettingsUserDefaults.h"
#include "Services/UpdatePreferences.h"
#include "Support/FakeUrlOpener.h"
#include "Support/ManualClock.h"
#include "Support/Qt/EventLoop.h"
#include "Support/Qt/ScriptedHttpServer.h"
#include "Support/Widgets/ViewTree.h"
#include "Views/UpdateWindow.h"

#include <QApplication>
#include <QCheckBox>

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using test::runUntil;
using test::ScriptedHttpServer;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Connection = ScriptedHttpServer::Connection;
using Request = ScriptedHttpServer::Request;

/// The updates as the program has them, with a clock of the test's own and a server on this
/// machine.
class AppUpdaterTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        release = std::make_unique<test::ReleaseScript>();
        key = release->makeKey("key");
    }
    static void TearDownTestSuite() { release.reset(); }

    void SetUp() override {
        offer("1.2");
        server.onRequest([this](const Request&, Connection connection) {
            if (!isSilent) {
                connection.send(ScriptedHttpServer::response("200 OK", feed));
            }
        });
    }
    void TearDown() override {
        updater.reset();
        std::filesystem::remove(SettingsUserDefaults::defaultPath());
    }

    void offer(const std::string& version) {
        feed = release->makeFeed(version, {key}, server.url("/package.deb"), "package");
    }
    void start(const std::string& feedURL) {
        updater.reset();
        updater = std::make_unique<AppUpdater>(
            AppUpdater::Options{feedURL, test::ReleaseScript::publicKey(key), "1.1"}, clock,
            browser);
    }
    void start() { start(server.url("/appcast.xml")); }
    /// What a run of the program would have left.
    static void remember(const std::function<void(UpdatePreferences&)>& change) {
        SettingsUserDefaults settings;
        UpdatePreferences preferences(settings);
        change(preferences);
        settings.flush(20s);
    }
    static void agree() {
        remember([](UpdatePreferences& preferences) { preferences.setChecksDaily(true); });
    }
    /// Waits until the disk has what the program is to remember; whether that came.
    static bool remembers(const std::function<bool(const UpdatePreferences&)>& condition) {
        return runUntil([&] {
            SettingsUserDefaults settings;
            return condition(UpdatePreferences(settings));
        });
    }
    void lookFirst() { clock.advance(UpdateSchedule::firstLook); }
    /// Runs until the server was asked `count` times in all, and a check that shows nothing has
    /// cleared up.
    void awaitChecks(std::size_t count) {
        ASSERT_TRUE(runUntil([&] { return server.requests().size() >= count; }));
        ASSERT_TRUE(runUntil([&] {
            clock.runPending();
            return window() != nullptr || server.openConnectionCount() == 0;
        }));
    }

    static UpdateWindow* window() {
        for (QWidget* const widget : QApplication::topLevelWidgets()) {
            auto* const found = qobject_cast<UpdateWindow*>(widget);
            if (found != nullptr && found->isVisible()) {
                return found;
            }
        }
        return nullptr;
    }
    static bool shows(const std::string& text) {
        return runUntil([&] { return window() != nullptr && test::hasNamed(*window(), text); });
    }
    void press(const std::string& name) {
        // Buttons of a page that has just come show a turn later.
        test::settle();
        test::button(*window(), name)->click();
        clock.runPending();
        test::settle();
    }

    static inline std::unique_ptr<test::ReleaseScript> release;
    static inline std::filesystem::path key;
    ScriptedHttpServer server;
    std::string feed;
    bool isSilent = false;
    test::ManualClock clock;
    test::FakeUrlOpener browser;
    std::unique_ptr<AppUpdater> updater;
};

TEST_F(AppUpdaterTest, SaysThatThePackageManagerDoesItWhenThereIsNoFeed) {
    start("");
    EXPECT_EQ(clock.pendingCount(), 0U) << "there is nothing to wait for";
    updater->checkForUpdates();
    EXPECT_TRUE(shows("Updates come with your system"));
    EXPECT_FALSE(window()->findChild<QCheckBox*>()->isVisible());
    press("OK");
    EXPECT_EQ(window(), nullptr);
    updater->checkForUpdates();
    EXPECT_TRUE(shows("Updates come with your system"));
}

TEST_F(AppUpdaterTest, TouchesNothingBeforeItIsTimeTo) {
    start();
    clock.advance(UpdateSchedule::firstLook - 1s);
    EXPECT_FALSE(std::filesystem::exists(SettingsUserDefaults::defaultPath()));
    EXPECT_EQ(window(), nullptr);
    EXPECT_THAT(server.requests(), IsEmpty());
}

TEST_F(AppUpdaterTest, ACheckOnDemandAlwaysShowsItsResult) {
    start();
    updater->checkForUpdates();
    EXPECT_TRUE(shows("Version 1.2 is available"));
    press("Later");
    EXPECT_EQ(window(), nullptr);
    offer("1.1");
    updater->checkForUpdates();
    EXPECT_TRUE(shows("Quorvane Tandrel is up to date"));
    // And again while that still shows.
    offer("1.0");
    updater->checkForUpdates();
    EXPECT_TRUE(shows("A newer version is installed already"));
    feed = "garbage";
    updater->checkForUpdates();
    EXPECT_TRUE(shows("The check for updates failed"));
    EXPECT_THAT(server.requests(), SizeIs(4));
}

TEST_F(AppUpdaterTest, ASecondClickWhileACheckIsUnderWayStartsNoOther) {
    isSilent = true;
    start();
    updater->checkForUpdates();
    EXPECT_TRUE(shows("Checking for updates…"));
    updater->checkForUpdates();
    ASSERT_TRUE(runUntil([&] { return server.requests().size() == 1; }));
    updater->checkForUpdates();
    press("Cancel");
    EXPECT_EQ(window(), nullptr);
    EXPECT_TRUE(runUntil([&] { return server.openConnectionCount() == 0; }));
    EXPECT_THAT(server.requests(), SizeIs(1));
}

TEST_F(AppUpdaterTest, AnOfferIsNotTakenAwayByAnotherClick) {
    start();
    updater->checkForUpdates();
    EXPECT_TRUE(shows("Version 1.2 is available"));
    updater->checkForUpdates();
    test::settle();
    EXPECT_TRUE(shows("Version 1.2 is available"));
    EXPECT_THAT(server.requests(), SizeIs(1));
}

TEST_F(AppUpdaterTest, AsksAtTheSecondStartAndChecksOnceTheUserAgrees) {
    start();
    lookFirst();
    EXPECT_EQ(window(), nullptr);
    ASSERT_TRUE(remembers([](const auto& preferences) { return preferences.hasStarted(); }));
    start();
    lookFirst();
    ASSERT_TRUE(shows("Check for updates every day?"));
    EXPECT_TRUE(window()->testAttribute(Qt::WA_ShowWithoutActivating));
    EXPECT_THAT(server.requests(), IsEmpty());
    press("Check Every Day");
    EXPECT_EQ(window(), nullptr);
    EXPECT_TRUE(
        remembers([](const auto& preferences) { return preferences.checksDaily() == true; }));
    lookFirst();
    EXPECT_TRUE(shows("Version 1.2 is available"));
    EXPECT_TRUE(window()->testAttribute(Qt::WA_ShowWithoutActivating));
}

TEST_F(AppUpdaterTest, AQuestionThatIsClosedIsNotAskedAgain) {
    remember([](UpdatePreferences& preferences) { preferences.noteStart(); });
    start();
    lookFirst();
    ASSERT_TRUE(shows("Check for updates every day?"));
    window()->close();
    ASSERT_TRUE(
        remembers([](const auto& preferences) { return preferences.checksDaily() == false; }));
    start();
    clock.advance(72h);
    EXPECT_EQ(window(), nullptr);
    EXPECT_THAT(server.requests(), IsEmpty());
}

TEST_F(AppUpdaterTest, ABackgroundCheckWithoutNewsShowsNothing) {
    agree();
    for (const char* version : {"1.1", "1.0"}) {
        offer(version);
        remember([](UpdatePreferences& preferences) { preferences.setLastCheck({}); });
        const std::size_t before = server.requests().size();
        start();
        lookFirst();
        awaitChecks(before + 1);
        EXPECT_EQ(window(), nullptr) << version;
        EXPECT_TRUE(remembers([](const auto& preferences) {
            return preferences.lastCheck() > UpdatePreferences::TimePoint{};
        }));
    }
    feed = "garbage";
    remember([](UpdatePreferences& preferences) { preferences.setLastCheck({}); });
    start();
    lookFirst();
    awaitChecks(3);
    EXPECT_EQ(window(), nullptr) << "nobody asked";
}

TEST_F(AppUpdaterTest, ABackgroundCheckIsMadeOnceADayAcrossStarts) {
    agree();
    offer("1.1");
    start();
    lookFirst();
    awaitChecks(1);
    ASSERT_TRUE(
        remembers([](const auto& preferences) { return preferences.lastCheck().has_value(); }));
    start();
    lookFirst();
    clock.advance(UpdateSchedule::lookInterval);
    test::settle();
    EXPECT_THAT(server.requests(), SizeIs(1));
}

TEST_F(AppUpdaterTest, ASkippedVersionIsOnlyShownOnDemand) {
    agree();
    start();
    lookFirst();
    ASSERT_TRUE(shows("Version 1.2 is available"));
    press("Skip this version");
    EXPECT_EQ(window(), nullptr);
    ASSERT_TRUE(
        remembers([](const auto& preferences) { return preferences.skippedVersion() == "1.2"; }));
    updater.reset();
    remember([](UpdatePreferences& preferences) { preferences.setLastCheck({}); });
    start();
    lookFirst();
    awaitChecks(2);
    EXPECT_EQ(window(), nullptr);
    updater->checkForUpdates();
    EXPECT_TRUE(shows("Version 1.2 is available"));
    press("Later");
    updater.reset();
    offer("1.3");
    remember([](UpdatePreferences& preferences) { preferences.setLastCheck({}); });
    start();
    lookFirst();
    EXPECT_TRUE(shows("Version 1.3 is available")) << "only that one was skipped";
}

TEST_F(AppUpdaterTest, TheClickDuringABackgroundCheckShowsIt) {
    agree();
    isSilent = true;
    start();
    lookFirst();
    ASSERT_TRUE(runUntil([&] { return server.requests().size() == 1; }));
    EXPECT_EQ(window(), nullptr);
    updater->checkForUpdates();
    EXPECT_TRUE(shows("Checking for updates…"));
    test::settle();
    EXPECT_THAT(server.requests(), SizeIs(1));
}

TEST_F(AppUpdaterTest, TheUserCanChangeTheirMind) {
    start();
    updater->checkForUpdates();
    ASSERT_TRUE(shows("Version 1.2 is available"));
    auto* const box = window()->findChild<QCheckBox*>();
    EXPECT_TRUE(box->isVisible());
    EXPECT_FALSE(box->isChecked());
    box->click();
    EXPECT_TRUE(
        remembers([](const auto& preferences) { return preferences.checksDaily() == true; }));
    box->click();
    EXPECT_TRUE(
        remembers([](const auto& preferences) { return preferences.checksDaily() == false; }));
}

TEST_F(AppUpdaterTest, EndsInTheMiddleOfAnything) {
    isSilent = true;
    start();
    updater->checkForUpdates();
    ASSERT_TRUE(runUntil([&] { return server.requests().size() == 1; }));
    updater.reset();
    EXPECT_EQ(window(), nullptr);
    EXPECT_TRUE(runUntil([&] { return server.openConnectionCount() == 0; }));
    EXPECT_EQ(clock.pendingCount(), 0U);
}

} // namespace
} // namespace tandrel
