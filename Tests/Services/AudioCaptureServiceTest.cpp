#include "Services/AudioCaptureService.h"

#include "Support/FakeAudioInput.h"
#include "Support/FakeMicrophonePermission.h"
#include "Support/LogCapture.h"
#include "Support/ManualMainQueue.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tandrel::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

const AudioDevice builtIn{7, "Built-in Microphone", "builtin"};
const AudioDevice headset{9, "Headset", "headset"};

class AudioCaptureServiceTest : public testing::Test {
protected:
    FakeAudioInput input;
    ManualMainQueue mainQueue;
    FakeMicrophonePermission permission{mainQueue};
    std::unique_ptr<AudioCaptureService> service =
        std::make_unique<AudioCaptureService>(input, permission, mainQueue);
    LogCapture log;
    std::vector<std::vector<std::uint8_t>> payloads;

    void collectPayloads() {
        service->setOnAudioBuffer(
            [this](std::vector<std::uint8_t> bytes) { payloads.push_back(std::move(bytes)); });
    }

    void pushSilence(int buffers, std::uint32_t frameLength = 1023) {
        for (int count = 0; count < buffers; ++count) {
            ASSERT_TRUE(input.pushSilence(frameLength));
        }
    }
};

// Devices

TEST_F(AudioCaptureServiceTest, ListsNothingBeforeTheFirstRefresh) {
    EXPECT_THAT(service->availableDevices.value(), IsEmpty());
    EXPECT_EQ(service->selectedDevice.value(), std::nullopt);
    EXPECT_EQ(service->audioLevel.value(), 0.0F);
    EXPECT_FALSE(service->isCapturing.value());
    EXPECT_THAT(input.calls(), IsEmpty());
}

TEST_F(AudioCaptureServiceTest, ListsInputDevicesInThePlatformsOrderAndSelectsTheFirst) {
    input.deviceFacts = {FakeAudioInput::microphone(9, "Headset", "headset"),
                         FakeAudioInput::microphone(7, "Built-in Microphone", "builtin"),
                         FakeAudioInput::microphone(9, "Headset", "headset")};
    service->refreshDevices();
    EXPECT_THAT(service->availableDevices.value(), ElementsAre(headset, builtIn, headset));
    EXPECT_THAT(service->selectedDevice.value(), Optional(headset));
}

TEST_F(AudioCaptureServiceTest, AMachineWithOnlyOutputsHasNoDevicesAndNoSelection) {
    InputDeviceFacts speakers = FakeAudioInput::microphone(1, "Speakers", "speakers", 0);
    InputDeviceFacts monitor = FakeAudioInput::microphone(2, "Display", "display");
    monitor.inputStreamChannels = std::vector<std::uint32_t>{};
    input.deviceFacts = {speakers, monitor};
    std::vector<std::size_t> published;
    const Subscription subscription = service->availableDevices.observe(
        [&](const auto& devices) { published.push_back(devices.size()); });
    service->refreshDevices();
    EXPECT_THAT(published, ElementsAre(0U));
    EXPECT_EQ(service->selectedDevice.value(), std::nullopt);
}

TEST_F(AudioCaptureServiceTest, AMachineWithOnlyOutputsKeepsAnEarlierSelection) {
    service->selectedDevice.set(headset);
    service->refreshDevices();
    EXPECT_THAT(service->availableDevices.value(), IsEmpty());
    EXPECT_THAT(service->selectedDevice.value(), Optional(headset));
}

TEST_F(AudioCaptureServiceTest, LeavesOutADeviceWithoutNameIdentifierOrStreams) {
    InputDeviceFacts nameless = FakeAudioInput::microphone(1, "", "a");
    nameless.name.reset();
    InputDeviceFacts anonymous = FakeAudioInput::microphone(2, "B", "");
    anonymous.uid.reset();
    InputDeviceFacts silent = FakeAudioInput::microphone(3, "C", "c");
    silent.inputStreamChannels.reset();
    input.deviceFacts = {nameless, anonymous, silent,
                         FakeAudioInput::microphone(9, "Headset", "headset")};
    service->refreshDevices();
    EXPECT_THAT(service->availableDevices.value(), ElementsAre(headset));
}

