#include "EndToEnd/AppStory.h"
#include "EndToEnd/ReleaseScript.h"
#include "EndToEnd/UpdateServer.h"
#include "Support/FileText.h"
#include "Support/WaitUntil.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>

namespace tandrel::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

const std::string package(200'000, 'p');

/// The version button and the window that it opens.
class AppUpdate : public AppStory {
protected:
    static void SetUpTestSuite() {
        AppStory::SetUpTestSuite();
        release = std::make_unique<ReleaseScript>();
        key = release->makeKey("key");
        server = std::make_unique<UpdateServer>();
    }
    static void TearDownTestSuite() {
        server.reset();
        release.reset();
        AppStory::TearDownTestSuite();
    }

    /// Publishes `version`, signed by `with`, for a program that expects `key`.
    void publish(const std::string& version, const fs::path& with, bool sendsAllOfIt = true) {
        server->serve(release->makeFeed(version, {with}, server->url("/package.deb"), package),
                      package, sendsAllOfIt);
        environment["TANDREL_TEST_UPDATE_FEED"] = server->url("/appcast.xml");
        environment["TANDREL_TEST_UPDATE_KEY"] = ReleaseScript::publicKey(key);
    }
    void checkForUpdates() {
        startWithPopover();
        signIn();
        click(role::button, interface().nameStartingWith("v"));
    }
    [[nodiscard]] fs::path cache() {
        return app().home() / ".cache" / "quorvane-tandrel" / "updates";
    }

    static inline std::unique_ptr<ReleaseScript> release;
    static inline fs::path key;
    static inline std::unique_ptr<UpdateServer> server;
};

TEST_F(AppUpdate, WithoutAFeedTheVersionButtonSaysWhoKeepsTheProgramCurrent) {
    checkForUpdates();
    interface().await(role::label, "Updates come with your system");
    click(role::button, "OK");
    EXPECT_TRUE(interface().awaitGone(role::label, "Updates come with your system"));
    EXPECT_TRUE(app().process().isRunning());
}

TEST_F(AppUpdate, ANewVersionIsDownloadedCheckedAndHandedOver) {
    publish("9.9", key);
    checkForUpdates();
    interface().await(role::label, "Version 9.9 is available");
    click(role::button, "Install");
    interface().await(role::label, "Version 9.9 is ready");
    const fs::path installed = cache() / "quorvane-tandrel_9.9.deb";
    EXPECT_THAT(desktop().openedPages(), ElementsAre(installed.string()));
    EXPECT_EQ(textOf(installed), package);
    click(role::button, "OK");
    EXPECT_TRUE(interface().awaitGone(role::label, "Version 9.9 is ready"));
}

TEST_F(AppUpdate, AWronglySignedVersionIsRefusedAndSaidSo) {
    publish("9.9", release->makeKey("forged"));
    checkForUpdates();
    interface().await(role::label, "Version 9.9 is available");
    click(role::button, "Install");
    interface().await(role::label, "Version 9.9 is refused");
    EXPECT_THAT(desktop().openedPages(), IsEmpty());
    EXPECT_TRUE(waitUntil([&] { return fs::is_empty(cache()); }));
    input().press({"Escape"});
    EXPECT_TRUE(interface().awaitGone(role::label, "Version 9.9 is refused"));
}

TEST_F(AppUpdate, AServerThatIsNotThereIsSaidToBe) {
    publish("9.9", key);
    environment["TANDREL_TEST_UPDATE_FEED"] = "http://127.0.0.1:9/appcast.xml";
    checkForUpdates();
    interface().await(role::label, "The check for updates failed");
    click(role::button, "Close");
    EXPECT_TRUE(interface().awaitGone(role::label, "The check for updates failed"));
}

TEST_F(AppUpdate, ASignalDuringADownloadEndsInOrderAndLeavesNothing) {
    publish("9.9", key, false);
    checkForUpdates();
    interface().await(role::label, "Version 9.9 is available");
    click(role::button, "Install");
    interface().await(role::button, "Cancel");
    ASSERT_TRUE(waitUntil([&] { return fs::exists(cache()) && !fs::is_empty(cache()); }));
    EXPECT_EQ(app().end(SIGTERM), 0);
    EXPECT_TRUE(fs::is_empty(cache()));
}

} // namespace
} // namespace tandrel::test
