#include "Views/StreamingController.h"

#include "Views/StreamingControllerFixture.h"

#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using test::StreamingFixture;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using Kind = SessionState::Kind;

const SocketError gone{57, "Socket is not connected"};
constexpr const char* permissionText =
    "Microphone permission denied. Grant access in System Settings → Privacy & Security → "
    "Microphone.";

const std::string deviceMissing = "[Streaming] No device selected";
const std::string starting = "[Streaming] Starting — connect WebSocket first, then audio";
const std::string connectedLine = "[Streaming] WebSocket connected, requesting mic permission";
const std::string grantedLine = "[Streaming] Mic permission granted, starting audio capture";
const std::string startedLine = "[Streaming] Audio capture started";
const std::string deniedLine = "[Streaming] Microphone permission denied";
const std::string conditionsMet = "[AutoStart] Conditions met — starting streaming";

using StreamingControllerTest = test::StreamingControllerFixture;

// Start sequence

TEST_F(StreamingControllerTest, AWholeStartPassesEveryStepInOrder) {
    findSession();
    controller->startStreaming(found);
    EXPECT_EQ(kind(), Kind::streaming) << "before any connection exists";
    EXPECT_EQ(ws->state.value(), ConnectionState::connecting());
    EXPECT_EQ(outside.connection().url(), "wss://api.test/tandrel-stream?token=stream-token");
    EXPECT_EQ(outside.permission.requestCount(), 0);
    outside.turn();
    outside.connection().answerPing();
    EXPECT_EQ(outside.permission.requestCount(), 0) << "until the next check";
    outside.clock().advance(100ms);
    outside.turn();
    EXPECT_EQ(outside.permission.requestCount(), 1);
    EXPECT_FALSE(capturing());
    outside.permission.answer(true);
    EXPECT_TRUE(capturing());
    EXPECT_FALSE(error());
    EXPECT_THAT(log.lines(),
                ElementsAre(starting, "[connect] token=stream-t...",
                            "[establishConnection] "
                            "url=wss://api.test/tandrel-stream?token=stream-token",
                            "[establishConnection] ping OK -> connected", connectedLine,
                            "[mic permission] current status=0",
                            "[mic permission] user responded: granted=true", grantedLine,
                            "[startCapture] device=Desk microphone, onAudioBuffer=true",
                            testing::StartsWith("[startCapture] inputFormat="),
                            "[startCapture] engine started, isCapturing=true", startedLine));
}

TEST_F(StreamingControllerTest, ASocketThatIsConnectedAtOnceIsNotWaitedFor) {
    findSession();
    controller->startStreaming(found);
    outside.connection().answerPing();
    outside.turn();
    EXPECT_EQ(outside.permission.requestCount(), 1);
    EXPECT_EQ(outside.clock().elapsed(), 0ns);
}

TEST_F(StreamingControllerTest, CapturedBuffersGoToTheSocketUnchanged) {
    startWhole();
    outside.audioInput.inputFormat = {16000.0, 1, SampleType::float32, true};
    ASSERT_TRUE(outside.audioInput.pushSilence(1023));
    ASSERT_THAT(outside.connection().sent(), SizeIs(1));
    EXPECT_EQ(outside.connection().sent().front().size() % 2, 0U);
}

TEST_F(StreamingControllerTest, TheHandlerStaysAfterAStop) {
    startWhole();
    controller->stopStreaming();
    outside.audioService.startCapture(*outside.audioService.selectedDevice.value());
    EXPECT_TRUE(outside.audioInput.pushSilence(1023));
    EXPECT_THAT(log.linesStartingWith("[sendAudioData]"), Not(IsEmpty()));
}

TEST_F(StreamingControllerTest, ALateBufferMeetsALivingSocket) {
    startWhole();
    const AudioEngine::Tap tap = outside.audioInput.installedTap();
    controller.reset();
    ws.reset();
    const std::vector<float> silence(1023);
    tap({silence.data(), 1023, 48000.0});
    EXPECT_THAT(log.linesStartingWith("[sendAudioData] #1 "), Not(IsEmpty()));
}