TEST_F(AudioCaptureServiceTest, OneChannelInAnyStreamIsEnough) {
    InputDeviceFacts device = FakeAudioInput::microphone(9, "Headset", "headset");
    device.inputStreamChannels = std::vector<std::uint32_t>{0, 0, 1};
    input.deviceFacts = {device};
    service->refreshDevices();
    EXPECT_THAT(service->availableDevices.value(), ElementsAre(headset));
}

TEST_F(AudioCaptureServiceTest, AnUnpluggedSelectionStays) {
    input.deviceFacts = {FakeAudioInput::microphone(9, "Headset", "headset")};
    service->refreshDevices();
    input.deviceFacts = {FakeAudioInput::microphone(7, "Built-in Microphone", "builtin")};
    service->refreshDevices();
    EXPECT_THAT(service->availableDevices.value(), ElementsAre(builtIn));
    EXPECT_THAT(service->selectedDevice.value(), Optional(headset));
}

TEST_F(AudioCaptureServiceTest, AFailedDeviceQueryChangesAndPublishesNothing) {
    input.deviceFacts = {FakeAudioInput::microphone(9, "Headset", "headset")};
    service->refreshDevices();
    service->selectedDevice.set(std::nullopt);
    int published = 0;
    const Subscription list = service->availableDevices.observe([&](const auto&) { ++published; });
    const Subscription choice = service->selectedDevice.observe([&](const auto&) { ++published; });
    input.deviceFacts.reset();
    service->refreshDevices();
    EXPECT_EQ(published, 0);
    EXPECT_THAT(service->availableDevices.value(), ElementsAre(headset));
    EXPECT_EQ(service->selectedDevice.value(), std::nullopt);
    EXPECT_THAT(log.lines(), IsEmpty());
}

// Permission

class MicrophonePermissionTest : public AudioCaptureServiceTest {
protected:
    std::optional<bool> answer;
    Handle operation;

    void request() {
        operation =
            service->requestMicrophonePermission([this](bool granted) { answer = granted; });
    }
};

TEST_F(MicrophonePermissionTest, AuthorizedIsGrantedLaterWithoutAsking) {
    permission.status = AuthorizationStatus::authorized;
    request();
    EXPECT_EQ(answer, std::nullopt);
    mainQueue.drain();
    EXPECT_THAT(answer, Optional(true));
    EXPECT_EQ(permission.requestCount(), 0);
    EXPECT_THAT(log.lines(), ElementsAre("[mic permission] current status=3"));
}

TEST_F(MicrophonePermissionTest, DeniedIsRefusedWithoutAsking) {
    permission.status = AuthorizationStatus::denied;
    request();
    mainQueue.drain();
    EXPECT_THAT(answer, Optional(false));
    EXPECT_EQ(permission.requestCount(), 0);
    EXPECT_THAT(log.lines(), ElementsAre("[mic permission] current status=2",
                                         "[mic permission] denied or restricted"));
}

TEST_F(MicrophonePermissionTest, RestrictedAndUnknownStatusAreRefused) {
    for (const int status : {1, 17}) {
        permission.status = static_cast<AuthorizationStatus>(status);
        answer.reset();
        request();
        mainQueue.drain();
        EXPECT_THAT(answer, Optional(false));
    }
    EXPECT_THAT(log.lines(), ElementsAre("[mic permission] current status=1",
                                         "[mic permission] denied or restricted",
                                         "[mic permission] current status=17",
                                         "[mic permission] denied or restricted"));
}

TEST_F(MicrophonePermissionTest, UndecidedAsksTheUserAndReturnsTheAnswer) {
    for (const bool granted : {true, false}) {
        permission.status = AuthorizationStatus::notDetermined;
        answer.reset();
        request();
        mainQueue.drain();
        EXPECT_EQ(answer, std::nullopt);
        EXPECT_EQ(permission.answer(granted), 1);
        EXPECT_THAT(answer, Optional(granted));
    }
    EXPECT_THAT(log.lines(), ElementsAre("[mic permission] current status=0",
                                         "[mic permission] user responded: granted=true",
                                         "[mic permission] current status=0",
                                         "[mic permission] user responded: granted=false"));
}

