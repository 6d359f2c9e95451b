#include "Views/MenuBarContentController.h"

#include "Support/LogCapture.h"
#include "Support/StreamingFixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using test::LogCapture;
using test::StreamingFixture;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Kind = SessionState::Kind;

constexpr const char* loginJson =
    R"({"access_token":"access","refresh_token":"refresh","user":{"id":"u1",)"
    R"("email":"ada@example.org","account_id":"a1"}})";
constexpr const char* profileJson = R"({"id":"u1","email":"ada@example.org","account_id":"a1"})";
constexpr const char* storedProfile = R"({"id":"u1","email":"ada@example.org","accountId":"a1"})";

/// Credentials that become readable when the test says so.
class CredentialGate {
public:
    [[nodiscard]] MenuBarContentController::CredentialLoader loader() {
        return [this](std::function<void(CredentialAccess)> done) -> Handle {
            ++asked;
            auto shared = std::make_shared<Done>(std::move(done));
            waiting_ = shared;
            return std::make_unique<Wait>(std::move(shared));
        };
    }
    /// False when nobody waits any more.
    bool open(CredentialAccess access = CredentialAccess::readable) {
        const auto done = waiting_.lock();
        if (done) {
            (*done)(access);
        }
        return done != nullptr;
    }

    int asked = 0;

private:
    using Done = std::function<void(CredentialAccess)>;
    class Wait : public Operation {
    public:
        explicit Wait(std::shared_ptr<Done> done)
            : done_(std::move(done)) {}

    private:
        std::shared_ptr<Done> done_;
    };
    std::weak_ptr<Done> waiting_;
};

class MenuBarContentControllerTest : public testing::Test {
protected:
    MenuBarContentControllerTest() { testing::internal::CaptureStdout(); }
    ~MenuBarContentControllerTest() override { testing::internal::GetCapturedStdout(); }

    [[nodiscard]] std::unique_ptr<MenuBarContentController>
    makeContent(MenuBarContentController::CredentialLoader loader = {}) {
        return std::make_unique<MenuBarContentController>(
            MenuBarContentController::Environment{
                outside.backend.apiClient, outside.audioService, outside.backend.keychain,
                outside.backend.userDefaults, outside.backend.streamSocket, outside.appState,
                outside.backend.clock},
            std::move(loader));
    }
    [[nodiscard]] Kind kind() const { return content->sessionService().state.value().kind(); }
    [[nodiscard]] StreamingController* panel() const { return content->panel.value(); }
    [[nodiscard]] bool capturing() const { return outside.audioService.isCapturing.value(); }
    [[nodiscard]] std::vector<std::string> urls() const {
        std::vector<std::string> urls;
        for (const HttpRequest& request : outside.backend.transport.requests()) {
            urls.push_back(request.url.substr(std::string("https://api.test").size()));
        }
        return urls;
    }
    [[nodiscard]] std::size_t pollingStarts() const {
        return log.linesStartingWith("[startPolling]").size();
    }
    void storeSession() {
        outside.backend.storeAccessToken();
        outside.backend.userDefaults.setData("cached_user_data", storedProfile);
    }
    void signIn() {
        login = content->authService().login("ada@example.org", "password");
        outside.backend.transport.answer(200, loginJson);
        outside.turn();
    }
    void findSession() {
        ASSERT_TRUE(outside.backend.transport.answer(200, StreamingFixture::sessionJson()));
        ASSERT_EQ(kind(), Kind::sessionFound);
    }
    void start() {
        findSession();
        panel()->startStreaming(*content->sessionService().state.value().session());
        outside.turn();
    }
    void startAndOpen() {
        start();
        outside.connection().answerPing();
        outside.clock().advance(100ms);
    }
    void startWhole() {
        startAndOpen();
        outside.permission.answer(true);
        ASSERT_TRUE(capturing());
    }
    void loseMicrophone() {
        startWhole();
        outside.audioInput.reportFault(CaptureFault{CaptureFault::Kind::deviceLost, "unplugged"});
        outside.mainQueue.drain();
    }
    /// Gives every chance to whatever might still be pending; whether anything came of it.
    void expectNothingMore() {
        const auto connections = outside.backend.streamSocket.connections().size();
        const auto requests = outside.backend.transport.requests().size();
        const auto calls = outside.audioInput.calls().size();
        for (int second = 0; second < 60; ++second) {
            outside.clock().advance(1s);
            outside.mainQueue.drain();
            outside.permission.answer(true);
            EXPECT_EQ(outside.audioInput.findDevice("mic-7"), 0);
        }
        EXPECT_EQ(outside.backend.streamSocket.connections().size(), connections);
        EXPECT_EQ(outside.backend.transport.requests().size(), requests);
        EXPECT_EQ(outside.audioInput.calls().size(), calls);
        EXPECT_FALSE(capturing());
        EXPECT_EQ(outside.backend.clock.pendingCount(), 0U);
    }

