#include "Views/StreamingControllerFixture.h"

#include <gmock/gmock.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Fault = CaptureFault::Kind;
using Kind = SessionState::Kind;

const SocketError gone{57, "Socket is not connected"};
constexpr const char* unplugged = "Microphone disconnected. Waiting for it to return…";
constexpr const char* serverAway = "Sound server not available. Waiting for it to return…";
constexpr const char* noSound = "No sound from the microphone";
constexpr const char* reconnecting = "Connection lost. Reconnecting…";

/// What becomes of a stream whose microphone or connection is lost, and what is said of it.
class StreamingRecoveryTest : public test::StreamingControllerFixture {
protected:
    void SetUp() override {
        startWhole();
        // From here on the user has said yes.
        outside.permission.status = AuthorizationStatus::authorized;
        outside.audioInput.clearCalls();
    }
    void strike(Fault kind) {
        ASSERT_TRUE(outside.audioInput.reportFault(CaptureFault{kind, "struck"}));
        outside.mainQueue.drain();
    }
    void findMicrophone() {
        ASSERT_EQ(outside.audioInput.findDevice("mic-7"), 1);
        outside.mainQueue.drain();
    }
    [[nodiscard]] std::optional<std::string> notice() const { return controller->notice.value(); }
    [[nodiscard]] bool isListening() const { return outside.audioInput.isRunning(); }
};

// The microphone

TEST_F(StreamingRecoveryTest, SaysNothingWhileAllIsWell) {
    outside.clock().advance(10min);
    EXPECT_FALSE(notice());
    EXPECT_FALSE(controller->currentError());
}

TEST_F(StreamingRecoveryTest, SaysWhatIsWrongUntilItIsMended) {
    for (const auto& [fault, text] :
         {std::pair{Fault::deviceLost, unplugged}, std::pair{Fault::serverLost, serverAway}}) {
        strike(fault);
        EXPECT_EQ(notice(), text);
        EXPECT_FALSE(error()) << "it may come back";
        EXPECT_EQ(kind(), Kind::streaming);
        outside.clock().advance(5s);
        findMicrophone();
        EXPECT_FALSE(notice());
        EXPECT_TRUE(capturing());
        outside.clock().advance(1s);
    }
    strike(Fault::stalled);
    EXPECT_EQ(notice(), noSound);
    ASSERT_TRUE(outside.audioInput.reportFault(std::nullopt));
    outside.mainQueue.drain();
    EXPECT_FALSE(notice());
}

TEST_F(StreamingRecoveryTest, GoesOnStreamingToTheSameConnection) {
    ASSERT_TRUE(outside.audioInput.pushSilence(1023));
    strike(Fault::deviceLost);
    findMicrophone();
    ASSERT_TRUE(outside.audioInput.pushSilence(1023));
    EXPECT_THAT(outside.connection().sent(), SizeIs(2));
    EXPECT_THAT(outside.backend.streamSocket.connections(), SizeIs(1));
    EXPECT_EQ(duration(), 0.0);
    outside.clock().advance(3s);
    EXPECT_EQ(duration(), 3.0) << "counted on";
}

TEST_F(StreamingRecoveryTest, ANoticeIsToldOncePerChange) {
    std::vector<std::optional<std::string>> told;
    const Subscription subscription =
        controller->notice.observe([&](const auto& now) { told.push_back(now); });
    strike(Fault::stalled);
    strike(Fault::deviceLost);
    outside.audioInput.startError = "Access denied";
    findMicrophone();
    outside.clock().advance(500ms);
    outside.audioInput.startError.reset();
    findMicrophone();
    EXPECT_THAT(told, ElementsAre(noSound, unplugged, std::nullopt));
}