TEST_F(MicrophonePermissionTest, ADroppedRequestIsSilent) {
    request();
    operation.reset();
    mainQueue.drain();
    EXPECT_EQ(answer, std::nullopt);

    permission.status = AuthorizationStatus::notDetermined;
    request();
    operation.reset();
    EXPECT_EQ(permission.answer(true), 0);
    EXPECT_EQ(answer, std::nullopt);
}

TEST_F(MicrophonePermissionTest, ARequestMayBeDroppedFromItsOwnCompletion) {
    operation = service->requestMicrophonePermission([this](bool granted) {
        operation.reset();
        answer = granted;
    });
    mainQueue.drain();
    EXPECT_THAT(answer, Optional(true));
}

// Start and stop

TEST_F(AudioCaptureServiceTest, StartsTheEngineStepByStep) {
    std::vector<std::string> published;
    const Subscription selected = service->selectedDevice.observe(
        [&](const auto& device) { published.push_back("selectedDevice=" + device->name); });
    const Subscription capturing = service->isCapturing.observe([&](bool value) {
        published.push_back(std::string("isCapturing=") + (value ? "true" : "false"));
    });
    const Subscription level = service->audioLevel.observe(
        [&](float value) { published.push_back("audioLevel=" + std::to_string(value)); });

    service->startCapture(headset);

    EXPECT_THAT(input.calls(),
                ElementsAre("makeEngine", "1.bindDevice(9, headset)", "1.inputFormat",
                            "1.installTap(1024)", "1.setFaultHandler", "1.start"));
    EXPECT_THAT(published, ElementsAre("isCapturing=false", "audioLevel=0.000000",
                                       "selectedDevice=Headset", "isCapturing=true"));
    EXPECT_THAT(log.lines(),
                ElementsAre("[startCapture] device=Headset, onAudioBuffer=false",
                            "[startCapture] inputFormat=48000 Hz, 1 channel, float32, interleaved, "
                            "targetFormat=16000 Hz, 1 channel, int16, interleaved",
                            "[startCapture] engine started, isCapturing=true"));
}

TEST_F(AudioCaptureServiceTest, LogsThatACallbackIsSet) {
    collectPayloads();
    service->startCapture(headset);
    EXPECT_EQ(log.count("[startCapture] device=Headset, onAudioBuffer=true"), 1U);
}

TEST_F(AudioCaptureServiceTest, StartingWhileCapturingStopsTheOldEngineBeforeBindingTheNewDevice) {
    service->startCapture(builtIn);
    input.clearCalls();
    service->startCapture(headset);
    EXPECT_THAT(input.calls(), ElementsAre("1.removeTap", "1.stop", "1.destroyed", "makeEngine",
                                           "2.bindDevice(9, headset)", "2.inputFormat",
                                           "2.installTap(1024)", "2.setFaultHandler", "2.start"));
    EXPECT_TRUE(service->isCapturing.value());
    EXPECT_THAT(service->selectedDevice.value(), Optional(headset));
}

TEST_F(AudioCaptureServiceTest, StoppingRemovesTheTapThenStopsTheEngine) {
    service->startCapture(headset);
    input.clearCalls();
    const LogCapture fromHere;
    service->stopCapture();
    EXPECT_THAT(input.calls(), ElementsAre("1.removeTap", "1.stop", "1.destroyed"));
    EXPECT_FALSE(service->isCapturing.value());
    EXPECT_THAT(service->selectedDevice.value(), Optional(headset));
    EXPECT_THAT(fromHere.lines(), IsEmpty());
}

TEST_F(AudioCaptureServiceTest, StoppingPublishesEvenWhenNothingRuns) {
    std::vector<bool> capturing;
    std::vector<float> levels;
    const Subscription a =
        service->isCapturing.observe([&](bool value) { capturing.push_back(value); });
    const Subscription b =
        service->audioLevel.observe([&](float value) { levels.push_back(value); });
    service->stopCapture();
    service->stopCapture();
    EXPECT_THAT(capturing, ElementsAre(false, false));
    EXPECT_THAT(levels, ElementsAre(0.0F, 0.0F));
}

