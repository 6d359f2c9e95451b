#include "EndToEnd/AppStory.h"
#include "Support/WaitUntil.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace tandrel::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::HasSubstr;
using testing::Not;

/// Ends in every state, and an interface that answers whatever else hangs; no microphone.
class AppLifecycle : public AppStory {};

TEST_F(AppLifecycle, ASignalBeforeAnyoneSignedInEndsWithinTwoSeconds) {
    for (const int number : {SIGTERM, SIGINT}) {
        startWithPopover();
        EXPECT_EQ(app().end(number), 0);
    }
}

TEST_F(AppLifecycle, ASignalAtTheStartEndsWithinTwoSeconds) {
    desktop().startStatusNotifierTray();
    start();
    ASSERT_TRUE(app().waitForLog("[App] init"));
    EXPECT_EQ(app().end(SIGTERM), 0);
}

TEST_F(AppLifecycle, ASignalWhileSigningInEndsWithinTwoSeconds) {
    backend().send("PUT", "/dev/faults/login", R"({"answer": "silence"})");
    startWithPopover();
    fill(role::field, "Email", DevBackend::email);
    fill(role::password, "Password", DevBackend::password);
    input().press({"Return"});
    EXPECT_TRUE(answersFor(milliseconds(1000)));
    EXPECT_EQ(app().end(SIGTERM), 0);
}

TEST_F(AppLifecycle, ABackendThatHangsLeavesTheInterfaceAlive) {
    startWithPopover();
    signIn();
    backend().send("PUT", "/dev/faults/pending", R"({"answer": "silence"})");
    EXPECT_TRUE(answersFor(milliseconds(4000)));
    EXPECT_EQ(app().end(SIGINT), 0);
}

TEST_F(AppLifecycle, AKeyringThatNeverAnswersLeavesTheInterfaceAlive) {
    desktop().startKeyring().freeze();
    startWithPopover();
    EXPECT_TRUE(answersFor(milliseconds(700)));
    signIn();
    EXPECT_TRUE(answersFor(milliseconds(700)));
    click(role::button, "Sign Out");
    interface().await(role::button, "Sign In");
    EXPECT_EQ(app().end(SIGTERM), 0);
}

TEST_F(AppLifecycle, ALockedKeyringKeepsNobodyFromSigningIn) {
    // And there is nobody who could unlock it.
    desktop().startKeyring(PrivateKeyring::Start::locked);
    startWithPopover();
    signIn();
    EXPECT_TRUE(answersFor(milliseconds(500)));
    EXPECT_EQ(app().end(SIGTERM), 0);
}

TEST_F(AppLifecycle, AFloodOfCommandsLeavesTheInterfaceAlive) {
    startWithPopover();
    constexpr int deliveries = 100;
    flood(deliveries);
    EXPECT_TRUE(answersFor(milliseconds(500)));
    // All of them arrived.
    EXPECT_TRUE(waitUntil([&] { return commandCount() == deliveries * commandsOfADelivery; }));
    EXPECT_TRUE(answersFor(milliseconds(500)));
    interface().await(role::button, "Sign In");
}

TEST_F(AppLifecycle, ForeignAndHostileUrlsDoNothingButTakeOneLine) {
    startWithPopover();
    EXPECT_EQ(startAgain({"https://page.example/start", "QUORVANE-TANDREL://start",
                          "quorvane-tandrel://stop/\n2026-01-01T00:00:00Z [App] forged",
                          "quorvane-tandrel://stop?" + std::string(100'000, 'x')}),
              0);
    ASSERT_TRUE(app().waitForLog("command=stop"));
    // What came last is carried out last.
    EXPECT_EQ(startAgain({"quorvane-tandrel://start"}), 0);
    ASSERT_TRUE(app().waitForLog("command=start"));
    const std::string log = app().debugLog();
    EXPECT_THAT(log, Not(HasSubstr("page.example")));
    EXPECT_THAT(log, Not(HasSubstr("QUORVANE")));
    EXPECT_THAT(log, Not(HasSubstr("\n2026-01-01")));
    EXPECT_LT(log.size(), 20'000U);
    EXPECT_TRUE(interface().shows(role::button, "Sign In"));
}

TEST_F(AppLifecycle, TheQuitButtonEndsTheProgram) {
    startWithPopover();
    signIn();
    click(role::button, "Quit");
    EXPECT_EQ(app().waitForExit(seconds(5)), 0);
}

TEST_F(AppLifecycle, WithoutASessionBusItRunsAndSaysSo) {
    environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/nonexistent";
    expectOutput("no session bus, so nothing keeps it from running twice");
    const XEmbedTray& tray = desktop().startXEmbedTray();
    start();
    const auto icon = tray.awaitIcon();
    EXPECT_THAT(app().output(), HasSubstr("no session bus"));
    input().click(icon.x + icon.width / 2, icon.y + icon.height / 2);
    EXPECT_TRUE(desktop().display().awaitWindow("Quorvane Tandrel"));
    EXPECT_EQ(app().end(SIGTERM), 0);
}

TEST_F(AppLifecycle, WithoutItsLibraryItSaysWhatToDo) {
    const std::filesystem::path home = std::filesystem::path(std::getenv("HOME")) / "damaged";
    std::filesystem::create_directories(home);
    const std::filesystem::path program = home / "quorvane-tandrel";
    std::filesystem::copy_file(AppProcess::builtProgram(), program);
    desktop().startStatusNotifierTray();
    expectOutput("quorvane-tandrel-content");
    AppProcess::Start damaged;
    damaged.arguments = {"--show"};
    damaged.home = home;
    damaged.program = program;
    start(damaged);
    interface().await(role::label, "A part of the program is missing");
    EXPECT_EQ(app().end(SIGTERM), 0);
}

TEST_F(AppLifecycle, HelpAndVersionNeedNoDisplay) {
    environment["DISPLAY"] = "";
    environment["QT_QPA_PLATFORM"] = "";
    environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/nonexistent";
    for (const char* flag : {"--help", "--version"}) {
        start({flag});
        EXPECT_EQ(app().waitForExit(), 0);
        EXPECT_THAT(app().output(), HasSubstr("quorvane-tandrel"));
        expectOutput("");
    }
}

} // namespace
} // namespace tandrel::test
