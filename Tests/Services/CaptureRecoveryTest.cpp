#include "Services/CaptureRecovery.h"

#include "Services/AudioCaptureService.h"
#include "Support/FakeAudioInput.h"
#include "Support/FakeMicrophonePermission.h"
#include "Support/LogCapture.h"
#include "Support/ManualClock.h"
#include "Support/ManualMainQueue.h"

#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using test::FakeAudioInput;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using Kind = CaptureFault::Kind;

const AudioDevice desk{7, "Desk microphone", "mic-7"};
const AudioDevice headset{8, "Headset", "mic-8"};

class CaptureRecoveryTest : public testing::Test {
protected:
    CaptureRecoveryTest() {
        input.deviceFacts = {FakeAudioInput::microphone(7, "Desk microphone", "mic-7"),
                             FakeAudioInput::microphone(8, "Headset", "mic-8")};
        service.refreshDevices();
        service.startCapture(desk);
        input.clearCalls();
        standBy();
    }

    void standBy() {
        recovery = std::make_unique<CaptureRecovery>(
            service, clock,
            CaptureRecovery::Handlers{
                [this](const CaptureFault& fault) { gaveUp.push_back(fault); },
                [this] { ++refusals; }});
    }
    void strike(Kind kind) {
        ASSERT_TRUE(input.reportFault(CaptureFault{kind, "struck"}));
        mainQueue.drain();
    }
    void heal() {
        ASSERT_TRUE(input.reportFault(std::nullopt));
        mainQueue.drain();
    }
    /// The device is found, and the permission comes.
    void find(const AudioDevice& device) {
        ASSERT_EQ(input.findDevice(device.uid), 1);
        mainQueue.drain();
    }
    [[nodiscard]] std::optional<Kind> fault() const {
        const auto& now = recovery->fault.value();
        return now ? std::optional(now->kind) : std::nullopt;
    }
    [[nodiscard]] bool isCapturing() const { return input.isRunning(); }
    [[nodiscard]] std::vector<std::string> lines() const {
        return log.linesStartingWith("[recovery]");
    }
    /// Binds of a device, by whatever engine.
    [[nodiscard]] std::vector<std::string> binds() const {
        std::vector<std::string> found;
        for (const std::string& call : input.calls()) {
            if (const auto at = call.find(".bindDevice"); at != std::string::npos) {
                found.push_back(call.substr(at + 1));
            }
        }
        return found;
    }

    FakeAudioInput input;
    test::ManualMainQueue mainQueue;
    test::ManualClock clock;
    test::FakeMicrophonePermission permission{mainQueue};
    AudioCaptureService service{input, permission, mainQueue};
    test::LogCapture log;
    std::vector<CaptureFault> gaveUp;
    int refusals = 0;
    std::unique_ptr<CaptureRecovery> recovery;
};

TEST_F(CaptureRecoveryTest, LeavesASoundCaptureAlone) {
    clock.advance(1h);
    mainQueue.drain();
    EXPECT_FALSE(fault());
    EXPECT_THAT(input.calls(), IsEmpty());
    EXPECT_EQ(clock.pendingCount(), 0U);
    EXPECT_THAT(lines(), IsEmpty());
}

// A loss

TEST_F(CaptureRecoveryTest, WaitsForALostMicrophoneAndStartsItAnew) {
    for (const Kind kind : {Kind::deviceLost, Kind::serverLost}) {
        clock.advance(1min);
        strike(kind);
        EXPECT_EQ(fault(), kind);
        EXPECT_THAT(input.awaited(), ElementsAre("mic-7"));
        clock.advance(29s);
        EXPECT_THAT(binds(), IsEmpty()) << "nothing is opened before it is there";
        find(desk);
        EXPECT_TRUE(isCapturing());
        EXPECT_FALSE(fault());
        EXPECT_THAT(binds(), ElementsAre("bindDevice(7, mic-7)"));
        EXPECT_THAT(input.awaited(), IsEmpty());
        input.clearCalls();
    }
    EXPECT_THAT(lines(), ElementsAre("[recovery] waiting for Desk microphone",
                                     "[recovery] capture resumed on Desk microphone",
                                     "[recovery] waiting for Desk microphone",
                                     "[recovery] capture resumed on Desk microphone"));
    clock.advance(1h);
    EXPECT_THAT(gaveUp, IsEmpty());
}

TEST_F(CaptureRecoveryTest, TakesNoOtherDeviceByItself) {
    strike(Kind::deviceLost);
    EXPECT_EQ(input.findDevice("mic-8"), 0);
    clock.advance(29s);
    mainQueue.drain();
    EXPECT_THAT(binds(), IsEmpty());
}