TEST_F(StreamingControllerTest, WithoutADeviceADirectStartOnlyLogs) {
    outside.audioService.selectedDevice.set(std::nullopt);
    findSession();
    controller->startStreaming(found);
    waitLong();
    EXPECT_THAT(lines(), ElementsAre(deviceMissing));
    EXPECT_EQ(kind(), Kind::sessionFound);
    EXPECT_FALSE(error());
    EXPECT_THAT(outside.backend.streamSocket.connections(), IsEmpty());
    EXPECT_EQ(duration(), 0.0);
}

TEST_F(StreamingControllerTest, TheDeviceOfTheStartIsCapturedEvenIfAnotherIsSelectedMeanwhile) {
    startAndOpen();
    outside.audioService.selectedDevice.set(AudioDevice{8, "Other", "mic-8"});
    outside.permission.answer(true);
    EXPECT_THAT(outside.audioInput.calls(), Contains("1.bindDevice(7, mic-7)"));
}

TEST_F(StreamingControllerTest, ASocketThatNeverConnectsEndsAfterAHundredSleeps) {
    start();
    outside.clock().advance(9900ms);
    EXPECT_EQ(kind(), Kind::streaming);
    outside.clock().advance(99ms);
    EXPECT_FALSE(error());
    outside.clock().advance(1ms);
    EXPECT_EQ(error(), "Failed to connect WebSocket");
    EXPECT_EQ(outside.clock().elapsed(), 10s);
    EXPECT_THAT(lines(),
                ElementsAre(starting, "[Streaming] WebSocket failed to connect: connecting"));
    expectStopped();
    EXPECT_EQ(outside.connection().closedWith(), 1000);
    outside.turn();
    EXPECT_EQ(kind(), Kind::completed);
    EXPECT_EQ(outside.permission.requestCount(), 0);
}

TEST_F(StreamingControllerTest, APongInTheLastIntervalStillCounts) {
    start();
    outside.clock().advance(9950ms);
    outside.connection().answerPing();
    outside.clock().advance(50ms);
    outside.turn();
    EXPECT_EQ(outside.permission.requestCount(), 1);
    EXPECT_FALSE(error());
}

TEST_F(StreamingControllerTest, ADroppedSocketKeepsTheStartWaiting) {
    start();
    outside.connection().lose(gone);
    outside.clock().advance(1s);
    outside.connection().answerPing();
    outside.clock().advance(100ms);
    outside.turn();
    EXPECT_EQ(outside.permission.requestCount(), 1);
}

TEST_F(StreamingControllerTest, ASocketErrorDuringTheWaitEndsTheStartAtOnce) {
    start();
    outside.connection().setCloseCode(4001);
    outside.connection().lose(gone);
    EXPECT_THAT(lines(),
                ElementsAre(starting,
                            "[PopoverView] WebSocket error during streaming: Session token is "
                            "invalid. Please start a new session. — resetting to poll",
                            "[Streaming] WebSocket failed to connect: error(\"Session token is "
                            "invalid. Please start a new session.\")"));
    EXPECT_EQ(error(), "Failed to connect WebSocket");
    expectStopped();
    EXPECT_EQ(outside.clock().elapsed(), 0ns);
    waitLong();
    EXPECT_THAT(lines(), SizeIs(3));
    EXPECT_EQ(kind(), Kind::polling);
    EXPECT_EQ(engineStarts(), 0);
}

TEST_F(StreamingControllerTest, AnInvalidUrlEndsTheStartBeforeItReturns) {
    findSession();
    controller->startStreaming({"s1", "bad token", "i1"});
    EXPECT_EQ(error(), "Failed to connect WebSocket");
    EXPECT_THAT(lines(), ElementsAre(starting,
                                     "[PopoverView] WebSocket error during streaming: Invalid "
                                     "WebSocket URL — resetting to poll",
                                     "[Streaming] WebSocket failed to connect: error(\"Invalid "
                                     "WebSocket URL\")"));
    expectStopped();
    waitLong();
    EXPECT_THAT(lines(), SizeIs(3)) << "one outcome";
    EXPECT_EQ(kind(), Kind::polling);
}