    StreamingFixture outside;
    LogCapture log;
    std::unique_ptr<MenuBarContentController> content = makeContent();
    Handle login;
};

// Start-up

TEST_F(MenuBarContentControllerTest, DoesNothingBeforeItIsShown) {
    storeSession();
    expectNothingMore();
    EXPECT_FALSE(content->authService().isAuthenticated.value());
    EXPECT_EQ(panel(), nullptr);
}

TEST_F(MenuBarContentControllerTest, TheFirstAppearanceRestoresAndPolls) {
    storeSession();
    content->appear();
    outside.turn();
    EXPECT_TRUE(content->authService().isAuthenticated.value());
    EXPECT_NE(panel(), nullptr);
    EXPECT_EQ(kind(), Kind::polling);
    EXPECT_THAT(urls(),
                testing::UnorderedElementsAre("/api/auth/me", "/api/tandrel/sessions/pending"));
}

TEST_F(MenuBarContentControllerTest, PollingStartsByTheReactionAndAgainWhenTheRestoreHasEnded) {
    storeSession();
    content->appear();
    outside.clock().runPending();
    EXPECT_EQ(pollingStarts(), 1U);
    outside.backend.transport.answer(200, profileJson);
    EXPECT_EQ(pollingStarts(), 2U);
    outside.backend.transport.deliver();
    outside.turn();
    EXPECT_EQ(outside.backend.transport.pendingCount(), 1U) << "one loop";
}

TEST_F(MenuBarContentControllerTest, ARestoreThatEndsLateLeavesAStreamAlone) {
    storeSession();
    content->appear();
    outside.clock().runPending();
    content->sessionService().state.set(SessionState::streaming());
    outside.backend.transport.answer(200, profileJson);
    EXPECT_EQ(kind(), Kind::streaming);
    EXPECT_EQ(pollingStarts(), 1U);
}

TEST_F(MenuBarContentControllerTest, LaterAppearancesRestoreNothing) {
    storeSession();
    for (int time = 0; time < 5; ++time) {
        content->appear();
        outside.turn();
    }
    EXPECT_EQ(std::ranges::count(urls(), "/api/auth/me"), 1);
}

TEST_F(MenuBarContentControllerTest, ASecondAppearanceDuringTheRestoreDoesNothing) {
    storeSession();
    content->appear();
    content->appear();
    outside.turn();
    content->appear();
    outside.turn();
    EXPECT_EQ(std::ranges::count(urls(), "/api/auth/me"), 1);
}

TEST_F(MenuBarContentControllerTest, ARestoreThatFailsStartsNoPolling) {
    content->appear();
    outside.turn();
    EXPECT_EQ(panel(), nullptr);
    EXPECT_THAT(urls(), IsEmpty());
    expectNothingMore();
}

TEST_F(MenuBarContentControllerTest, ARestoreThatIsRefusedEndsSignedOutWithoutPolling) {
    storeSession();
    content->appear();
    outside.turn();
    outside.backend.transport.answer(401);
    outside.backend.transport.deliver();
    EXPECT_EQ(panel(), nullptr);
    EXPECT_EQ(kind(), Kind::idle);
    EXPECT_EQ(content->authService().error.value(), "Session expired. Please log in again.");
    expectNothingMore();
}

TEST_F(MenuBarContentControllerTest, SigningInStartsPollingExactlyOnce) {
    content->appear();
    outside.turn();
    signIn();
    EXPECT_EQ(pollingStarts(), 1U);
    EXPECT_EQ(kind(), Kind::polling);
    EXPECT_NE(panel(), nullptr);
}