TEST_F(AudioCaptureServiceTest, ADeviceThatCannotBeBoundFailsTheStart) {
    input.bindSucceeds = false;
    try {
        service->startCapture(headset);
        FAIL() << "started";
    } catch (const AudioCaptureError& error) {
        EXPECT_EQ(error.which(), AudioCaptureError::Case::deviceSelectionFailed);
        EXPECT_STREQ(error.what(), "Failed to select audio device");
    }
    EXPECT_THAT(input.calls(),
                ElementsAre("makeEngine", "1.bindDevice(9, headset)", "1.destroyed"));
    EXPECT_FALSE(service->isCapturing.value());
    EXPECT_EQ(service->selectedDevice.value(), std::nullopt);
    EXPECT_THAT(log.lines(), ElementsAre("[startCapture] device=Headset, onAudioBuffer=false"));
}

TEST_F(AudioCaptureServiceTest, AnInputFormatWithoutAConverterFailsTheStart) {
    for (const AudioFormat& format : {AudioFormat{48000.0, 1, SampleType::int16, true},
                                      AudioFormat{0.0, 1, SampleType::float32, true},
                                      AudioFormat{48000.0, 0, SampleType::float32, true}}) {
        input.inputFormat = format;
        try {
            service->startCapture(headset);
            FAIL() << "started";
        } catch (const AudioCaptureError& error) {
            EXPECT_EQ(error.which(), AudioCaptureError::Case::converterCreationFailed);
            EXPECT_STREQ(error.what(), "Failed to create audio converter");
        }
        EXPECT_EQ(input.calls().back().substr(1), ".destroyed");
    }
}

TEST_F(AudioCaptureServiceTest, AnEngineStartErrorIsThrownUnchangedAndLeavesTheConverter) {
    collectPayloads();
    input.startError = "Connection refused";
    try {
        service->startCapture(headset);
        FAIL() << "started";
    } catch (const AudioEngineError& error) {
        EXPECT_STREQ(error.what(), "Connection refused");
    }
    EXPECT_FALSE(service->isCapturing.value());
    EXPECT_EQ(service->selectedDevice.value(), std::nullopt);
    EXPECT_EQ(input.calls().back(), "1.destroyed");
    EXPECT_EQ(log.count("[startCapture] engine started, isCapturing=true"), 0U);

    // Seen from a buffer that came before the start failed: there is a converter for it.
    const std::vector<float> silence(1023);
    input.installedTap()({silence.data(), 1023, 48000.0});
    EXPECT_EQ(log.count("[processBuffer] #1 frames=1023 hasConverter=true hasCallback=true"), 1U);
    EXPECT_THAT(payloads, testing::SizeIs(1));

    service->stopCapture();
    input.installedTap()({silence.data(), 1023, 48000.0});
    EXPECT_EQ(log.count("[processBuffer] #2 frames=1023 hasConverter=false hasCallback=true"), 1U);
    EXPECT_THAT(payloads, testing::SizeIs(1));
}

TEST_F(AudioCaptureServiceTest, ANewStartFollowsAFailedOne) {
    input.startError = "Connection refused";
    EXPECT_THROW(service->startCapture(headset), AudioEngineError);
    input.startError.reset();
    service->startCapture(headset);
    EXPECT_TRUE(service->isCapturing.value());
    EXPECT_TRUE(input.isRunning());
}

TEST_F(AudioCaptureServiceTest, GoingAwayStopsTheEngine) {
    service->startCapture(headset);
    input.clearCalls();
    service.reset();
    EXPECT_THAT(input.calls(), ElementsAre("1.removeTap", "1.stop", "1.destroyed"));
}

// Buffers

TEST_F(AudioCaptureServiceTest, DeliversTheConvertedBytesOfEachBuffer) {
    collectPayloads();
    service->startCapture(headset);
    pushSilence(3);
    EXPECT_THAT(payloads,
                ElementsAre(testing::SizeIs(682), testing::SizeIs(682), testing::SizeIs(682)));
}

TEST_F(AudioCaptureServiceTest, NeverDeliversMoreThanTheCapacityOfABuffer) {
    struct Row {
        double rate;
        std::size_t bytes;
    };
    for (const auto& [rate, bytes] : {Row{48000, 682}, Row{44100, 742}}) {
        input.inputFormat.sampleRate = rate;
        payloads.clear();
        collectPayloads();
        service->startCapture(headset);
        pushSilence(20, 1024);
        EXPECT_THAT(payloads, Each(testing::SizeIs(testing::Le(bytes))));
        EXPECT_EQ(payloads.back().size(), bytes);
    }
}

