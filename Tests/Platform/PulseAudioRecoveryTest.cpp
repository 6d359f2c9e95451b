#include "Platform/PulseAudio/PulseAudioInput.h"
#include "Services/AudioCaptureService.h"
#include "Services/CaptureRecovery.h"
#include "Support/BothSoundServers.h"
#include "Support/FakeMicrophonePermission.h"
#include "Support/LogCapture.h"
#include "Support/ManualClock.h"
#include "Support/ManualMainQueue.h"
#include "Support/VirtualMicrophoneFeeder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using test::PrivateSoundServer;
using test::VirtualMicrophone;
using test::VirtualMicrophoneFeeder;
using testing::Contains;
using testing::IsEmpty;
using testing::SizeIs;
using SteadyClock = std::chrono::steady_clock;
using Kind = CaptureFault::Kind;

// As the stream carries them.
constexpr float ownSound = 0.25F;
constexpr std::int16_t own = 8192;
constexpr float otherSound = -0.5F;

/// A capture that is stood by, on a real sound server.
class PulseAudioRecoveryTest : public testing::TestWithParam<PrivateSoundServer::Kind> {
protected:
    PulseAudioRecoveryTest()
        : server(GetParam()) {
        server.makeDefault();
        plugInBoth();
        service.setOnAudioBuffer([this](const std::vector<std::uint8_t>& bytes) { take(bytes); });
        service.refreshDevices();
        service.startCapture(device("desk"));
        recovery = std::make_unique<CaptureRecovery>(
            service, clock,
            CaptureRecovery::Handlers{[this](const CaptureFault&) { hasGivenUp = true; }, [] {}});
    }
    ~PulseAudioRecoveryTest() override {
        recovery.reset();
        service.stopCapture();
    }

    /// The microphone of the test, which hears one sound, and another one, which is the server's
    /// default and hears another sound.
    void plugInBoth() {
        desk = server.addMicrophone("desk", "Desk", 48000, 1);
        const auto other = server.addMicrophone("other", "Other", 48000, 1);
        server.control({"set-default-source", "other"});
        feeder = std::make_unique<VirtualMicrophoneFeeder>(
            server, desk, std::vector<float>(std::size_t{48000} * 60, ownSound));
        otherFeeder = std::make_unique<VirtualMicrophoneFeeder>(
            server, other, std::vector<float>(std::size_t{48000} * 60, otherSound));
    }
    [[nodiscard]] AudioDevice device(const std::string& uid) const {
        for (const AudioDevice& one : service.availableDevices.value()) {
            if (one.uid == uid) {
                return one;
            }
        }
        throw std::runtime_error("there is no device " + uid);
    }

    /// Runs the main thread, and the clock with real time.
    bool runUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit = 10s) {
        return mainQueue.drainUntil(
            [&] {
                const auto now = SteadyClock::now();
                clock.advance(now - last);
                last = now;
                return condition();
            },
            limit);
    }
    [[nodiscard]] std::optional<Kind> fault() const {
        const auto& now = recovery->fault.value();
        return now ? std::optional(now->kind) : std::nullopt;
    }
    bool hearsItsOwnSound() {
        forget();
        return runUntil([this] {
            const auto heard = samples();
            return std::count_if(heard.begin(), heard.end(), [](std::int16_t sample) {
                       return std::abs(sample - own) <= 2;
                   }) > 4000;
        });
    }
    /// Waits until the recording is back; says how long it took.
    void awaitResumption(const char* what) {
        const auto start = SteadyClock::now();
        ASSERT_TRUE(runUntil([this] { return !fault().has_value(); })) << what;
        const auto took = SteadyClock::now() - start;
        std::printf("%s: resumed after %.0f ms\n", what,
                    std::chrono::duration<double, std::milli>(took).count());
        EXPECT_LE(took, 5s);
    }
    /// Not one sample of the other microphone, which lies far below zero.
    void expectNothingOfTheOther() { EXPECT_GE(lowest(), -1000); }

    void take(const std::vector<std::uint8_t>& bytes) {
        const std::lock_guard lock(mutex);
        std::vector<std::int16_t> samples(bytes.size() / sizeof(std::int16_t));
        std::memcpy(samples.data(), bytes.data(), bytes.size());
        for (const std::int16_t sample : samples) {
            heardSamples.push_back(sample);
            lowestSample = std::min(lowestSample, sample);
        }
    }
    [[nodiscard]] std::vector<std::int16_t> samples() {
        const std::lock_guard lock(mutex);
        return heardSamples;
    }
    [[nodiscard]] std::int16_t lowest() {
        const std::lock_guard lock(mutex);
        return lowestSample;
    }
    void forget() {
        const std::lock_guard lock(mutex);
        heardSamples.clear();
    }

    PrivateSoundServer server;
    VirtualMicrophone desk;
    std::unique_ptr<VirtualMicrophoneFeeder> feeder;
    std::unique_ptr<VirtualMicrophoneFeeder> otherFeeder;
    test::ManualMainQueue mainQueue;
    test::ManualClock clock;
    SteadyClock::time_point last = SteadyClock::now();
    test::FakeMicrophonePermission permission{mainQueue};
    test::LogCapture log;
    std::mutex mutex;
    std::vector<std::int16_t> heardSamples;
    std::int16_t lowestSample = 0;
    PulseAudioInput input{mainQueue};
    AudioCaptureService service{input, permission, mainQueue};
    std::unique_ptr<CaptureRecovery> recovery;
    bool hasGivenUp = false;
};