TEST_F(MenuBarContentControllerTest, TheRestoreWaitsForTheCredentials) {
    CredentialGate gate;
    content = makeContent(gate.loader());
    content->appear();
    content->appear();
    EXPECT_EQ(gate.asked, 1);
    outside.clock().advance(29s);
    EXPECT_THAT(urls(), IsEmpty());
    storeSession();
    EXPECT_TRUE(gate.open());
    outside.turn();
    EXPECT_TRUE(content->authService().isAuthenticated.value());
    EXPECT_EQ(std::ranges::count(urls(), "/api/auth/me"), 1);
}

TEST_F(MenuBarContentControllerTest, TheRestoreWaitsAtMostThirtySeconds) {
    CredentialGate gate;
    content = makeContent(gate.loader());
    storeSession();
    content->appear();
    outside.clock().advance(30s - 1ns);
    EXPECT_THAT(urls(), IsEmpty());
    outside.clock().advance(1ns);
    EXPECT_EQ(std::ranges::count(urls(), "/api/auth/me"), 1);
    gate.open(); // too late to be of use
    outside.turn();
    EXPECT_EQ(std::ranges::count(urls(), "/api/auth/me"), 1);
}

TEST_F(MenuBarContentControllerTest, CredentialsMayBeReadableAtOnce) {
    content = makeContent([](const std::function<void(CredentialAccess)>& done) {
        done(CredentialAccess::readable);
        return Handle();
    });
    storeSession();
    content->appear();
    outside.turn();
    EXPECT_TRUE(content->authService().isAuthenticated.value());
    outside.clock().advance(60s);
    EXPECT_EQ(std::ranges::count(urls(), "/api/auth/me"), 1);
}

// Credentials out of reach

/// An earlier sign-in whose tokens are in a store that does not give them.
class OutOfReach : public MenuBarContentControllerTest {
protected:
    void appear() {
        outside.backend.userDefaults.setData("cached_user_data", storedProfile);
        content = makeContent(gate.loader());
        content->appear();
    }
    void fail(CredentialAccess access) {
        ASSERT_TRUE(gate.open(access));
        outside.turn();
        ASSERT_FALSE(signedIn());
    }
    void succeed() {
        storeSession();
        ASSERT_TRUE(gate.open());
        outside.turn();
    }
    [[nodiscard]] bool signedIn() const { return content->authService().isAuthenticated.value(); }

    CredentialGate gate;
};

TEST_F(OutOfReach, ADismissedPromptLeavesTheProfileForTheNextStart) {
    appear();
    fail(CredentialAccess::unreadable);
    EXPECT_TRUE(outside.backend.userDefaults.data("cached_user_data"));
    EXPECT_EQ(content->credentialKeeping.value(), CredentialKeeping::kept);
    expectNothingMore();
}

TEST_F(OutOfReach, APromptThatIsAnsweredLateStillRestores) {
    appear();
    outside.clock().advance(31s);
    EXPECT_FALSE(signedIn());
    EXPECT_TRUE(outside.backend.userDefaults.data("cached_user_data"));
    succeed();
    EXPECT_TRUE(signedIn());
    EXPECT_EQ(std::ranges::count(urls(), "/api/auth/me"), 1);
}

TEST_F(OutOfReach, AStoreThatComesLateRestores) {
    appear();
    fail(CredentialAccess::noStore);
    EXPECT_EQ(content->credentialKeeping.value(), CredentialKeeping::notKept);
    EXPECT_TRUE(outside.backend.userDefaults.data("cached_user_data"));
    content->credentialStoreAppeared();
    EXPECT_EQ(gate.asked, 2);
    EXPECT_EQ(content->credentialKeeping.value(), CredentialKeeping::kept);
    succeed();
    EXPECT_TRUE(signedIn());
}

TEST_F(OutOfReach, AStoreThatComesDuringTheFirstLookIsLookedIntoAgain) {
    appear();
    content->credentialStoreAppeared();
    EXPECT_EQ(gate.asked, 2);
    succeed();
    EXPECT_TRUE(signedIn());
    EXPECT_EQ(std::ranges::count(urls(), "/api/auth/me"), 1);
}

TEST_F(OutOfReach, AStoreThatComesBeforeTheContentShowsIsLookedIntoOnce) {
    content = makeContent(gate.loader());
    content->credentialStoreAppeared();
    EXPECT_EQ(gate.asked, 0);
    content->appear();
    EXPECT_EQ(gate.asked, 1);
}