TEST_F(StreamingControllerTest, AnErrorFoundByTheWaitItselfHasTheSameOutcome) {
    start();
    session.state.set(SessionState::polling()); // so that the reaction stays out of it
    outside.connection().setCloseCode(4002);
    outside.connection().lose(gone);
    EXPECT_THAT(lines(), ElementsAre(starting));
    outside.clock().advance(100ms);
    EXPECT_THAT(lines(), ElementsAre(starting, "[Streaming] WebSocket failed to connect: "
                                               "error(\"Session is no longer pending.\")"));
    EXPECT_EQ(error(), "Failed to connect WebSocket");
    expectStopped();
}

TEST_F(StreamingControllerTest, ARefusedPermissionStopsWithItsText) {
    startAndOpen();
    outside.permission.answer(false);
    EXPECT_EQ(lines().back(), deniedLine);
    EXPECT_EQ(error(), permissionText);
    expectStopped();
    EXPECT_EQ(outside.connection().closedWith(), 1000);
    outside.turn();
    EXPECT_EQ(kind(), Kind::completed);
    EXPECT_EQ(engineStarts(), 0);
}

TEST_F(StreamingControllerTest, APermissionThatIsKnownNeedsNoQuestion) {
    outside.permission.status = AuthorizationStatus::denied;
    startAndOpen();
    outside.mainQueue.drain();
    EXPECT_EQ(error(), permissionText);
    EXPECT_EQ(outside.permission.requestCount(), 0);
}

TEST_F(StreamingControllerTest, ADeviceThatCannotBeBoundStopsWithItsText) {
    outside.audioInput.bindSucceeds = false;
    startAndOpen();
    outside.permission.answer(true);
    EXPECT_EQ(lines().back(), "[Streaming] Audio capture failed: deviceSelectionFailed");
    EXPECT_EQ(error(), "Failed to start audio: Failed to select audio device");
    expectStopped();
    outside.turn();
    EXPECT_EQ(kind(), Kind::completed);
}

TEST_F(StreamingControllerTest, AnEngineThatDoesNotStartStopsWithItsOwnWords) {
    outside.audioInput.startError = "Connection refused";
    startAndOpen();
    outside.permission.answer(true);
    EXPECT_EQ(lines().back(), "[Streaming] Audio capture failed: Connection refused");
    EXPECT_EQ(error(), "Failed to start audio: Connection refused");
    expectStopped();
}

TEST_F(StreamingControllerTest, TheErrorIsWrittenAfterTheStop) {
    startAndOpen();
    bool stoppedBefore = false;
    const Subscription subscription = session.error.observe([&](const auto& text) {
        stoppedBefore = text && ws->state.value() == ConnectionState::disconnected();
    });
    outside.permission.answer(false);
    EXPECT_TRUE(stoppedBefore);
}

// Stopping

TEST_F(StreamingControllerTest, StoppingTearsDownInOrderAndPollsAgainAfterTwoSeconds) {
    startWhole();
    outside.clock().advance(5s);
    outside.audioInput.clearCalls();
    std::vector<std::string> order;
    const Subscription timer =
        controller->streamingDuration.observe([&](double) { order.emplace_back("timer"); });
    const Subscription capture =
        outside.audioService.isCapturing.observe([&](bool) { order.emplace_back("capture"); });
    const Subscription socket =
        ws->state.observe([&](const ConnectionState&) { order.emplace_back("socket"); });
    const Subscription state =
        session.state.observe([&](const SessionState&) { order.emplace_back("session"); });
    controller->stopStreaming();
    EXPECT_THAT(order, ElementsAre("timer", "capture", "socket"));
    EXPECT_EQ(kind(), Kind::streaming) << "the session is ended by a later turn";
    expectStopped();
    EXPECT_EQ(outside.connection().closedWith(), 1000);
    outside.turn();
    EXPECT_EQ(kind(), Kind::completed);
    outside.clock().advance(1999ms);
    EXPECT_EQ(kind(), Kind::completed);
    outside.clock().advance(1ms);
    EXPECT_EQ(kind(), Kind::polling);
    EXPECT_FALSE(error());
}