TEST_F(CaptureRecoveryTest, WaitsForTheDeviceThatIsChosenMeanwhile) {
    strike(Kind::deviceLost);
    clock.advance(10s);
    service.selectedDevice.set(headset);
    EXPECT_THAT(input.awaited(), ElementsAre("mic-8"));
    find(headset);
    EXPECT_THAT(binds(), ElementsAre("bindDevice(8, mic-8)"));
    EXPECT_EQ(lines().back(), "[recovery] capture resumed on Headset");
}

TEST_F(CaptureRecoveryTest, WaitsForTheDeviceThatWasChosenBeforeTheLoss) {
    service.selectedDevice.set(headset);
    EXPECT_THAT(binds(), IsEmpty()) << "a running capture is left alone";
    strike(Kind::deviceLost);
    EXPECT_THAT(input.awaited(), ElementsAre("mic-8"));
}

TEST_F(CaptureRecoveryTest, AChoiceDuringTheQuestionForPermissionCounts) {
    strike(Kind::deviceLost);
    ASSERT_EQ(input.findDevice("mic-7"), 1);
    service.selectedDevice.set(headset);
    mainQueue.drain();
    EXPECT_THAT(binds(), IsEmpty());
    EXPECT_THAT(input.awaited(), ElementsAre("mic-8"));
}

TEST_F(CaptureRecoveryTest, WithNoDeviceChosenThereIsNothingToWaitFor) {
    strike(Kind::deviceLost);
    service.selectedDevice.set(std::nullopt);
    EXPECT_THAT(input.awaited(), IsEmpty());
    service.selectedDevice.set(headset);
    EXPECT_THAT(input.awaited(), ElementsAre("mic-8"));
}

TEST_F(CaptureRecoveryTest, FindsTheDeviceUnderANewIdentifier) {
    strike(Kind::serverLost);
    input.deviceFacts = {FakeAudioInput::microphone(1, "Headset", "mic-8"),
                         FakeAudioInput::microphone(2, "Desk microphone", "mic-7")};
    find(desk);
    const AudioDevice now{2, "Desk microphone", "mic-7"};
    EXPECT_EQ(service.selectedDevice.value(), now);
    EXPECT_THAT(service.availableDevices.value(), Contains(now)) << "the picker shows its row";
}

TEST_F(CaptureRecoveryTest, StartsWithTheRecordItHasWhenTheListCannotBeHad) {
    strike(Kind::serverLost);
    input.deviceFacts.reset();
    find(desk);
    EXPECT_THAT(binds(), ElementsAre("bindDevice(7, mic-7)"));
    EXPECT_EQ(service.selectedDevice.value(), desk);
}

// Starts that fail

TEST_F(CaptureRecoveryTest, TriesAgainHalfASecondAfterAStartThatFailed) {
    strike(Kind::deviceLost);
    input.startError = "Access denied";
    find(desk);
    EXPECT_FALSE(isCapturing());
    EXPECT_EQ(fault(), Kind::deviceLost) << "it is not over";
    EXPECT_EQ(lines().back(), "[recovery] capture did not start: Access denied");
    clock.advance(499ms);
    EXPECT_THAT(input.awaited(), IsEmpty());
    clock.advance(1ms);
    EXPECT_THAT(input.awaited(), ElementsAre("mic-7"));
    input.startError.reset();
    input.bindSucceeds = false;
    find(desk);
    EXPECT_EQ(lines().back(), "[recovery] capture did not start: Failed to select audio device");
    clock.advance(500ms);
    input.bindSucceeds = true;
    find(desk);
    EXPECT_TRUE(isCapturing());
    EXPECT_FALSE(fault());
    EXPECT_TRUE(service.isCapturing.value());
}

TEST_F(CaptureRecoveryTest, AChoiceAfterAStartThatFailedWaitsForThePauseToo) {
    strike(Kind::deviceLost);
    input.startError = "Access denied";
    find(desk);
    service.selectedDevice.set(headset);
    EXPECT_THAT(input.awaited(), IsEmpty());
    clock.advance(500ms);
    EXPECT_THAT(input.awaited(), ElementsAre("mic-8"));
}

TEST_F(CaptureRecoveryTest, AFaultRightAfterAResumptionIsAFaultLikeAnyOther) {
    strike(Kind::deviceLost);
    clock.advance(29s);
    find(desk);
    strike(Kind::serverLost);
    EXPECT_EQ(fault(), Kind::serverLost);
    EXPECT_THAT(input.awaited(), IsEmpty()) << "not a start every few milliseconds";
    clock.advance(500ms);
    EXPECT_THAT(input.awaited(), ElementsAre("mic-7"));
    clock.advance(29s);
    EXPECT_THAT(gaveUp, IsEmpty()) << "its time is counted anew";
    find(desk);
    EXPECT_TRUE(isCapturing());
}