TEST_F(OutOfReach, AStoreThatComesLateWithoutOurTokensForgetsTheProfile) {
    appear();
    fail(CredentialAccess::noStore);
    content->credentialStoreAppeared();
    fail(CredentialAccess::readable);
    EXPECT_FALSE(outside.backend.userDefaults.data("cached_user_data"));
    content->credentialStoreAppeared();
    EXPECT_EQ(gate.asked, 2) << "nothing is left to restore";
}

TEST_F(OutOfReach, WhoeverHasSignedInByHandIsLeftAlone) {
    appear();
    fail(CredentialAccess::noStore);
    signIn();
    content->credentialStoreAppeared();
    EXPECT_EQ(gate.asked, 1);
    EXPECT_EQ(std::ranges::count(urls(), "/api/auth/me"), 0);
}

TEST_F(OutOfReach, ASignInUnderWayIsLeftAlone) {
    appear();
    outside.clock().advance(31s);
    const Handle attempt = content->authService().login("ada@example.org", "password");
    succeed();
    EXPECT_FALSE(signedIn());
    EXPECT_EQ(std::ranges::count(urls(), "/api/auth/me"), 0);
}

TEST_F(OutOfReach, WhoeverSignedOutAgainStaysSignedOut) {
    appear();
    fail(CredentialAccess::noStore);
    signIn();
    content->authService().logout();
    content->credentialStoreAppeared();
    EXPECT_EQ(gate.asked, 1);
}

TEST_F(OutOfReach, NothingIsLookedForOnceItIsShutDown) {
    appear();
    fail(CredentialAccess::noStore);
    content->shutdown();
    content->credentialStoreAppeared();
    EXPECT_EQ(gate.asked, 1);
}

TEST_F(MenuBarContentControllerTest, WithoutALoaderCredentialsAreKept) {
    EXPECT_EQ(content->credentialKeeping.value(), CredentialKeeping::kept);
    CredentialGate gate;
    EXPECT_EQ(makeContent(gate.loader())->credentialKeeping.value(), CredentialKeeping::unknown);
}

// Signing in and out

TEST_F(MenuBarContentControllerTest, ThePanelExistsExactlyWhileSignedIn) {
    std::vector<bool> seen;
    const Subscription subscription =
        content->panel.observe([&](StreamingController* now) { seen.push_back(now != nullptr); });
    signIn();
    content->authService().logout();
    EXPECT_EQ(panel(), nullptr);
    signIn();
    EXPECT_NE(panel(), nullptr);
    EXPECT_THAT(seen, ElementsAre(true, false, true));
}

TEST_F(MenuBarContentControllerTest, ThePanelIsStillThereWhenItsEndIsAnnounced) {
    signIn();
    StreamingController* const before = panel();
    std::string duration;
    const Subscription subscription = content->panel.observe(
        [&](StreamingController*) { duration = before->formattedDuration(); });
    content->authService().logout();
    EXPECT_EQ(duration, "00:00");
}

TEST_F(MenuBarContentControllerTest, SigningOutStopsPollingThenCaptureThenTheSocket) {
    signIn();
    std::vector<std::string> order;
    const Subscription polling = content->sessionService().state.observe(
        [&](const SessionState&) { order.emplace_back("polling"); });
    const Subscription capture =
        outside.audioService.isCapturing.observe([&](bool) { order.emplace_back("capture"); });
    const Subscription socket = content->wsService().state.observe(
        [&](const ConnectionState&) { order.emplace_back("socket"); });
    content->authService().logout();
    EXPECT_THAT(order, ElementsAre("polling", "capture", "socket"));
    outside.backend.transport.deliver();
    expectNothingMore();
}

TEST_F(MenuBarContentControllerTest, SigningOutEndsTheValidationOfTheRestoredSignIn) {
    storeSession();
    content->appear();
    outside.turn();
    ASSERT_EQ(outside.backend.transport.pendingCount(), 2U) << "validation and poll";
    content->authService().logout();
    outside.backend.transport.deliver();
    EXPECT_EQ(outside.backend.transport.pendingCount(), 0U);
    expectNothingMore();
}

TEST_F(MenuBarContentControllerTest, SigningOutWhileStreamingStopsAllButEndsNoSession) {
    signIn();
    startWhole();
    content->authService().logout();
    EXPECT_FALSE(capturing());
    EXPECT_EQ(outside.connection().closedWith(), 1000);
    EXPECT_EQ(content->wsService().state.value(), ConnectionState::disconnected());
    EXPECT_EQ(kind(), Kind::streaming) << "as it was";
    expectNothingMore();
    signIn();
    EXPECT_EQ(kind(), Kind::polling);
    EXPECT_EQ(panel()->streamingDuration.value(), 0.0);
}