TEST_F(StreamingControllerTest, StoppingTwiceEndsOneSession) {
    startWhole();
    controller->stopStreaming();
    controller->stopStreaming();
    waitLong();
    EXPECT_THAT(log.linesStartingWith("[startPolling]"), SizeIs(1));
}

TEST_F(StreamingControllerTest, StoppingWhenNothingStreamsLeavesTheSession) {
    findSession();
    controller->stopStreaming();
    waitLong();
    EXPECT_EQ(kind(), Kind::sessionFound);
}

TEST_F(StreamingControllerTest, AStopBeforeTheFirstCheckEndsTheStart) {
    findSession();
    controller->startStreaming(found);
    controller->stopStreaming();
    waitLong();
    EXPECT_THAT(lines(), ElementsAre(starting));
    EXPECT_EQ(outside.permission.requestCount(), 0);
    EXPECT_FALSE(error());
}

TEST_F(StreamingControllerTest, AStopDuringTheSocketWaitEndsTheStart) {
    start();
    outside.clock().advance(500ms);
    controller->stopStreaming();
    waitLong();
    EXPECT_THAT(lines(), ElementsAre(starting));
    EXPECT_EQ(outside.permission.requestCount(), 0);
    EXPECT_FALSE(error());
}

TEST_F(StreamingControllerTest, AStopBetweenThePongAndTheNextCheckEndsTheStart) {
    start();
    outside.connection().answerPing();
    controller->stopStreaming();
    waitLong();
    EXPECT_EQ(outside.permission.requestCount(), 0);
}

TEST_F(StreamingControllerTest, AStopDuringThePermissionQuestionStartsNoCapture) {
    startAndOpen();
    outside.turn();
    controller->stopStreaming();
    EXPECT_EQ(outside.permission.answer(true), 0);
    waitLong();
    EXPECT_EQ(engineStarts(), 0);
    EXPECT_THAT(lines(), ElementsAre(starting, connectedLine));
}

TEST_F(StreamingControllerTest, AStopWhileAKnownPermissionIsOnItsWayStartsNoCapture) {
    outside.permission.status = AuthorizationStatus::authorized;
    startAndOpen();
    controller->stopStreaming();
    waitLong();
    EXPECT_EQ(engineStarts(), 0);
}

TEST_F(StreamingControllerTest, AStoppedStartNeverHitsANewerStream) {
    start();
    outside.clock().advance(5s);
    controller->stopStreaming();
    outside.turn();
    outside.clock().advance(2s);
    start();
    outside.clock().advance(5s); // the first start would have given up meanwhile
    EXPECT_FALSE(error());
    EXPECT_EQ(kind(), Kind::streaming);
    EXPECT_THAT(lines(), ElementsAre(starting, starting));
}

TEST_F(StreamingControllerTest, AStreamCanBeStartedAgainAfterAStop) {
    startWhole();
    controller->stopStreaming();
    outside.turn();
    outside.clock().advance(2s);
    ASSERT_EQ(kind(), Kind::polling);
    outside.backend.transport.answer(200, StreamingFixture::sessionJson("second"));
    ASSERT_EQ(kind(), Kind::sessionFound);
    controller->startStreaming(*session.state.value().session());
    EXPECT_EQ(outside.connection().url(), "wss://api.test/tandrel-stream?token=second");
    outside.turn();
    outside.connection().answerPing();
    outside.clock().advance(100ms);
    outside.permission.answer(true);
    EXPECT_TRUE(capturing());
}

// Reactions

TEST_F(StreamingControllerTest, AppearingLooksForDevices) {
    outside.audioInput.clearCalls();
    controller->appear();
    EXPECT_THAT(outside.audioInput.calls(), ElementsAre("devices"));
}

