#include "EndToEnd/AppStory.h"
#include "Support/Desktop/KeyringPrompter.h"
#include "Support/WaitUntil.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>

namespace tandrel::test {
namespace {

using std::chrono::milliseconds;

constexpr const char* keyringService = "TandrelStatusBar";
constexpr const char* accessToken = "quorvane-access-token";
constexpr const char* note = "No keyring: this sign-in will not be remembered.";

/// A keyring's life around the app's.
class AppKeyring : public AppStory {
protected:
    /// Signs in with an open keyring and quits; returns the home that this leaves.
    std::filesystem::path signInOnce() {
        const PrivateKeyring& keyring = desktop().startKeyring();
        startWithPopover();
        signIn();
        EXPECT_TRUE(waitUntil([&] { return keyring.count(keyringService, accessToken) == 1; }));
        endApp();
        return app().home();
    }
    /// The prompt that took the focus has closed the popover.
    void openPopoverAgain() {
        pause();
        if (!interface().shows(role::button, "Sign In") &&
            !interface().shows(role::button, "Sign Out")) {
            clickTrayIcon();
        }
    }
};

TEST_F(AppKeyring, AKeyringThatIsLockedAtLoginAsksAndTheSignInIsRestored) {
    const auto home = signInOnce();
    desktop().startKeyring(PrivateKeyring::Start::locked);
    const KeyringPrompter prompter(desktop());
    startAndClick(home);
    ASSERT_TRUE(prompter.awaitQuestion());
    EXPECT_TRUE(answersFor(milliseconds(500)));
    prompter.unlock();
    openPopoverAgain();
    interface().await(role::button, "Sign Out");
    EXPECT_TRUE(interface().shows(role::label, DevBackend::email));
}

TEST_F(AppKeyring, ADismissedPromptLosesNothing) {
    const auto home = signInOnce();
    desktop().startKeyring(PrivateKeyring::Start::locked);
    {
        const KeyringPrompter prompter(desktop());
        startAndClick(home);
        ASSERT_TRUE(prompter.awaitQuestion());
        prompter.dismiss();
        ASSERT_TRUE(waitUntil(
            [&] { return app().output().find("[Auth] No cached session") != std::string::npos; }));
        openPopoverAgain();
        interface().await(role::button, "Sign In");
        EXPECT_FALSE(interface().shows(role::label, note));
        endApp();
    }
    const PrivateKeyring& keyring = desktop().startKeyring();
    EXPECT_EQ(keyring.count(keyringService, accessToken), 1U);
    startWithPopover(home);
    interface().await(role::button, "Sign Out");
}

TEST_F(AppKeyring, AKeyringThatComesAfterTheAppRestoresTheSignIn) {
    const auto home = signInOnce();
    desktop().stopKeyring();
    startWithPopover(home);
    interface().await(role::button, "Sign In");
    interface().await(role::label, note);
    desktop().startKeyring();
    interface().await(role::button, "Sign Out");
}

TEST_F(AppKeyring, AKeyringThatComesAfterASignInTakesItsTokens) {
    startWithPopover();
    signIn();
    const PrivateKeyring& keyring = desktop().startKeyring();
    EXPECT_TRUE(waitUntil([&] { return keyring.count(keyringService, accessToken) == 1; }));
    const std::string token = keyring.lookup(keyringService, accessToken).value_or("");
    const auto home = app().home();
    endApp();
    startWithPopover(home);
    interface().await(role::button, "Sign Out");
    EXPECT_EQ(keyring.lookup(keyringService, accessToken), token) << "restored, not signed in anew";
}

TEST_F(AppKeyring, ASignOutWhileTheKeyringIsDownIsMadeUpFor) {
    PrivateKeyring& keyring = desktop().startKeyring();
    startWithPopover();
    signIn();
    ASSERT_TRUE(waitUntil([&] { return keyring.count(keyringService, accessToken) == 1; }));
    keyring.kill();
    click(role::button, "Sign Out");
    interface().await(role::button, "Sign In");
    keyring.restart();
    EXPECT_TRUE(waitUntil([&] { return keyring.count(keyringService, accessToken) == 0; }));
}

TEST_F(AppKeyring, WithoutAKeyringTheFormSaysSoAndTheSignInLastsForTheRun) {
    startWithPopover();
    interface().await(role::label, note);
    signIn();
    interface().awaitName("Waiting");
    const auto home = app().home();
    endApp();
    startWithPopover(home);
    interface().await(role::button, "Sign In");
    EXPECT_FALSE(interface().shows(role::button, "Sign Out"));
}

TEST_F(AppKeyring, WithAKeyringTheFormSaysNothingOfIt) {
    desktop().startKeyring();
    startWithPopover();
    ASSERT_TRUE(waitUntil(
        [&] { return app().output().find("[Auth] No cached session") != std::string::npos; }));
    EXPECT_FALSE(interface().shows(role::label, note));
}

TEST_F(AppKeyring, ANoteThatComesWhileTheFormShowsMovesNothing) {
    PrivateKeyring& keyring = desktop().startKeyring();
    startWithPopover();
    const auto before = interface().extents(interface().await(role::button, "Sign In"));
    const auto linkBefore = interface().extents(interface().await(role::button, "Privacy"));
    keyring.kill();
    // The news has arrived when the bus has delivered it and the app has answered after it.
    EXPECT_TRUE(answersFor(milliseconds(300)));
    const auto after = interface().extents(interface().await(role::button, "Sign In"));
    const auto linkAfter = interface().extents(interface().await(role::button, "Privacy"));
    EXPECT_EQ(before.y, after.y);
    EXPECT_EQ(linkBefore.y, linkAfter.y);
    // It is there when the form is next opened.
    input().press({"Escape"});
    ASSERT_TRUE(interface().awaitGone(role::button, "Sign In"));
    pause();
    clickTrayIcon();
    interface().await(role::label, note);
}

} // namespace
} // namespace tandrel::test