TEST_F(MenuBarContentControllerTest, A401OfThePollEndsEverything) {
    signIn();
    outside.backend.transport.answer(401);
    outside.backend.transport.deliver();
    EXPECT_EQ(panel(), nullptr);
    EXPECT_EQ(kind(), Kind::idle);
    EXPECT_EQ(content->authService().error.value(), "Session expired. Please log in again.");
    EXPECT_EQ(content->sessionService().error.value(), "Session expired");
    expectNothingMore();
}

/// Reaches a moment in the life of a stream by its name.
class MenuBarContentControllerMoment : public MenuBarContentControllerTest,
                                       public testing::WithParamInterface<const char*> {
protected:
    void reach() {
        const std::string moment = GetParam();
        signIn();
        if (moment == "Polling") {
            return;
        }
        if (moment == "SessionFound") {
            findSession();
        } else if (moment == "BeforeTheFirstCheck") {
            findSession();
            panel()->startStreaming(*content->sessionService().state.value().session());
        } else if (moment == "SocketWait") {
            start();
            outside.clock().advance(500ms);
        } else if (moment == "SocketOpenBeforeTheCheck") {
            start();
            outside.connection().answerPing();
        } else if (moment == "PermissionQuestion") {
            startAndOpen();
            outside.turn();
        } else if (moment == "PermissionOnItsWay") {
            outside.permission.status = AuthorizationStatus::authorized;
            startAndOpen();
        } else if (moment == "Streaming") {
            startWhole();
        } else if (moment == "BackOffOfTheStart") {
            start();
            outside.connection().lose({57, "gone"});
        } else if (moment == "BackOff") {
            startWhole();
            outside.connection().lose({57, "gone"});
        } else if (moment == "Reconnecting") {
            startWhole();
            outside.connection().lose({57, "gone"});
            outside.clock().advance(1s);
        } else if (moment == "MicrophoneAwaited") {
            loseMicrophone();
            ASSERT_THAT(outside.audioInput.awaited(), ElementsAre("mic-7"));
        } else if (moment == "MicrophoneFound") {
            loseMicrophone();
            ASSERT_EQ(outside.audioInput.findDevice("mic-7"), 1);
        } else if (moment == "MicrophoneThatDidNotStart") {
            loseMicrophone();
            outside.permission.status = AuthorizationStatus::authorized;
            outside.audioInput.startError = "Access denied";
            ASSERT_EQ(outside.audioInput.findDevice("mic-7"), 1);
            outside.mainQueue.drain();
        } else if (moment == "NoSound") {
            startWhole();
            outside.audioInput.reportFault(CaptureFault{CaptureFault::Kind::stalled, "nothing"});
            outside.mainQueue.drain();
        } else if (moment == "StopRequested") {
            startWhole();
            panel()->stopStreaming();
        } else if (moment == "Completed") {
            startWhole();
            panel()->stopStreaming();
            outside.turn();
            ASSERT_EQ(kind(), Kind::completed);
        } else if (moment == "AfterAFailedStart") {
            startAndOpen();
            outside.permission.answer(false);
        } else {
            FAIL() << moment;
        }
    }
    /// Every connection that is not lost was closed normally.
    void expectSocketClosed() {
        EXPECT_EQ(content->wsService().state.value(), ConnectionState::disconnected());
        for (const auto& connection : outside.backend.streamSocket.connections()) {
            EXPECT_TRUE(connection->closedWith() == 1000 || connection->receiveCount() == 0U);
        }
    }
};

TEST_P(MenuBarContentControllerMoment, SigningOutLeavesNothingThatStartsLater) {
    reach();
    content->authService().logout();
    outside.backend.transport.deliver(); // an aborted poll says so
    EXPECT_FALSE(capturing());
    expectSocketClosed();
    expectNothingMore();
    EXPECT_NE(kind(), Kind::polling);
}

TEST_P(MenuBarContentControllerMoment, ShuttingDownStopsAllAndEndsPendingWork) {
    reach();
    content->shutdown();
    EXPECT_EQ(panel(), nullptr);
    EXPECT_FALSE(capturing());
    expectSocketClosed();
    outside.backend.transport.deliver();
    content->shutdown();
    content->appear();
    expectNothingMore();
}

