#include "EndToEnd/AppStory.h"
#include "Support/Desktop/AccessibilityListener.h"
#include "Support/WaitUntil.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>

namespace tandrel::test {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using State = AccessibleElement::State;

constexpr const char* keyringService = "TandrelStatusBar";
constexpr const char* accessToken = "quorvane-access-token";

/// Signing in and out, and what the popover shows of it; no microphone.
class AppSignIn : public AppStory {
protected:
    [[nodiscard]] std::string fieldText(const char* role, const char* name) {
        return interface().text(interface().await(role, name));
    }
};

TEST_F(AppSignIn, SigningInShowsThePanelAndKeepsTheTokensInTheKeyring) {
    const PrivateKeyring& keyring = desktop().startKeyring();
    startWithPopover();
    EXPECT_TRUE(interface().shows(role::label, "Sign in to connect to your interviews"));
    EXPECT_FALSE(interface().await(role::button, "Sign In").has(State::enabled));
    signIn();
    EXPECT_TRUE(interface().shows(role::label, DevBackend::email));
    interface().awaitName("Waiting");
    EXPECT_FALSE(interface().shows(role::button, "Sign In"));
    EXPECT_TRUE(waitUntil([&] { return keyring.count(keyringService, accessToken) == 1; }));
    EXPECT_THAT(app().debugLog() + app().output(), Not(HasSubstr(DevBackend::password)));
}

TEST_F(AppSignIn, AWrongPasswordIsToldAndTheFieldsStay) {
    startWithPopover();
    fill(role::field, "Email", DevBackend::email);
    fill(role::password, "Password", "wrong");
    input().press({"Return"});
    interface().await(role::label, "Invalid email or password");
    EXPECT_EQ(fieldText(role::field, "Email"), DevBackend::email);
    EXPECT_TRUE(interface().awaitEnabled(role::button, "Sign In").has(State::enabled));
    click(role::button, "Show password");
    EXPECT_EQ(fieldText(role::field, "Password"), "wrong");
    // What was kept can be mended.
    fill(role::field, "Password", DevBackend::password);
    input().press({"Return"});
    interface().await(role::button, "Sign Out");
}

TEST_F(AppSignIn, WhileTheBackendThinksTheFormWaits) {
    backend().send("PUT", "/dev/faults/login", R"({"answer": "silence"})");
    const auto requests = backend().requestCount("login");
    startWithPopover();
    fill(role::field, "Email", DevBackend::email);
    fill(role::password, "Password", DevBackend::password);
    input().press({"Return"});
    ASSERT_TRUE(waitUntil([&] { return backend().requestCount("login") == requests + 1; }));
    EXPECT_FALSE(interface().await(role::button, "Sign In").has(State::enabled));
    // Once more changes nothing.
    input().press({"Return"});
    EXPECT_TRUE(answersFor(milliseconds(300)));
    EXPECT_EQ(backend().requestCount("login"), requests + 1);
    EXPECT_FALSE(interface().shows(role::button, "Sign Out"));
}

TEST_F(AppSignIn, ASignInIsRestoredAfterARestart) {
    desktop().startKeyring();
    startWithPopover();
    signIn();
    const auto home = app().home();
    ASSERT_EQ(app().end(SIGTERM), 0);
    startWithPopover(home);
    interface().await(role::label, DevBackend::email);
    interface().awaitName("Waiting");
}

TEST_F(AppSignIn, ATokenThatTheBackendNoLongerKnowsEndsTheSignIn) {
    startWithPopover();
    signIn();
    backend().send("POST", "/dev/tokens/revoke", "{}");
    interface().await(role::button, "Sign In");
    interface().await(role::label, "Session expired. Please log in again.");
}

TEST_F(AppSignIn, SigningOutBringsAnEmptyFormAndForgetsTheTokens) {
    const PrivateKeyring& keyring = desktop().startKeyring();
    startWithPopover();
    signIn();
    ASSERT_TRUE(waitUntil([&] { return keyring.count(keyringService, accessToken) == 1; }));
    click(role::button, "Sign Out");
    interface().await(role::button, "Sign In");
    EXPECT_EQ(fieldText(role::field, "Email"), "");
    EXPECT_EQ(fieldText(role::password, "Password"), "");
    EXPECT_TRUE(waitUntil([&] { return keyring.count(keyringService, accessToken) == 0; }));
}

TEST_F(AppSignIn, WithoutADeviceAFoundSessionCannotBeStarted) {
    startSession();
    startWithPopover();
    signIn();
    interface().awaitName("Ready");
    EXPECT_TRUE(interface().shows(role::label, "No input devices found"));
    EXPECT_FALSE(interface().await(role::button, "Start Streaming").has(State::enabled));
    // A start command waits for a device, too.
    EXPECT_EQ(startAgain({"quorvane-tandrel://start"}), 0);
    ASSERT_TRUE(app().waitForLog("[AppDelegate] Received URL: quorvane-tandrel://start"));
    EXPECT_FALSE(app().hasLogged("[AutoStart]"));
    EXPECT_TRUE(interface().shows(role::button, "Refresh devices"));
}

TEST_F(AppSignIn, LinksOpenInTheBrowser) {
    startSession();
    startWithPopover();
    click(role::button, "Forgot password?");
    ASSERT_TRUE(waitUntil([] { return desktop().openedPages().size() == 1; }));
    if (!interface().shows(role::field, "Email")) {
        pause();
        clickTrayIcon();
    }
    signIn();
    click(role::button, "Open in Browser");
    ASSERT_TRUE(waitUntil([] { return desktop().openedPages().size() == 2; }));
    EXPECT_THAT(desktop().openedPages(),
                ElementsAre(backend().url() + "/auth/reset-password",
                            testing::StartsWith(backend().url() + "/interviews/")));
}

TEST_F(AppSignIn, EveryControlHasANameARoleAndAState) {
    startSession();
    startWithPopover();
    const auto check = [&](const char* where) {
        for (const AccessibleElement& element : interface().elements()) {
            const bool isControl = element.role == role::button || element.role == role::field ||
                                   element.role == role::password || element.role == role::picker ||
                                   element.role == "label" || element.role == "level bar" ||
                                   element.role == "progress bar";
            EXPECT_FALSE(isControl && element.name.empty())
                << where << ": a nameless " << element.role << " in\n"
                << interface().describe();
            EXPECT_NE(element.role, "unknown") << where << ": " << element.name;
            if (element.role == role::button && element.has(State::enabled)) {
                EXPECT_TRUE(element.has(State::focusable)) << where << ": " << element.name;
                EXPECT_THAT(interface().interfaces(element),
                            testing::Contains("org.a11y.atspi.Action"))
                    << where << ": " << element.name;
            }
        }
    };
    check("form");
    for (const char* name : {"Sign In", "Show password", "Forgot password?", "Privacy"}) {
        EXPECT_TRUE(interface().shows(role::button, name)) << name;
    }
    EXPECT_TRUE(interface().shows(role::field, "Email"));
    EXPECT_TRUE(interface().shows(role::password, "Password"));
    signIn();
    interface().awaitName("Ready");
    check("panel");
    for (const char* name :
         {"Sign Out", "Refresh devices", "Start Streaming", "Open in Browser", "Privacy", "Quit"}) {
        EXPECT_TRUE(interface().shows(role::button, name)) << name;
    }
    const auto version = interface().nameStartingWith("v");
    EXPECT_EQ(interface().await(role::button, version).description, "Check for updates");
    EXPECT_TRUE(interface().showsName("Audio Input"));
    EXPECT_TRUE(interface().showsName("Audio Level"));
}

TEST_F(AppSignIn, ANewBadgeIsAnnounced) {
    startWithPopover();
    signIn();
    interface().awaitName("Waiting");
    const AccessibilityListener listener(desktop().accessibility(), desktop().folder());
    startSession();
    EXPECT_TRUE(listener.awaitNewName(interface().awaitName("Ready"))) << listener.events();
}

TEST_F(AppSignIn, EscapeClosesThePopoverAndTheIconOpensItAgain) {
    startWithPopover();
    input().press({"Escape"});
    EXPECT_TRUE(interface().awaitGone(role::button, "Sign In"));
    pause();
    clickTrayIcon();
    interface().await(role::button, "Sign In");
    pause();
    // The pointer is well outside of it.
    input().click(30, VirtualDisplay::height - 30);
    EXPECT_TRUE(interface().awaitGone(role::button, "Sign In"));
    EXPECT_TRUE(app().process().isRunning());
}

TEST_F(AppSignIn, AReopenedPopoverRestoresNothingASecondTime) {
    startWithPopover();
    for (int count = 0; count < 3; ++count) {
        input().press({"Escape"});
        ASSERT_TRUE(interface().awaitGone(role::button, "Sign In"));
        pause();
        clickTrayIcon();
        interface().await(role::button, "Sign In");
    }
    const std::string restored = "[Auth] No cached session to restore";
    const std::string output = app().output();
    ASSERT_NE(output.find(restored), std::string::npos);
    EXPECT_EQ(output.find(restored), output.rfind(restored)) << output;
}

} // namespace
} // namespace tandrel::test