TEST_F(AudioCaptureServiceTest, ABufferTooShortForAFrameIsNotConvertedButMeasured) {
    collectPayloads();
    service->startCapture(headset);
    const std::vector<float> loud{1.0F, 1.0F};
    ASSERT_TRUE(input.push(loud));
    mainQueue.drain();
    EXPECT_THAT(payloads, IsEmpty());
    EXPECT_EQ(service->audioLevel.value(), 1.0F);
    EXPECT_THAT(log.linesStartingWith("[processBuffer]"),
                ElementsAre("[processBuffer] #1 frames=2 hasConverter=true hasCallback=true"));
}

TEST_F(AudioCaptureServiceTest, LogsBuffersOneToFiveAndEvery200thOverAllCaptures) {
    service->startCapture(headset);
    pushSilence(3);
    collectPayloads();
    service->startCapture(headset);
    pushSilence(398);

    std::vector<std::string> expectedBuffers;
    std::vector<std::string> expectedLevels;
    for (const int count : {1, 2, 3, 4, 5, 200, 400}) {
        const std::string number = std::to_string(count);
        expectedBuffers.push_back(
            "[processBuffer] #" + number +
            " frames=1023 hasConverter=true hasCallback=" + (count <= 3 ? "false" : "true"));
        expectedBuffers.push_back("[processBuffer] sending 682 bytes to callback");
        expectedLevels.push_back("[audioLevel] #" + number + " rms=0.0 level=0.0");
    }
    EXPECT_EQ(log.linesStartingWith("[processBuffer]"), expectedBuffers);
    EXPECT_EQ(log.linesStartingWith("[audioLevel]"), expectedLevels);
}

TEST_F(AudioCaptureServiceTest, ACallbackSetWhileCapturingTakesTheNextBufferAndIsNeverCleared) {
    service->startCapture(headset);
    pushSilence(1);
    collectPayloads();
    pushSilence(1);
    EXPECT_THAT(payloads, testing::SizeIs(1));
    service->stopCapture();
    service->startCapture(headset);
    pushSilence(1);
    EXPECT_THAT(payloads, testing::SizeIs(2));
    service->setOnAudioBuffer(nullptr);
    pushSilence(1);
    EXPECT_THAT(payloads, testing::SizeIs(2));
}

TEST_F(AudioCaptureServiceTest, ABufferUnderWayFinishesAfterTheStop) {
    service->startCapture(headset);
    service->setOnAudioBuffer([this](std::vector<std::uint8_t> bytes) {
        service->stopCapture();
        payloads.push_back(std::move(bytes));
    });
    pushSilence(1);
    EXPECT_THAT(payloads, ElementsAre(testing::SizeIs(682)));
    EXPECT_FALSE(input.pushSilence(1023));
}

TEST_F(AudioCaptureServiceTest, ALateBufferIsMeasuredButNotConverted) {
    collectPayloads();
    service->startCapture(headset);
    const AudioEngine::Tap tap = input.installedTap();
    service->stopCapture();
    const std::vector<float> loud(1023, 1.0F);
    tap({loud.data(), 1023, 48000.0});
    EXPECT_THAT(payloads, IsEmpty());
    EXPECT_THAT(log.linesStartingWith("[processBuffer]"),
                ElementsAre("[processBuffer] #1 frames=1023 hasConverter=false hasCallback=true"));
    mainQueue.drain();
    EXPECT_EQ(service->audioLevel.value(), 1.0F);
}

TEST_F(AudioCaptureServiceTest, ATapThatOutlivesTheServiceDoesNothing) {
    collectPayloads();
    service->startCapture(headset);
    const AudioEngine::Tap tap = input.installedTap();
    service.reset();
    const LogCapture fromHere;
    const std::vector<float> loud(1023, 1.0F);
    tap({loud.data(), 1023, 48000.0});
    EXPECT_THAT(payloads, IsEmpty());
    EXPECT_THAT(fromHere.lines(), IsEmpty());
    EXPECT_EQ(mainQueue.size(), 0U);
}

TEST_F(AudioCaptureServiceTest, ABufferWithoutFloatSamplesIsAConversionErrorOnTheConsole) {
    collectPayloads();
    service->startCapture(headset);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(input.push(AudioBuffer{nullptr, 1023, 48000.0}));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Audio conversion error: the buffer holds no floating-point samples\n");
    pushSilence(1);
    EXPECT_THAT(payloads, ElementsAre(testing::SizeIs(682)));
    EXPECT_EQ(log.count("Audio conversion error: the buffer holds no floating-point samples"), 0U);
}