TEST_P(PulseAudioRecoveryTest, ResumesWhenTheServerIsBack) {
    ASSERT_TRUE(hearsItsOwnSound());
    for (int round = 0; round < 2; ++round) {
        server.kill();
        ASSERT_TRUE(runUntil([this] { return fault() == Kind::serverLost; }));
        EXPECT_FALSE(service.isMicrophoneOpen());
        runUntil([] { return false; }, 700ms);
        server.restart();
        plugInBoth();
        awaitResumption("server restarted");
        EXPECT_TRUE(service.isMicrophoneOpen());
        EXPECT_TRUE(hearsItsOwnSound());
        EXPECT_EQ(service.selectedDevice.value()->uid, "desk");
        EXPECT_THAT(service.availableDevices.value(), Contains(*service.selectedDevice.value()));
    }
    expectNothingOfTheOther();
    EXPECT_EQ(log.count("[recovery] capture resumed on Desk"), 2U);
    EXPECT_THAT(server.recordingIndexes(), SizeIs(1));
}

TEST_P(PulseAudioRecoveryTest, ResumesWhenTheDeviceIsBackAlsoAtAnotherRate) {
    ASSERT_TRUE(hearsItsOwnSound());
    for (const std::uint32_t rate : {48000U, 44100U}) {
        server.unplug(desk);
        ASSERT_TRUE(runUntil([this] { return fault() == Kind::deviceLost; }));
        runUntil([] { return false; }, 700ms);
        EXPECT_THAT(server.recordingIndexes(), IsEmpty()) << "no other is recorded";
        server.plugIn(desk, rate);
        awaitResumption("plugged in again");
        EXPECT_TRUE(hearsItsOwnSound());
    }
    expectNothingOfTheOther();
    EXPECT_THAT(log.linesStartingWith("[startCapture] inputFormat="), SizeIs(3));
    std::printf("%s\n", log.linesStartingWith("[startCapture] inputFormat=").back().c_str());
}

TEST_P(PulseAudioRecoveryTest, TakesTheDeviceThatTheUserChoosesMeanwhile) {
    ASSERT_TRUE(hearsItsOwnSound());
    server.unplug(desk);
    ASSERT_TRUE(runUntil([this] { return fault() == Kind::deviceLost; }));
    expectNothingOfTheOther();
    service.selectedDevice.set(device("other"));
    awaitResumption("another one was chosen");
    EXPECT_TRUE(runUntil([this] { return lowest() < -16000; })) << "now it is meant to be heard";
}

TEST_P(PulseAudioRecoveryTest, AFrozenServerThatThawsGoesOnWithTheSameCapture) {
    ASSERT_TRUE(hearsItsOwnSound());
    server.freeze();
    ASSERT_TRUE(runUntil([this] { return fault() == Kind::stalled; }));
    EXPECT_TRUE(service.isMicrophoneOpen());
    runUntil([] { return false; }, 1s);
    server.thaw();
    awaitResumption("thawed");
    EXPECT_TRUE(hearsItsOwnSound());
    expectNothingOfTheOther();
    EXPECT_THAT(log.linesStartingWith("[startCapture] engine started"), SizeIs(1));
    EXPECT_EQ(log.count("[capture] sound flows again"), 1U);
}

TEST_P(PulseAudioRecoveryTest, AFrozenServerThatDiesIsWaitedForLikeAnyOther) {
    ASSERT_TRUE(hearsItsOwnSound());
    server.freeze();
    ASSERT_TRUE(runUntil([this] { return fault() == Kind::stalled; }));
    server.kill();
    ASSERT_TRUE(runUntil([this] { return fault() == Kind::serverLost; }));
    server.restart();
    plugInBoth();
    awaitResumption("frozen, killed and restarted");
    EXPECT_TRUE(hearsItsOwnSound());
    expectNothingOfTheOther();
}

TEST_P(PulseAudioRecoveryTest, AServerThatStaysAwayIsGivenUp) {
    server.kill();
    ASSERT_TRUE(runUntil([this] { return fault() == Kind::serverLost; }));
    runUntil([] { return false; }, 500ms);
    EXPECT_FALSE(hasGivenUp);
    clock.advance(30s);
    EXPECT_TRUE(hasGivenUp);
}

INSTANTIATE_TEST_SUITE_P(Servers, PulseAudioRecoveryTest, test::bothSoundServers,
                         test::soundServerTestName);

} // namespace
} // namespace tandrel
