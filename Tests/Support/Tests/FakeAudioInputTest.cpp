#include "Support/FakeAudioInput.h"

#include "Support/FakeMicrophonePermission.h"
#include "Support/ManualMainQueue.h"

#include <gmock/gmock.h>

#include <optional>
#include <string>
#include <vector>

namespace tandrel::test {
namespace {

using testing::ElementsAre;

TEST(FakeAudioInput, DeliversOnlyWhileTheEngineRunsWithATap) {
    FakeAudioInput input;
    std::vector<std::uint32_t> lengths;
    EXPECT_FALSE(input.pushSilence(10));

    const auto engine = input.makeEngine();
    engine->installTap(1024, [&](const AudioBuffer& buffer) {
        lengths.push_back(buffer.frameLength);
        EXPECT_EQ(buffer.sampleRate, 48000);
    });
    EXPECT_EQ(input.requestedBufferFrames(), 1024U);
    EXPECT_FALSE(input.pushSilence(11));
    engine->start();
    EXPECT_TRUE(input.pushSilence(12));
    engine->stop();
    EXPECT_FALSE(input.pushSilence(13));
    engine->start();
    engine->removeTap();
    EXPECT_FALSE(input.pushSilence(14));
    EXPECT_THAT(lengths, ElementsAre(12U));
}

TEST(FakeAudioInput, ReportsALossOncePerStartAndOnlyWhileRunning) {
    FakeAudioInput input;
    const CaptureFault fault{CaptureFault::Kind::deviceLost, "gone"};
    int faults = 0;
    auto engine = input.makeEngine();
    engine->setFaultHandler([&](const std::optional<CaptureFault>& reported) {
        EXPECT_EQ(reported.value().description, "gone");
        ++faults;
    });
    EXPECT_FALSE(input.reportFault(fault));
    engine->start();
    EXPECT_TRUE(input.reportFault(fault));
    EXPECT_FALSE(input.reportFault(fault));
    EXPECT_FALSE(input.reportFault(std::nullopt));
    EXPECT_EQ(faults, 1);

    engine->start();
    EXPECT_TRUE(input.reportFault(fault));
    engine.reset();
    EXPECT_FALSE(input.reportFault(fault));
    EXPECT_EQ(faults, 2);
}

TEST(FakeAudioInput, ReportsStallsAndTheirEndsUntilALoss) {
    FakeAudioInput input;
    const CaptureFault stall{CaptureFault::Kind::stalled, "nothing came"};
    std::vector<bool> told;
    const auto engine = input.makeEngine();
    engine->setFaultHandler([&](const auto& fault) { told.push_back(fault.has_value()); });
    engine->start();
    EXPECT_TRUE(input.reportFault(stall));
    EXPECT_TRUE(input.reportFault(std::nullopt));
    EXPECT_TRUE(input.reportFault(stall));
    EXPECT_TRUE(input.reportFault(CaptureFault{CaptureFault::Kind::serverLost, "gone"}));
    EXPECT_FALSE(input.reportFault(std::nullopt));
    EXPECT_THAT(told, ElementsAre(true, false, true, true));
}

TEST(FakeAudioInput, FindsAnAwaitedDeviceOnceForWhoStillWaits) {
    FakeAudioInput input;
    std::vector<std::string> found;
    const Handle first = input.awaitDevice("usb", [&] { found.emplace_back("first"); });
    Handle second = input.awaitDevice("usb", [&] { found.emplace_back("second"); });
    const Handle other = input.awaitDevice("other", [&] { found.emplace_back("other"); });
    EXPECT_THAT(input.awaited(), ElementsAre("usb", "usb", "other"));
    second.reset();
    EXPECT_EQ(input.findDevice("usb"), 1);
    EXPECT_EQ(input.findDevice("usb"), 0);
    EXPECT_THAT(found, ElementsAre("first"));
    EXPECT_THAT(input.awaited(), ElementsAre("other"));
    EXPECT_THAT(input.calls(),
                ElementsAre("awaitDevice(usb)", "awaitDevice(usb)", "awaitDevice(other)"));
}

TEST(FakeAudioInput, FailsAsScripted) {
    FakeAudioInput input;
    input.bindSucceeds = false;
    input.startError = "Access denied";
    const auto engine = input.makeEngine();
    EXPECT_FALSE(engine->bindDevice(1, "usb"));
    EXPECT_THROW(engine->start(), AudioEngineError);
    EXPECT_FALSE(input.isRunning());
    input.deviceFacts.reset();
    EXPECT_EQ(input.devices(), std::nullopt);
    EXPECT_THAT(input.calls(),
                ElementsAre("makeEngine", "1.bindDevice(1, usb)", "1.start", "devices"));
}

TEST(FakeMicrophonePermission, TellsItsStatusLaterAndOnlyToWhoStillListens) {
    ManualMainQueue mainQueue;
    FakeMicrophonePermission permission(mainQueue);
    std::vector<AuthorizationStatus> told;
    const auto tell = [&](AuthorizationStatus status) { told.push_back(status); };
    const Handle first = permission.authorizationStatus(tell);
    permission.authorizationStatus(tell).reset();
    EXPECT_THAT(told, testing::IsEmpty());
    permission.status = AuthorizationStatus::denied;
    mainQueue.drain();
    EXPECT_THAT(told, ElementsAre(AuthorizationStatus::denied));
}

TEST(FakeMicrophonePermission, AnswersEveryOpenQuestionOnce) {
    ManualMainQueue mainQueue;
    FakeMicrophonePermission permission(mainQueue);
    std::vector<bool> answers;
    const Handle first =
        permission.requestAccess([&](bool granted) { answers.push_back(granted); });
    Handle second = permission.requestAccess([&](bool granted) { answers.push_back(granted); });
    second.reset();
    EXPECT_EQ(permission.requestCount(), 2);
    EXPECT_EQ(permission.answer(true), 1);
    EXPECT_EQ(permission.answer(true), 0);
    EXPECT_THAT(answers, ElementsAre(true));
}

} // namespace
} // namespace tandrel::test