TEST_F(CaptureRecoveryTest, ManyFaultsInARowAreAllRecoveredFrom) {
    for (int round = 0; round < 20; ++round) {
        strike(round % 2 == 0 ? Kind::deviceLost : Kind::serverLost);
        clock.advance(1s);
        find(desk);
        EXPECT_TRUE(isCapturing());
        EXPECT_FALSE(fault());
    }
    EXPECT_THAT(gaveUp, IsEmpty());
    EXPECT_EQ(log.linesStartingWith("[recovery] capture resumed on").size(), 20U);
}

// Stalls

TEST_F(CaptureRecoveryTest, LetsAStallPassByItself) {
    for (int round = 0; round < 3; ++round) {
        strike(Kind::stalled);
        EXPECT_EQ(fault(), Kind::stalled);
        clock.advance(29s);
        mainQueue.drain();
        heal();
        EXPECT_FALSE(fault());
        EXPECT_EQ(clock.pendingCount(), 0U);
    }
    EXPECT_THAT(input.calls(), IsEmpty()) << "its engine goes on";
    EXPECT_THAT(gaveUp, IsEmpty());
}

TEST_F(CaptureRecoveryTest, AChoiceDuringAStallStartsNothing) {
    strike(Kind::stalled);
    service.selectedDevice.set(headset);
    EXPECT_THAT(input.calls(), IsEmpty());
}

TEST_F(CaptureRecoveryTest, AStallThatTurnsIntoALossIsWaitedForAsOne) {
    strike(Kind::stalled);
    clock.advance(20s);
    strike(Kind::serverLost);
    EXPECT_EQ(fault(), Kind::serverLost);
    EXPECT_THAT(input.awaited(), ElementsAre("mic-7"));
    clock.advance(9s);
    find(desk);
    EXPECT_TRUE(isCapturing());
    EXPECT_FALSE(fault());
}

TEST_F(CaptureRecoveryTest, AResumedCaptureThatStallsIsToldOf) {
    strike(Kind::deviceLost);
    find(desk);
    strike(Kind::stalled);
    EXPECT_EQ(fault(), Kind::stalled);
    heal();
    EXPECT_FALSE(fault());
}

// Giving up