TEST_F(AudioCaptureServiceTest, ACapacityThatIsNoCountStopsTheProcess) {
    service->startCapture(headset);
    const float sample = 0;
    EXPECT_DEATH(input.push(AudioBuffer{&sample, 1, 0.0}), "not a 32-bit frame count");
}

// Level

TEST_F(AudioCaptureServiceTest, PublishesTheLevelOfEveryBufferOnTheMainThread) {
    service->startCapture(headset);
    std::vector<float> levels;
    const Subscription subscription =
        service->audioLevel.observe([&](float level) { levels.push_back(level); });
    mainQueue.drain();
    for (const float amplitude : {0.0F, 0.25F, 0.25F, 0.5F}) {
        ASSERT_TRUE(input.push(std::vector<float>(1024, amplitude)));
    }
    EXPECT_THAT(levels, IsEmpty());
    EXPECT_EQ(mainQueue.drain(), 4U);
    EXPECT_THAT(levels, ElementsAre(0.0F, 0.75F, 0.75F, 1.0F));
}

TEST_F(AudioCaptureServiceTest, WakesTheMainThreadForLevelsOnlyWhileSomebodyWatches) {
    service->startCapture(headset);
    const auto wakeUpsForABuffer = [&] {
        const std::size_t before = mainQueue.wakeUps();
        EXPECT_TRUE(input.push(std::vector<float>(1024, 0.25F)));
        return mainQueue.wakeUps() - before;
    };
    EXPECT_EQ(wakeUpsForABuffer(), 0U);
    std::vector<float> levels;
    {
        const Subscription subscription =
            service->audioLevel.observe([&](float level) { levels.push_back(level); });
        EXPECT_EQ(wakeUpsForABuffer(), 1U);
        mainQueue.drain();
        EXPECT_THAT(levels, ElementsAre(0.75F, 0.75F)) << "the one that waited, too";
    }
    EXPECT_EQ(wakeUpsForABuffer(), 0U);
}

TEST_F(AudioCaptureServiceTest, KeepsOnlyTheLatestLevelWhileNobodyWatches) {
    service->startCapture(headset);
    mainQueue.drain();
    for (const float amplitude : {0.3F, 0.25F, 0.2F, 0.125F}) {
        ASSERT_TRUE(input.push(std::vector<float>(1024, amplitude)));
    }
    EXPECT_EQ(mainQueue.size(), 1U) << "hours of it must not pile up";
    mainQueue.drain();
    EXPECT_EQ(service->audioLevel.value(), 0.375F);
    ASSERT_TRUE(input.push(std::vector<float>(1024, 0.25F)));
    mainQueue.drain();
    EXPECT_EQ(service->audioLevel.value(), 0.75F);
}

TEST_F(AudioCaptureServiceTest, LevelsThatWaitAreDeliveredSoonAfterSomebodyComesToWatch) {
    service->startCapture(headset);
    ASSERT_TRUE(input.push(std::vector<float>(1024, 0.25F)));
    const std::size_t before = mainQueue.wakeUps();
    const Subscription subscription = service->audioLevel.observe([](float) {});
    EXPECT_EQ(mainQueue.wakeUps(), before + 1);
}

TEST_F(AudioCaptureServiceTest, LevelsThatWaitAreDeliveredSoonAfterAStop) {
    service->startCapture(headset);
    ASSERT_TRUE(input.push(std::vector<float>(1024, 0.25F)));
    const std::size_t before = mainQueue.wakeUps();
    service->stopCapture();
    EXPECT_EQ(mainQueue.wakeUps(), before + 1);
}

TEST_F(AudioCaptureServiceTest, ALevelOnItsWayArrivesAfterTheStop) {
    service->startCapture(headset);
    ASSERT_TRUE(input.push(std::vector<float>(1024, 0.25F)));
    service->stopCapture();
    EXPECT_EQ(service->audioLevel.value(), 0.0F);
    mainQueue.drain();
    EXPECT_EQ(service->audioLevel.value(), 0.75F);
}