TEST_P(MenuBarContentControllerMoment, DestroyingItShutsDown) {
    reach();
    content.reset();
    EXPECT_FALSE(capturing());
    for (const auto& connection : outside.backend.streamSocket.connections()) {
        EXPECT_TRUE(connection->closedWith() == 1000 || connection->isDropped());
    }
    expectNothingMore();
    EXPECT_FALSE(outside.audioInput.isRunning());
}

INSTANTIATE_TEST_SUITE_P(All, MenuBarContentControllerMoment,
                         testing::Values("Polling", "SessionFound", "BeforeTheFirstCheck",
                                         "SocketWait", "SocketOpenBeforeTheCheck",
                                         "PermissionQuestion", "PermissionOnItsWay", "Streaming",
                                         "BackOffOfTheStart", "BackOff", "Reconnecting",
                                         "MicrophoneAwaited", "MicrophoneFound",
                                         "MicrophoneThatDidNotStart", "NoSound", "StopRequested",
                                         "Completed", "AfterAFailedStart"),
                         [](const auto& moment) { return std::string(moment.param); });

TEST_F(MenuBarContentControllerTest, ShuttingDownWhileTheCredentialsLoadEndsTheWait) {
    CredentialGate gate;
    content = makeContent(gate.loader());
    storeSession();
    content->appear();
    content->shutdown();
    EXPECT_FALSE(gate.open());
    expectNothingMore();
    EXPECT_THAT(urls(), IsEmpty());
}

TEST_F(MenuBarContentControllerTest, ShuttingDownDuringTheRestoreEndsIt) {
    storeSession();
    content->appear();
    outside.turn();
    content->shutdown();
    outside.backend.transport.deliver();
    expectNothingMore();
    EXPECT_EQ(outside.backend.transport.pendingCount(), 0U);
}

TEST_F(MenuBarContentControllerTest, ASignInThatEndsAfterTheShutdownStartsNothing) {
    login = content->authService().login("ada@example.org", "password");
    content->shutdown();
    outside.backend.transport.answer(200, loginJson);
    expectNothingMore();
    EXPECT_EQ(panel(), nullptr);
}

TEST_F(MenuBarContentControllerTest, NoCaptureAfterTheShutdownReachesTheSocket) {
    signIn();
    startWhole();
    content->shutdown();
    // The capture service outlives the content, and would keep the socket with it.
    outside.audioService.startCapture(*outside.audioService.selectedDevice.value());
    EXPECT_TRUE(outside.audioInput.pushSilence(1023));
    EXPECT_THAT(log.linesStartingWith("[sendAudioData]"), IsEmpty());
    EXPECT_TRUE(log.linesStartingWith("[startCapture] device=").back().ends_with("=false"));
}

TEST_F(MenuBarContentControllerTest, NoBufferReachesTheSocketAfterTheEnd) {
    signIn();
    startWhole();
    const AudioEngine::Tap tap = outside.audioInput.installedTap();
    content.reset();
    const std::vector<float> silence(1023);
    tap({silence.data(), 1023, 48000.0});
    EXPECT_THAT(log.linesStartingWith("[sendAudioData]"), IsEmpty());
}

// The whole way

TEST_F(MenuBarContentControllerTest, FromSignInToStreamToStopToTheNextSession) {
    content->appear();
    outside.turn();
    signIn();
    panel()->appear();
    outside.appState.autoStartRequested.set(true);
    ASSERT_TRUE(outside.backend.transport.answer(200, StreamingFixture::sessionJson()));
    EXPECT_EQ(kind(), Kind::streaming);
    outside.turn();
    outside.connection().answerPing();
    outside.clock().advance(100ms);
    outside.permission.answer(true);
    ASSERT_TRUE(capturing());
    ASSERT_TRUE(outside.audioInput.pushSilence(1023));
    EXPECT_THAT(outside.connection().sent(), SizeIs(1));
    outside.clock().advance(5s);
    EXPECT_EQ(panel()->formattedDuration(), "00:05");
    outside.appState.stopRequested.set(true);
    outside.turn();
    EXPECT_EQ(kind(), Kind::completed);
    outside.clock().advance(2s);
    EXPECT_EQ(kind(), Kind::polling);
    ASSERT_TRUE(outside.backend.transport.answer(200, StreamingFixture::sessionJson("next")));
    EXPECT_EQ(kind(), Kind::sessionFound);
}

} // namespace
} // namespace tandrel