TEST_F(StreamingControllerTest, AStartRequestedBeforeTheSessionStartsWhenItIsFound) {
    outside.appState.autoStartRequested.set(true);
    session.state.set(SessionState::polling());
    EXPECT_TRUE(outside.appState.autoStartRequested.value());
    EXPECT_THAT(lines(), IsEmpty());
    findSession();
    EXPECT_FALSE(outside.appState.autoStartRequested.value());
    EXPECT_EQ(kind(), Kind::streaming);
    EXPECT_THAT(lines(), ElementsAre(conditionsMet, starting));
    EXPECT_EQ(outside.connection().url(), "wss://api.test/tandrel-stream?token=stream-token");
}

TEST_F(StreamingControllerTest, AStartRequestedWithTheSessionFoundStartsAtOnce) {
    findSession();
    EXPECT_EQ(kind(), Kind::sessionFound);
    outside.appState.autoStartRequested.set(true);
    EXPECT_EQ(kind(), Kind::streaming);
    EXPECT_FALSE(outside.appState.autoStartRequested.value());
}

TEST_F(StreamingControllerTest, APendingStartWaitsForADevice) {
    outside.audioService.selectedDevice.set(std::nullopt);
    outside.appState.autoStartRequested.set(true);
    findSession();
    EXPECT_TRUE(outside.appState.autoStartRequested.value());
    EXPECT_THAT(lines(), IsEmpty()) << "not even the line of a missing device";
    outside.audioService.selectedDevice.set(AudioDevice{7, "Desk microphone", "mic-7"});
    EXPECT_EQ(kind(), Kind::sessionFound) << "a device alone is no reason to look again";
    controller->tryAutoStart(session.state.value());
    EXPECT_EQ(kind(), Kind::streaming);
}

TEST_F(StreamingControllerTest, AutoStartAsksForTheFlagTheDeviceAndAFoundSession) {
    controller->tryAutoStart(SessionState::sessionFound(found));
    EXPECT_THAT(lines(), IsEmpty());
    outside.appState.autoStartRequested.set(true);
    for (const SessionState& state : {SessionState::idle(), SessionState::polling(),
                                      SessionState::streaming(), SessionState::completed()}) {
        controller->tryAutoStart(state);
        EXPECT_THAT(lines(), IsEmpty()) << state.rendering();
        EXPECT_TRUE(outside.appState.autoStartRequested.value());
    }
}

TEST_F(StreamingControllerTest, AFoundSessionWithoutARequestWaitsForTheUser) {
    findSession();
    waitLong();
    EXPECT_EQ(kind(), Kind::sessionFound);
}

TEST_F(StreamingControllerTest, ANewTokenForTheFoundSessionIsNoReasonToStartButIsUsed) {
    outside.audioService.selectedDevice.set(std::nullopt);
    outside.appState.autoStartRequested.set(true);
    findSession();
    outside.audioService.selectedDevice.set(AudioDevice{7, "Desk microphone", "mic-7"});
    session.state.set(SessionState::sessionFound({"s1", "renewed", "i1"}));
    EXPECT_EQ(kind(), Kind::sessionFound);
    controller->startStreaming(*session.state.value().session());
    EXPECT_EQ(outside.connection().url(), "wss://api.test/tandrel-stream?token=renewed");
}

TEST_F(StreamingControllerTest, FlagsThatStandWhenThePanelComesAreNoChange) {
    controller.reset();
    outside.appState.autoStartRequested.set(true);
    outside.appState.stopRequested.set(true);
    findSession();
    controller = std::make_unique<StreamingController>(auth, session, outside.audioService, ws,
                                                       outside.appState, outside.backend.clock);
    waitLong();
    EXPECT_EQ(kind(), Kind::sessionFound);
}

TEST_F(StreamingControllerTest, AStopThatCameBeforeThePanelDoesNotHideTheNextOne) {
    controller.reset();
    outside.appState.stopRequested.set(true);
    controller = std::make_unique<StreamingController>(auth, session, outside.audioService, ws,
                                                       outside.appState, outside.backend.clock);
    EXPECT_FALSE(outside.appState.stopRequested.value());
    startWhole();
    outside.appState.stopRequested.set(true);
    expectStopped();
}