TEST_F(AudioCaptureServiceTest, ALevelOnItsWayIsLostWithTheService) {
    service->startCapture(headset);
    ASSERT_TRUE(input.push(std::vector<float>(1024, 0.25F)));
    service.reset();
    EXPECT_EQ(mainQueue.drain(), 1U);
}

TEST_F(AudioCaptureServiceTest, AnEmptyBufferShowsAFullBar) {
    service->startCapture(headset);
    const float unread = 0;
    ASSERT_TRUE(input.push(AudioBuffer{&unread, 0, 48000.0}));
    mainQueue.drain();
    EXPECT_EQ(service->audioLevel.value(), 1.0F);
    EXPECT_EQ(log.count("[audioLevel] #1 rms=nan level=1.0"), 1U);
}

TEST_F(AudioCaptureServiceTest, MissingFloatSamplesAreLoggedThreeTimesOverAllCaptures) {
    service->startCapture(headset);
    testing::internal::CaptureStdout();
    for (int count = 0; count < 2; ++count) {
        ASSERT_TRUE(input.push(AudioBuffer{nullptr, 1023, 48000.0}));
    }
    service->startCapture(headset);
    mainQueue.drain();
    for (int count = 0; count < 3; ++count) {
        ASSERT_TRUE(input.push(AudioBuffer{nullptr, 1023, 48000.0}));
    }
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(log.count("[audioLevel] no floatChannelData!"), 3U);
    EXPECT_EQ(mainQueue.size(), 0U);

    // They count with the others: the next is the sixth.
    pushSilence(1);
    EXPECT_EQ(log.count("[audioLevel] #6 rms=0.0 level=0.0"), 0U);
    pushSilence(194);
    EXPECT_EQ(log.count("[audioLevel] #200 rms=0.0 level=0.0"), 1U);
}

// Faults

TEST_F(AudioCaptureServiceTest, PublishesAndLogsAFaultOnceAndRetriesNothing) {
    service->startCapture(headset);
    input.clearCalls();
    const LogCapture fromHere;
    ASSERT_TRUE(
        input.reportFault(CaptureFault{CaptureFault::Kind::deviceLost, "Headset was removed"}));
    mainQueue.drain();
    ASSERT_TRUE(service->captureFault.value().has_value());
    EXPECT_EQ(service->captureFault.value()->kind, CaptureFault::Kind::deviceLost);
    EXPECT_EQ(service->captureFault.value()->description, "Headset was removed");
    EXPECT_THAT(fromHere.lines(),
                ElementsAre("[capture] fault=deviceLost, description=Headset was removed"));
    EXPECT_THAT(input.calls(), IsEmpty());
    EXPECT_TRUE(service->isCapturing.value());
}

TEST_F(AudioCaptureServiceTest, NamesEachKindOfFaultInTheLog) {
    for (const auto kind : {CaptureFault::Kind::serverLost, CaptureFault::Kind::stalled}) {
        service->startCapture(headset);
        ASSERT_TRUE(input.reportFault(CaptureFault{kind, "gone"}));
        mainQueue.drain();
    }
    EXPECT_THAT(log.linesStartingWith("[capture]"),
                ElementsAre("[capture] fault=serverLost, description=gone",
                            "[capture] fault=stalled, description=gone"));
}

TEST_F(AudioCaptureServiceTest, StopAndStartClearTheFault) {
    for (const bool restart : {false, true}) {
        service->startCapture(headset);
        ASSERT_TRUE(input.reportFault(CaptureFault{CaptureFault::Kind::stalled, "gone"}));
        mainQueue.drain();
        ASSERT_TRUE(service->captureFault.value().has_value());
        if (restart) {
            service->startCapture(headset);
        } else {
            service->stopCapture();
        }
        EXPECT_FALSE(service->captureFault.value().has_value());
    }
}

TEST_F(AudioCaptureServiceTest, TakesAStallBackOnceSoundFlowsAgain) {
    service->startCapture(headset);
    const LogCapture fromHere;
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(input.reportFault(CaptureFault{CaptureFault::Kind::stalled, "nothing came"}));
        mainQueue.drain();
        EXPECT_TRUE(service->captureFault.value().has_value());
        ASSERT_TRUE(input.reportFault(std::nullopt));
        EXPECT_TRUE(service->captureFault.value().has_value()) << "until the main thread knows";
        mainQueue.drain();
        EXPECT_FALSE(service->captureFault.value().has_value());
    }
    EXPECT_THAT(fromHere.lines(), ElementsAre("[capture] fault=stalled, description=nothing came",
                                              "[capture] sound flows again",
                                              "[capture] fault=stalled, description=nothing came",
                                              "[capture] sound flows again"));
    EXPECT_TRUE(service->isCapturing.value());
}