TEST_F(StreamingRecoveryTest, TheMicrophoneIsNotOpenWhileItIsLost) {
    EXPECT_TRUE(outside.audioService.isMicrophoneOpen());
    strike(Fault::deviceLost);
    EXPECT_FALSE(outside.audioService.isMicrophoneOpen());
    outside.audioInput.startError = "Access denied";
    findMicrophone();
    EXPECT_FALSE(outside.audioService.isMicrophoneOpen());
    outside.audioInput.startError.reset();
    outside.clock().advance(500ms);
    findMicrophone();
    EXPECT_TRUE(outside.audioService.isMicrophoneOpen());
}

TEST_F(StreamingRecoveryTest, StopsWithTheReasonWhenTheMicrophoneStaysAway) {
    const struct {
        Fault fault;
        const char* error;
    } cases[] = {
        {Fault::deviceLost, "Microphone disconnected. Streaming stopped."},
        {Fault::serverLost, "Sound server not available. Streaming stopped."},
        {Fault::stalled, "No sound from the microphone. Streaming stopped."},
    };
    for (const auto& [fault, text] : cases) {
        strike(fault);
        outside.clock().advance(29'999ms);
        EXPECT_EQ(kind(), Kind::streaming);
        EXPECT_FALSE(error());
        outside.clock().advance(1ms);
        EXPECT_EQ(lines().back(), "[Streaming] Microphone did not come back: struck");
        EXPECT_EQ(error(), text);
        EXPECT_EQ(controller->currentError(), text);
        expectStopped();
        EXPECT_EQ(outside.connection().closedWith(), 1000);
        outside.turn();
        EXPECT_EQ(kind(), Kind::completed);
        outside.clock().advance(2s);
        EXPECT_EQ(kind(), Kind::polling);
        EXPECT_FALSE(error());
        outside.clock().advance(1h);
        EXPECT_EQ(notice(), text) << "for who looks later";

        outside.permission.status = AuthorizationStatus::notDetermined;
        startWhole();
        EXPECT_FALSE(notice());
        outside.permission.status = AuthorizationStatus::authorized;
    }
}

TEST_F(StreamingRecoveryTest, StopsWhenThePermissionWasTakenBackMeanwhile) {
    strike(Fault::deviceLost);
    outside.permission.status = AuthorizationStatus::denied;
    findMicrophone();
    EXPECT_EQ(lines().back(), "[Streaming] Microphone permission denied");
    EXPECT_EQ(error(), "Microphone permission denied. Grant access in System Settings → Privacy & "
                       "Security → Microphone.");
    expectStopped();
    EXPECT_FALSE(notice());
    EXPECT_EQ(engineStarts(), 0);
}

// Stops

class StreamingRecoveryStopped : public StreamingRecoveryTest {
protected:
    /// Nothing starts any more, and nothing is said.
    void expectSilence() {
        outside.audioInput.clearCalls();
        EXPECT_THAT(outside.audioInput.awaited(), IsEmpty());
        for (int second = 0; second < 60; ++second) {
            outside.clock().advance(1s);
            outside.turn();
            EXPECT_EQ(outside.audioInput.findDevice("mic-7"), 0);
        }
        EXPECT_EQ(engineStarts(), 0);
        EXPECT_FALSE(isListening());
        EXPECT_EQ(log.linesStartingWith("[Streaming] Microphone did not come back").size(), 0U);
        EXPECT_FALSE(error());
    }
};

TEST_F(StreamingRecoveryStopped, AStopDuringTheWaitEndsIt) {
    strike(Fault::deviceLost);
    controller->stopStreaming();
    EXPECT_FALSE(notice());
    expectSilence();
    EXPECT_EQ(kind(), Kind::polling);
}

TEST_F(StreamingRecoveryStopped, AStopDuringTheQuestionForPermissionEndsIt) {
    strike(Fault::serverLost);
    ASSERT_EQ(outside.audioInput.findDevice("mic-7"), 1);
    controller->stopStreaming();
    expectSilence();
}

TEST_F(StreamingRecoveryStopped, AStopAfterAStartThatFailedEndsIt) {
    strike(Fault::deviceLost);
    outside.audioInput.startError = "Access denied";
    findMicrophone();
    controller->stopStreaming();
    EXPECT_FALSE(notice());
    expectSilence();
}

TEST_F(StreamingRecoveryStopped, AUrlStopEndsIt) {
    strike(Fault::deviceLost);
    outside.appState.stopRequested.set(true);
    EXPECT_FALSE(notice());
    expectSilence();
}

TEST_F(StreamingRecoveryStopped, AFaultThatIsOnItsWayDuringTheStopIsVoid) {
    ASSERT_TRUE(outside.audioInput.reportFault(CaptureFault{Fault::deviceLost, "struck"}));
    controller->stopStreaming();
    outside.mainQueue.drain();
    EXPECT_FALSE(notice());
    expectSilence();
}

TEST_F(StreamingRecoveryStopped, AConnectionThatIsGivenUpEndsItWithItsOwnReason) {
    strike(Fault::deviceLost);
    outside.connection().setCloseCode(4002);
    outside.connection().lose(gone);
    EXPECT_FALSE(notice());
    expectSilence();
}

TEST_F(StreamingRecoveryStopped, TheEndOfThePanelEndsIt) {
    strike(Fault::deviceLost);
    controller.reset();
    outside.audioService.stopCapture();
    expectSilence();
}

TEST_F(StreamingRecoveryStopped, TheEndOfThePanelDuringTheQuestionForPermissionEndsIt) {
    strike(Fault::deviceLost);
    ASSERT_EQ(outside.audioInput.findDevice("mic-7"), 1);
    controller.reset();
    outside.audioService.stopCapture();
    expectSilence();
}

TEST_F(StreamingRecoveryStopped, ANewStreamHasAMicrophoneOfItsOwn) {
    strike(Fault::deviceLost);
    outside.clock().advance(20s);
    controller->stopStreaming();
    outside.turn();
    outside.clock().advance(2s);
    startAndOpen();
    outside.mainQueue.drain();
    ASSERT_TRUE(isListening());
    outside.clock().advance(20s);
    EXPECT_EQ(kind(), Kind::streaming) << "the earlier one would have given up";
    EXPECT_FALSE(notice());
    strike(Fault::deviceLost);
    EXPECT_EQ(notice(), unplugged);
}

// The connection

TEST_F(StreamingRecoveryTest, SaysThatTheConnectionIsOpenedAgain) {
    outside.connection().lose(gone);
    EXPECT_EQ(notice(), reconnecting);
    outside.clock().advance(1s);
    EXPECT_EQ(notice(), reconnecting);
    outside.connection().answerPing();
    EXPECT_FALSE(notice());
}

TEST_F(StreamingRecoveryTest, AConnectionThatIsGivenUpIsAnErrorAndNoNotice) {
    outside.connection().lose(gone);
    for (const auto delay : {1s, 2s, 4s, 8s, 16s}) {
        EXPECT_EQ(notice(), reconnecting);
        outside.clock().advance(delay);
        outside.connection().lose(gone);
    }
    EXPECT_FALSE(notice());
}

TEST_F(StreamingRecoveryTest, AStopEndsTheNoticeOfTheConnection) {
    outside.connection().lose(gone);
    controller->stopStreaming();
    EXPECT_FALSE(notice());
}

TEST_F(StreamingRecoveryTest, TheMicrophoneComesBeforeTheConnection) {
    outside.connection().lose(gone);
    strike(Fault::deviceLost);
    EXPECT_EQ(notice(), unplugged) << "somebody can help it";
    findMicrophone();
    EXPECT_EQ(notice(), reconnecting);
    outside.clock().advance(1s);
    outside.connection().answerPing();
    EXPECT_FALSE(notice());
}

TEST_F(StreamingRecoveryTest, AFirstConnectionThatIsLostIsToldOfToo) {
    controller->stopStreaming();
    outside.turn();
    outside.clock().advance(2s);
    start();
    EXPECT_FALSE(notice());
    outside.connection().lose(gone);
    EXPECT_EQ(notice(), reconnecting);
}

} // namespace
} // namespace tandrel