TEST_F(StreamingControllerTest, AUrlStopStopsAStream) {
    startWhole();
    outside.appState.stopRequested.set(true);
    EXPECT_FALSE(outside.appState.stopRequested.value());
    EXPECT_EQ(lines().back(), "[PopoverView] Stop requested via URL scheme");
    expectStopped();
    outside.turn();
    EXPECT_EQ(kind(), Kind::completed);
}

TEST_F(StreamingControllerTest, AUrlStopEndsAStartThatWaits) {
    start();
    outside.appState.stopRequested.set(true);
    waitLong();
    EXPECT_EQ(outside.permission.requestCount(), 0);
    EXPECT_FALSE(error());
}

TEST_F(StreamingControllerTest, AUrlStopWithoutAStreamOnlyClearsTheFlag) {
    findSession();
    outside.appState.stopRequested.set(true);
    EXPECT_FALSE(outside.appState.stopRequested.value());
    EXPECT_THAT(lines(), IsEmpty());
    waitLong();
    EXPECT_EQ(kind(), Kind::sessionFound);
    outside.appState.stopRequested.set(true);
    EXPECT_FALSE(outside.appState.stopRequested.value()) << "again";
}

TEST_F(StreamingControllerTest, ASocketErrorWhileAudioFlowsStopsWithoutASessionError) {
    startWhole();
    outside.connection().setCloseCode(4002);
    outside.connection().lose(gone);
    EXPECT_EQ(lines().back(), "[PopoverView] WebSocket error during streaming: Session is no "
                              "longer pending. — resetting to poll");
    expectStopped();
    EXPECT_FALSE(error());
    outside.turn();
    EXPECT_EQ(kind(), Kind::completed);
}

TEST_F(StreamingControllerTest, ASocketErrorDuringThePermissionQuestionStops) {
    startAndOpen();
    outside.turn();
    outside.connection().setCloseCode(4002);
    outside.connection().lose(gone);
    EXPECT_FALSE(error());
    waitLong();
    EXPECT_EQ(engineStarts(), 0);
    EXPECT_EQ(log.count(grantedLine), 0U);
}

TEST_F(StreamingControllerTest, ALossThatIsRetriedKeepsStreaming) {
    startWhole();
    outside.connection().lose(gone);
    EXPECT_TRUE(capturing());
    EXPECT_EQ(kind(), Kind::streaming);
    outside.clock().advance(1s);
    outside.connection().answerPing();
    EXPECT_EQ(ws->state.value(), ConnectionState::connected());
    ASSERT_TRUE(outside.audioInput.pushSilence(1023));
    EXPECT_THAT(outside.connection().sent(), SizeIs(1));
}

TEST_F(StreamingControllerTest, ASocketErrorWhileNotStreamingDoesNothing) {
    findSession();
    ws->connect("bad token");
    EXPECT_THAT(lines(), IsEmpty());
    EXPECT_EQ(kind(), Kind::sessionFound);
}

// Duration and error text

TEST_F(StreamingControllerTest, TheDurationCountsWholeSecondsFromTheStart) {
    start();
    EXPECT_EQ(duration(), 0.0);
    outside.clock().advance(999ms);
    EXPECT_EQ(duration(), 0.0);
    outside.clock().advance(1ms);
    EXPECT_EQ(duration(), 1.0);
    outside.clock().advance(4s);
    EXPECT_EQ(duration(), 5.0);
    controller->stopStreaming();
    EXPECT_EQ(duration(), 0.0) << "at once";
    outside.clock().advance(10s);
    EXPECT_EQ(duration(), 0.0);
}

TEST_F(StreamingControllerTest, EachStartCountsFromZero) {
    start();
    outside.clock().advance(3s);
    controller->stopStreaming();
    start();
    outside.clock().advance(1s);
    EXPECT_EQ(duration(), 1.0);
}