TEST_F(AudioCaptureServiceTest, AStallMayTurnIntoALoss) {
    service->startCapture(headset);
    ASSERT_TRUE(input.reportFault(CaptureFault{CaptureFault::Kind::stalled, "nothing came"}));
    ASSERT_TRUE(input.reportFault(CaptureFault{CaptureFault::Kind::serverLost, "gone"}));
    mainQueue.drain();
    EXPECT_EQ(service->captureFault.value()->kind, CaptureFault::Kind::serverLost);
}

TEST_F(AudioCaptureServiceTest, AFaultyMicrophoneShowsNoLevel) {
    service->startCapture(headset);
    ASSERT_TRUE(input.push(std::vector<float>(1024, 0.25F)));
    ASSERT_TRUE(input.reportFault(CaptureFault{CaptureFault::Kind::deviceLost, "gone"}));
    std::vector<float> levels;
    const Subscription subscription =
        service->audioLevel.observe([&](float level) { levels.push_back(level); });
    mainQueue.drain();
    EXPECT_THAT(levels, ElementsAre(0.75F, 0.0F));
}

TEST_F(AudioCaptureServiceTest, TheMicrophoneIsOpenWhileItIsNeitherStoppedNorLost) {
    EXPECT_FALSE(service->isMicrophoneOpen());
    for (const auto kind : {CaptureFault::Kind::deviceLost, CaptureFault::Kind::serverLost}) {
        service->startCapture(headset);
        EXPECT_TRUE(service->isMicrophoneOpen());
        input.reportFault(CaptureFault{CaptureFault::Kind::stalled, "nothing came"});
        mainQueue.drain();
        EXPECT_TRUE(service->isMicrophoneOpen()) << "it may be heard again at any moment";
        input.reportFault(CaptureFault{kind, "gone"});
        mainQueue.drain();
        EXPECT_FALSE(service->isMicrophoneOpen());
    }
    service->startCapture(headset);
    service->stopCapture();
    EXPECT_FALSE(service->isMicrophoneOpen());
}

TEST_F(AudioCaptureServiceTest, AwaitsADeviceByItsPersistentIdentifier) {
    int found = 0;
    Handle wait = service->awaitDevice(headset, [&] { ++found; });
    EXPECT_THAT(input.awaited(), ElementsAre(headset.uid));
    EXPECT_EQ(input.findDevice(headset.uid), 1);
    EXPECT_EQ(found, 1);
    wait = service->awaitDevice(headset, [&] { ++found; });
    wait.reset();
    EXPECT_EQ(input.findDevice(headset.uid), 0);
}

TEST_F(AudioCaptureServiceTest, AFaultMayStopTheCaptureAtOnce) {
    service->startCapture(headset);
    const Subscription subscription = service->captureFault.observe([this](const auto& fault) {
        if (fault) {
            service->stopCapture();
        }
    });
    ASSERT_TRUE(input.reportFault(CaptureFault{CaptureFault::Kind::serverLost, "gone"}));
    mainQueue.drain();
    EXPECT_FALSE(service->isCapturing.value());
    EXPECT_FALSE(input.isRunning());
}

TEST_F(AudioCaptureServiceTest, AFaultOfAnEngineThatHasGoneIsVoid) {
    service->startCapture(builtIn);
    ASSERT_TRUE(input.reportFault(CaptureFault{CaptureFault::Kind::stalled, "gone"}));
    service->startCapture(headset);
    mainQueue.drain();
    EXPECT_FALSE(service->captureFault.value().has_value());
    ASSERT_TRUE(input.reportFault(CaptureFault{CaptureFault::Kind::stalled, "gone"}));
    service.reset();
    mainQueue.drain();
    EXPECT_THAT(log.linesStartingWith("[capture]"), IsEmpty());
}

} // namespace
} // namespace tandrel::test