TEST_F(CaptureRecoveryTest, GivesUpAfterThirtySecondsOfAnyFault) {
    for (const Kind kind : {Kind::deviceLost, Kind::serverLost, Kind::stalled}) {
        recovery.reset();
        service.startCapture(desk);
        gaveUp.clear();
        standBy();
        strike(kind);
        clock.advance(29'999ms);
        EXPECT_THAT(gaveUp, IsEmpty());
        clock.advance(1ms);
        ASSERT_EQ(gaveUp.size(), 1U);
        EXPECT_EQ(gaveUp.front().kind, kind);
        EXPECT_EQ(gaveUp.front().description, "struck");
        EXPECT_THAT(input.awaited(), IsEmpty());
        EXPECT_EQ(clock.pendingCount(), 0U);
    }
}

TEST_F(CaptureRecoveryTest, AMicrophoneThatIsBackJustInTimeIsTaken) {
    strike(Kind::deviceLost);
    clock.advance(29'900ms);
    find(desk);
    clock.advance(1h);
    EXPECT_TRUE(isCapturing());
    EXPECT_THAT(gaveUp, IsEmpty());
}

TEST_F(CaptureRecoveryTest, TheTimeIsCountedFromTheStallThatBecameALoss) {
    strike(Kind::stalled);
    clock.advance(20s);
    strike(Kind::deviceLost);
    clock.advance(9'999ms);
    EXPECT_THAT(gaveUp, IsEmpty());
    clock.advance(1ms);
    ASSERT_EQ(gaveUp.size(), 1U);
    EXPECT_EQ(gaveUp.front().kind, Kind::deviceLost) << "what it is now";
}

TEST_F(CaptureRecoveryTest, StartsThatFailDoNotPutTheEndOff) {
    strike(Kind::deviceLost);
    input.startError = "Access denied";
    for (int tries = 0; tries < 59; ++tries) {
        find(desk);
        clock.advance(500ms);
    }
    EXPECT_THAT(gaveUp, IsEmpty());
    clock.advance(500ms);
    EXPECT_EQ(gaveUp.size(), 1U);
}

TEST_F(CaptureRecoveryTest, DoesNothingMoreOnceItHasGivenUp) {
    strike(Kind::stalled);
    clock.advance(30s);
    input.reportFault(CaptureFault{Kind::deviceLost, "later"});
    service.selectedDevice.set(headset);
    mainQueue.drain();
    clock.advance(1h);
    EXPECT_EQ(gaveUp.size(), 1U);
    EXPECT_THAT(input.calls(), IsEmpty());
}

TEST_F(CaptureRecoveryTest, MayGoWhenItGivesUp) {
    recovery = std::make_unique<CaptureRecovery>(
        service, clock,
        CaptureRecovery::Handlers{[this](const CaptureFault& fault) {
                                      recovery.reset();
                                      gaveUp.push_back(fault);
                                  },
                                  {}});
    strike(Kind::deviceLost);
    clock.advance(30s);
    EXPECT_EQ(gaveUp.size(), 1U);
}

// Permission

TEST_F(CaptureRecoveryTest, AsksAgainWhetherItMayRecord) {
    permission.status = AuthorizationStatus::denied;
    strike(Kind::deviceLost);
    find(desk);
    EXPECT_EQ(refusals, 1);
    EXPECT_THAT(binds(), IsEmpty());
    clock.advance(1h);
    EXPECT_THAT(gaveUp, IsEmpty()) << "one outcome";
    EXPECT_EQ(refusals, 1);
}

TEST_F(CaptureRecoveryTest, MayGoWhenItIsRefused) {
    recovery = std::make_unique<CaptureRecovery>(service, clock,
                                                 CaptureRecovery::Handlers{{}, [this] {
                                                                               recovery.reset();
                                                                               ++refusals;
                                                                           }});
    permission.status = AuthorizationStatus::restricted;
    strike(Kind::deviceLost);
    find(desk);
    EXPECT_EQ(refusals, 1);
}

// Its end

TEST_F(CaptureRecoveryTest, NothingStartsOnceItHasGone) {
    const struct {
        const char* when;
        bool isFound;
        bool fails;
    } moments[] = {{"while it waits", false, false},
                   {"while it asks for permission", true, false},
                   {"after a start that failed", true, true}};
    for (const auto& moment : moments) {
        service.startCapture(desk);
        standBy();
        strike(Kind::deviceLost);
        if (moment.isFound) {
            ASSERT_EQ(input.findDevice("mic-7"), 1) << moment.when;
        }
        if (moment.fails) {
            input.startError = "Access denied";
            mainQueue.drain();
        }
        recovery.reset();
        input.clearCalls();
        EXPECT_THAT(input.awaited(), IsEmpty()) << moment.when;
        mainQueue.drain();
        clock.advance(1h);
        mainQueue.drain();
        EXPECT_THAT(input.calls(), IsEmpty()) << moment.when;
        EXPECT_THAT(gaveUp, IsEmpty()) << moment.when;
        EXPECT_EQ(clock.pendingCount(), 0U) << moment.when;
        input.startError.reset();
    }
}

TEST_F(CaptureRecoveryTest, AFaultOnItsWayMeetsNobodyOnceItHasGone) {
    ASSERT_TRUE(input.reportFault(CaptureFault{Kind::deviceLost, "struck"}));
    recovery.reset();
    mainQueue.drain();
    clock.advance(1h);
    EXPECT_THAT(input.calls(), IsEmpty());
}

TEST_F(CaptureRecoveryTest, ACaptureThatIsStoppedHasNoFault) {
    strike(Kind::deviceLost);
    service.stopCapture();
    EXPECT_FALSE(fault());
    EXPECT_THAT(input.awaited(), IsEmpty());
    clock.advance(1h);
    EXPECT_THAT(gaveUp, IsEmpty());
}

TEST_F(CaptureRecoveryTest, MayGoInTheMiddleOfItsOwnStart) {
    strike(Kind::deviceLost);
    const Subscription reaction = service.isCapturing.observe([this](bool) { recovery.reset(); });
    find(desk);
    EXPECT_EQ(recovery, nullptr);
    EXPECT_EQ(log.linesStartingWith("[recovery] capture resumed on").size(), 0U);
}

TEST_F(CaptureRecoveryTest, TellsOfAFaultOnceItIsAlreadyDealtWith) {
    std::vector<std::vector<std::string>> awaitedWhenTold;
    const Subscription told =
        recovery->fault.observe([&](const auto&) { awaitedWhenTold.push_back(input.awaited()); });
    strike(Kind::deviceLost);
    find(desk);
    EXPECT_THAT(awaitedWhenTold, ElementsAre(ElementsAre("mic-7"), IsEmpty()));
}

} // namespace
} // namespace tandrel