TEST_F(StreamingControllerTest, AStartDuringAStreamLeavesTheOlderTimerCounting) {
    start();
    outside.clock().advance(1500ms);
    start();
    EXPECT_EQ(duration(), 0.0);
    outside.clock().advance(1s);
    EXPECT_EQ(duration(), 2.0);
}

TEST_F(StreamingControllerTest, TheDurationIsShownInMinutesAndSecondsWithoutHours) {
    const std::vector<std::pair<double, std::string>> cases = {
        {0.0, "00:00"},    {0.9, "00:00"},    {59.0, "00:59"},   {59.999, "00:59"},
        {60.0, "01:00"},   {61.0, "01:01"},   {3599.0, "59:59"}, {3600.0, "60:00"},
        {3900.0, "65:00"}, {5999.0, "99:59"}, {6000.0, "100:00"}};
    for (const auto& [seconds, text] : cases) {
        controller->streamingDuration.set(seconds);
        EXPECT_EQ(controller->formattedDuration(), text) << seconds;
    }
}

TEST_F(StreamingControllerTest, TheSessionsErrorComesBeforeTheSockets) {
    EXPECT_FALSE(controller->currentError());
    ws->connect("bad token");
    EXPECT_EQ(controller->currentError(), "Invalid WebSocket URL");
    session.error.set("Failed to connect WebSocket");
    EXPECT_EQ(controller->currentError(), "Failed to connect WebSocket");
    session.error.set(std::nullopt);
    ws->disconnect();
    EXPECT_FALSE(controller->currentError());
}

// The panel goes

class StreamingControllerGone : public StreamingControllerTest {
protected:
    void expectSilence() {
        const std::size_t requests = outside.backend.transport.requests().size();
        const std::size_t before = lines().size();
        const Kind state = kind();
        const int starts = engineStarts();
        const int questions = outside.permission.requestCount();
        controller.reset();
        ws->state.set(ConnectionState::connected());
        waitLong();
        EXPECT_EQ(lines().size(), before);
        EXPECT_EQ(kind(), state);
        EXPECT_EQ(engineStarts(), starts);
        EXPECT_EQ(outside.permission.requestCount(), questions);
        EXPECT_EQ(outside.backend.transport.requests().size(), requests);
        EXPECT_FALSE(error());
    }
};

TEST_F(StreamingControllerGone, BeforeTheFirstCheck) {
    findSession();
    controller->startStreaming(found);
    expectSilence();
}

TEST_F(StreamingControllerGone, DuringTheSocketWait) {
    start();
    outside.clock().advance(300ms);
    expectSilence();
}

TEST_F(StreamingControllerGone, DuringThePermissionQuestion) {
    startAndOpen();
    outside.turn();
    expectSilence();
}

TEST_F(StreamingControllerGone, WhileAKnownPermissionIsOnItsWay) {
    outside.permission.status = AuthorizationStatus::authorized;
    startAndOpen();
    expectSilence();
}

TEST_F(StreamingControllerGone, WhileStreaming) {
    startWhole();
    expectSilence();
    EXPECT_TRUE(capturing()) << "stopping what runs is the owner's";
}

TEST_F(StreamingControllerGone, BeforeTheSessionIsEnded) {
    startWhole();
    controller->stopStreaming();
    expectSilence();
    EXPECT_EQ(kind(), Kind::streaming);
}

TEST_F(StreamingControllerGone, WithinTheTwoSecondsOfACompletedSession) {
    startWhole();
    controller->stopStreaming();
    outside.turn();
    expectSilence();
    EXPECT_EQ(kind(), Kind::completed);
}

TEST_F(StreamingControllerGone, ReactsToNothingAnyMore) {
    controller.reset();
    outside.appState.autoStartRequested.set(true);
    outside.appState.stopRequested.set(true);
    findSession();
    EXPECT_EQ(kind(), Kind::sessionFound);
    EXPECT_TRUE(outside.appState.stopRequested.value());
}

} // namespace
} // namespace tandrel
