#include "Platform/PulseAudio/PulseAudioInput.h"

#include "Support/BothSoundServers.h"
#include "Support/LogCapture.h"
#include "Support/ManualMainQueue.h"
#include "Support/VirtualMicrophoneFeeder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <iterator>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using test::PrivateSoundServer;
using test::VirtualMicrophone;
using test::VirtualMicrophoneFeeder;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using SteadyClock = std::chrono::steady_clock;

/// In milliseconds. A stop takes 5 at most; a busy machine can hold it up a little. One that waited
/// for a server that hangs would take seconds.
constexpr double stopLimit = 100;

double millisecondsSince(SteadyClock::time_point start) {
    return std::chrono::duration<double, std::milli>(SteadyClock::now() - start).count();
}

/// How long `action` takes, in milliseconds.
double millisecondsOf(const std::function<void()>& action) {
    const auto start = SteadyClock::now();
    action();
    return millisecondsSince(start);
}

/// Exact in a float, never zero, no two alike within 16 million.
float rampSample(std::size_t index) {
    return static_cast<float>(index + 1) / static_cast<float>(1U << 24U);
}

/// A ramp on the first channel; other channels carry something that is not on it.
std::vector<float> makeRamp(std::size_t frames, std::uint32_t channels) {
    std::vector<float> samples(frames * channels, -0.25F);
    for (std::size_t frame = 0; frame < frames; ++frame) {
        samples[frame * channels] = rampSample(frame);
    }
    return samples;
}

struct RampReport {
    std::size_t received = 0;
    std::size_t lostRepeatedOrReordered = 0;
};

/// Compares what lies between the silences with the ramp.
RampReport checkRamp(const std::vector<float>& samples) {
    const auto isSound = [](float sample) { return sample != 0.0F; };
    const auto begin = std::find_if(samples.begin(), samples.end(), isSound);
    const auto end = std::find_if(samples.rbegin(), samples.rend(), isSound).base();
    RampReport report;
    for (auto sample = begin; sample < end; ++sample) {
        report.lostRepeatedOrReordered += *sample == rampSample(report.received) ? 0U : 1U;
        ++report.received;
    }
    return report;
}

/// An engine, and what it delivered.
class Recording {
public:
    explicit Recording(AudioInput& input)
        : engine_(input.makeEngine()) {
        engine_->setFaultHandler([this](const auto& fault) { faults.push_back(fault); });
    }

    AudioEngine& engine() { return *engine_; }

    [[nodiscard]] bool start(const std::string& uid) {
        if (!engine_->bindDevice(0, uid)) {
            return false;
        }
        engine_->installTap(1024, [this](const AudioBuffer& buffer) { take(buffer); });
        engine_->start();
        return true;
    }

    std::vector<float> samples() {
        const std::lock_guard lock(mutex_);
        return samples_;
    }
    std::vector<std::uint32_t> lengths() {
        const std::lock_guard lock(mutex_);
        return lengths_;
    }
    std::size_t frames() {
        const std::lock_guard lock(mutex_);
        return samples_.size();
    }
    bool hasHeard(float sample) {
        const std::lock_guard lock(mutex_);
        return std::find(samples_.begin(), samples_.end(), sample) != samples_.end();
    }

    /// Main thread. Nothing: sound flowed again.
    std::vector<std::optional<CaptureFault>> faults;
    /// Called for each buffer, on the tap thread, before it is kept.
    std::function<void()> onBuffer = [] {};

private:
    void take(const AudioBuffer& buffer) {
        onBuffer();
        const std::lock_guard lock(mutex_);
        samples_.insert(samples_.end(), buffer.floatChannelData,
                        buffer.floatChannelData + buffer.frameLength);
        lengths_.push_back(buffer.frameLength);
    }

    std::mutex mutex_;
    std::vector<float> samples_;
    std::vector<std::uint32_t> lengths_;
    // Last: its tap is gone before what the tap uses.
    std::unique_ptr<AudioEngine> engine_;
};

/// Plays a ramp into the microphone while `recording` records, until its last frame has come.
RampReport recordRamp(test::ManualMainQueue& mainQueue, const PrivateSoundServer& server,
                      const VirtualMicrophone& microphone, Recording& recording,
                      std::size_t frames) {
    VirtualMicrophoneFeeder feeder(server, microphone, makeRamp(frames, microphone.channels));
    const auto length = std::chrono::milliseconds(frames * 1000 / microphone.rate);
    EXPECT_TRUE(mainQueue.drainUntil([&] { return recording.hasHeard(rampSample(frames - 1)); },
                                     length + 5s))
        << "the end of the ramp never came";
    return checkRamp(recording.samples());
}

class PulseAudioInputTest : public testing::TestWithParam<PrivateSoundServer::Kind> {
protected:
    PulseAudioInputTest()
        : server(GetParam()) {
        server.makeDefault();
    }

    bool runUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit = 20s) {
        return mainQueue.drainUntil(condition, limit);
    }
    /// Lets the main thread run for a while in which something must not happen.
    void runFor(std::chrono::milliseconds duration) {
        runUntil([] { return false; }, duration);
    }
    RampReport recordRamp(Recording& recording, const VirtualMicrophone& microphone,
                          std::size_t frames) {
        return tandrel::recordRamp(mainQueue, server, microphone, recording, frames);
    }

    PrivateSoundServer server;
    test::ManualMainQueue mainQueue;
    PulseAudioInput input{mainQueue};
};

TEST_P(PulseAudioInputTest, ListsMicrophonesOnly) {
    server.loadModule("module-null-sink", {"sink_name=speakers"});
    server.addMicrophone("desk", "Desk Microphone", 48000, 1);
    server.addMicrophone("room", "Room", 44100, 2);

    const double first = millisecondsOf([this] { (void)input.devices(); });
    std::optional<std::vector<InputDeviceFacts>> devices;
    const double again = millisecondsOf([this, &devices] { devices = input.devices(); });

    std::printf("list of devices: %.2f ms with the connection, %.2f ms then\n", first, again);
    ASSERT_TRUE(devices);
    ASSERT_THAT(*devices, SizeIs(2));
    EXPECT_EQ(devices->at(0).name, "Desk Microphone");
    EXPECT_EQ(devices->at(0).uid, "desk");
    EXPECT_THAT(*devices->at(0).inputStreamChannels, ElementsAre(1));
    EXPECT_EQ(devices->at(1).name, "Room");
    EXPECT_EQ(devices->at(1).uid, "room");
    EXPECT_THAT(*devices->at(1).inputStreamChannels, ElementsAre(2));
    EXPECT_NE(devices->at(0).id, devices->at(1).id);
}

TEST_P(PulseAudioInputTest, ListsNothingOnAMachineWithOutputsOnly) {
    server.loadModule("module-null-sink", {"sink_name=speakers"});
    const auto devices = input.devices();
    ASSERT_TRUE(devices);
    EXPECT_THAT(*devices, IsEmpty());
}

struct Rate {
    std::uint32_t rate;
    std::uint32_t channels;
    std::uint32_t bufferFrames;
    /// Seconds of the ramp.
    double duration;
};

class CaptureRateTest : public testing::TestWithParam<std::tuple<PrivateSoundServer::Kind, Rate>> {
protected:
    [[nodiscard]] static Rate row() { return std::get<Rate>(GetParam()); }

    PrivateSoundServer server{std::get<PrivateSoundServer::Kind>(GetParam()),
                              {row().rate, std::bit_ceil(row().rate * 1024 / 48000)}};
    test::ManualMainQueue mainQueue;
    PulseAudioInput input{mainQueue};
};

TEST_P(CaptureRateTest, LosesNoFrameOfARamp) {
    server.makeDefault();
    const auto microphone = server.addMicrophone("desk", "Desk", row().rate, row().channels);
    Recording recording(input);
    ASSERT_TRUE(recording.start("desk"));
    const AudioFormat expected{static_cast<double>(row().rate), row().channels, SampleType::float32,
                               true};
    EXPECT_EQ(recording.engine().inputFormat(), expected);

    const auto frames = static_cast<std::size_t>(row().duration * row().rate);
    const RampReport report = recordRamp(mainQueue, server, microphone, recording, frames);

    std::printf("%u Hz, %u channels: %zu of %zu frames, %zu wrong\n", row().rate, row().channels,
                report.received, frames, report.lostRepeatedOrReordered);
    EXPECT_EQ(report.received, frames);
    EXPECT_EQ(report.lostRepeatedOrReordered, 0U);
    EXPECT_THAT(recording.lengths(), Each(row().bufferFrames));
    EXPECT_THAT(recording.faults, IsEmpty());
}

std::string rateName(const testing::TestParamInfo<CaptureRateTest::ParamType>& parameters) {
    return test::soundServerName(std::get<PrivateSoundServer::Kind>(parameters.param)) +
           std::to_string(std::get<Rate>(parameters.param).rate);
}

INSTANTIATE_TEST_SUITE_P(
    Servers, CaptureRateTest,
    testing::Combine(test::bothSoundServers,
                     testing::Values(Rate{16000, 1, 1024, 3}, Rate{44100, 2, 882, 0.5},
                                     Rate{48000, 1, 1023, 0.5}, Rate{96000, 1, 1026, 0.5})),
    rateName);

TEST_P(PulseAudioInputTest, LosesNoFrameWhileTheTapIsHeldUpForThreeSeconds) {
    const auto microphone = server.addMicrophone("desk", "Desk", 48000, 1);
    Recording recording(input);
    std::atomic<int> buffers{0};
    recording.onBuffer = [&buffers] {
        if (++buffers == 20) {
            std::this_thread::sleep_for(3s);
        }
    };
    ASSERT_TRUE(recording.start("desk"));
    constexpr std::size_t frames = 48000 * 4;

    const RampReport report = recordRamp(recording, microphone, frames);

    EXPECT_GT(buffers, 20);
    EXPECT_EQ(report.received, frames);
    EXPECT_EQ(report.lostRepeatedOrReordered, 0U);
    EXPECT_THAT(recording.faults, IsEmpty());
}

TEST_P(PulseAudioInputTest, ARefreshDoesNotWaitForATapThatIsHeldUp) {
    server.addMicrophone("desk", "Desk", 48000, 1);
    Recording recording(input);
    std::promise<void> entered;
    std::promise<void> release;
    std::atomic<int> buffers{0};
    recording.onBuffer = [&] {
        if (++buffers == 5) {
            entered.set_value();
            release.get_future().wait();
        }
    };
    ASSERT_TRUE(recording.start("desk"));
    entered.get_future().wait();

    std::optional<std::vector<InputDeviceFacts>> devices;
    const double listing = millisecondsOf([this, &devices] { devices = input.devices(); });
    release.set_value();

    std::printf("refresh while the tap is held up: failed after %.0f ms\n", listing);
    EXPECT_FALSE(devices);
    EXPECT_LE(listing, 600);
    ASSERT_TRUE(runUntil([&buffers] { return buffers > 20; }));
    EXPECT_TRUE(input.devices());
    EXPECT_THAT(recording.faults, IsEmpty());
}

TEST_P(PulseAudioInputTest, RefreshingDoesNotDisturbACapture) {
    const auto microphone = server.addMicrophone("desk", "Desk", 48000, 1);
    Recording recording(input);
    ASSERT_TRUE(recording.start("desk"));
    constexpr std::size_t frames = 48000;
    VirtualMicrophoneFeeder feeder(server, microphone, makeRamp(frames, 1));

    int refreshes = 0;
    ASSERT_TRUE(runUntil([&] {
        refreshes += input.devices() ? 1 : 0;
        return recording.hasHeard(rampSample(frames - 1));
    }));

    const RampReport report = checkRamp(recording.samples());
    EXPECT_GT(refreshes, 10);
    EXPECT_EQ(report.received, frames);
    EXPECT_EQ(report.lostRepeatedOrReordered, 0U);
}

TEST_P(PulseAudioInputTest, ReportsAnUnpluggedMicrophoneAndRecordsNoOther) {
    const auto desk = server.addMicrophone("desk", "Desk", 48000, 1);
    const auto other = server.addMicrophone("other", "Other", 48000, 1);
    server.control({"set-default-source", "other"});
    constexpr float ownSound = 0.25F;
    constexpr float otherSound = -0.5F;
    VirtualMicrophoneFeeder feeder(server, desk, std::vector<float>(48000 * 5, ownSound));
    VirtualMicrophoneFeeder otherFeeder(server, other, std::vector<float>(48000 * 5, otherSound));
    Recording recording(input);
    std::atomic<SteadyClock::time_point> lastBuffer{SteadyClock::now()};
    recording.onBuffer = [&lastBuffer] { lastBuffer = SteadyClock::now(); };
    Recording otherRecording(input);
    ASSERT_TRUE(recording.start("desk"));
    ASSERT_TRUE(otherRecording.start("other"));
    ASSERT_TRUE(runUntil(
        [&] { return recording.hasHeard(ownSound) && otherRecording.hasHeard(otherSound); }));

    server.unplug(desk);
    ASSERT_TRUE(runUntil([&recording] { return !recording.faults.empty(); }, 5s));
    // Not from the command, which takes a busy machine longer than the rest.
    const double delay = millisecondsSince(lastBuffer);

    std::printf("unplugged: reported after %.1f ms\n", delay);
    EXPECT_LE(delay, 100);
    EXPECT_EQ(recording.faults[0]->kind, CaptureFault::Kind::deviceLost);
    const std::size_t framesOfOther = otherRecording.frames();
    // The other microphone is heard for half a second more, by its own recording alone.
    ASSERT_TRUE(runUntil([&] { return otherRecording.frames() > framesOfOther + 24000; }));
    const auto samples = recording.samples();
    EXPECT_EQ(std::count_if(samples.begin(), samples.end(),
                            [](float sample) { return sample != 0 && sample != ownSound; }),
              0);
    EXPECT_THAT(recording.faults, SizeIs(1));
    EXPECT_THAT(otherRecording.faults, IsEmpty());
    EXPECT_FALSE(recording.engine().bindDevice(0, "desk"));
}

TEST_P(PulseAudioInputTest, RecordsNoOtherMicrophoneWhenItsStreamIsMoved) {
    const auto desk = server.addMicrophone("desk", "Desk", 48000, 1);
    const auto other = server.addMicrophone("other", "Other", 48000, 1);
    constexpr float ownSound = 0.25F;
    constexpr float otherSound = -0.5F;
    VirtualMicrophoneFeeder feeder(server, desk, std::vector<float>(48000 * 5, ownSound));
    VirtualMicrophoneFeeder otherFeeder(server, other, std::vector<float>(48000 * 5, otherSound));
    Recording recording(input);
    ASSERT_TRUE(recording.start("desk"));
    ASSERT_TRUE(runUntil([&recording] { return recording.hasHeard(ownSound); }));

    for (const std::string& index : server.recordingIndexes()) {
        try {
            server.control({"move-source-output", index, "other"});
        } catch (const std::runtime_error&) {
            std::printf("the server refused the move\n");
        }
    }
    const std::size_t before = recording.frames();
    runUntil([&] { return !recording.faults.empty() || recording.frames() > before + 24000; }, 5s);

    std::printf("moved: %zu faults\n", recording.faults.size());
    EXPECT_FALSE(recording.hasHeard(otherSound));
}

TEST_P(PulseAudioInputTest, ReportsADeadServerAndFindsTheNextOne) {
    server.addMicrophone("desk", "Desk", 48000, 1);
    Recording recording(input);
    ASSERT_TRUE(recording.start("desk"));
    ASSERT_TRUE(runUntil([&recording] { return recording.frames() > 0; }));

    const auto start = SteadyClock::now();
    server.kill();
    ASSERT_TRUE(runUntil([&recording] { return !recording.faults.empty(); }, 5s));
    const double delay = millisecondsSince(start);

    std::printf("server killed: reported after %.1f ms\n", delay);
    EXPECT_LE(delay, 100);
    ASSERT_THAT(recording.faults, SizeIs(1));
    EXPECT_EQ(recording.faults[0]->kind, CaptureFault::Kind::serverLost);
    EXPECT_FALSE(input.devices());
    EXPECT_LE(millisecondsOf([&recording] { recording.engine().stop(); }), stopLimit);

    server.restart();
    const auto microphone = server.addMicrophone("desk", "Desk", 48000, 1);
    const auto devices = input.devices();
    ASSERT_TRUE(devices);
    ASSERT_THAT(*devices, SizeIs(1));
    EXPECT_EQ(devices->at(0).uid, "desk");
    Recording next(input);
    ASSERT_TRUE(next.start("desk"));
    const RampReport report = recordRamp(next, microphone, 12000);
    EXPECT_EQ(report.received, 12000U);
    EXPECT_EQ(report.lostRepeatedOrReordered, 0U);
}

TEST_P(PulseAudioInputTest, ReportsAFrozenServerOnceAndStopsAtOnce) {
    server.addMicrophone("desk", "Desk", 48000, 1);
    Recording recording(input);
    ASSERT_TRUE(recording.start("desk"));
    ASSERT_TRUE(runUntil([&recording] { return recording.frames() > 0; }));

    const auto start = SteadyClock::now();
    server.freeze();
    ASSERT_TRUE(runUntil([&recording] { return !recording.faults.empty(); }, 5s));
    const double delay = millisecondsSince(start);
    const std::size_t framesHeard = recording.frames();
    std::optional<std::vector<InputDeviceFacts>> devices;
    const double listing = millisecondsOf([this, &devices] { devices = input.devices(); });
    const double stopping = millisecondsOf([&recording] { recording.engine().stop(); });

    std::printf("frozen: reported after %.0f ms, stopped in %.2f ms, refresh failed in %.0f ms\n",
                delay, stopping, listing);
    EXPECT_GE(delay, 950);
    EXPECT_LE(delay, 1500);
    EXPECT_EQ(recording.faults[0]->kind, CaptureFault::Kind::stalled);
    EXPECT_FALSE(devices);
    EXPECT_LE(listing, 600);
    EXPECT_LE(stopping, stopLimit);

    server.thaw();
    ASSERT_TRUE(runUntil([this] { return input.devices().has_value(); }));
    Recording next(input);
    ASSERT_TRUE(next.start("desk"));
    ASSERT_TRUE(runUntil([&next] { return next.frames() > 48000 / 4; }));
    EXPECT_EQ(recording.frames(), framesHeard);
    EXPECT_THAT(recording.faults, SizeIs(1));
}

TEST_P(PulseAudioInputTest, GoesOnWhenAFrozenServerThaws) {
    const auto desk = server.addMicrophone("desk", "Desk", 48000, 1);
    const auto other = server.addMicrophone("other", "Other", 48000, 1);
    constexpr float ownSound = 0.25F;
    constexpr float otherSound = -0.5F;
    const VirtualMicrophoneFeeder feeder(server, desk, std::vector<float>(48000 * 30, ownSound));
    const VirtualMicrophoneFeeder otherFeeder(server, other,
                                              std::vector<float>(48000 * 30, otherSound));
    Recording recording(input);
    ASSERT_TRUE(recording.start("desk"));
    ASSERT_TRUE(runUntil([&recording] { return recording.hasHeard(ownSound); }));

    for (std::size_t round = 1; round <= 2; ++round) {
        server.freeze();
        ASSERT_TRUE(runUntil([&] { return recording.faults.size() == 2 * round - 1; }, 5s));
        EXPECT_EQ(recording.faults.back()->kind, CaptureFault::Kind::stalled);
        runFor(500ms);
        const std::size_t before = recording.frames();
        const auto start = SteadyClock::now();
        server.thaw();
        ASSERT_TRUE(runUntil([&] { return recording.faults.size() == 2 * round; }, 5s));
        std::printf("thawed: told after %.0f ms\n", millisecondsSince(start));
        EXPECT_FALSE(recording.faults.back().has_value());
        ASSERT_TRUE(runUntil([&] { return recording.frames() > before + 48000; }, 5s));
    }
    const auto samples = recording.samples();
    EXPECT_EQ(std::count_if(samples.begin(), samples.end(),
                            [](float sample) { return sample != 0 && sample != ownSound; }),
              0);
    EXPECT_EQ(samples.back(), ownSound);
    EXPECT_THAT(server.recordingIndexes(), SizeIs(1)) << "the same recording";
}

TEST_P(PulseAudioInputTest, AFrozenServerThatIsKilledIsALoss) {
    server.addMicrophone("desk", "Desk", 48000, 1);
    Recording recording(input);
    ASSERT_TRUE(recording.start("desk"));
    ASSERT_TRUE(runUntil([&recording] { return recording.frames() > 0; }));
    server.freeze();
    ASSERT_TRUE(runUntil([&recording] { return recording.faults.size() == 1; }, 5s));
    server.kill();
    ASSERT_TRUE(runUntil([&recording] { return recording.faults.size() == 2; }, 5s));
    EXPECT_EQ(recording.faults[0]->kind, CaptureFault::Kind::stalled);
    EXPECT_EQ(recording.faults[1]->kind, CaptureFault::Kind::serverLost);
    runFor(600ms);
    EXPECT_THAT(recording.faults, SizeIs(2));
}

TEST_P(PulseAudioInputTest, StartFailsInTimeWhenTheServerFreezes) {
    server.addMicrophone("desk", "Desk", 48000, 1);
    Recording recording(input);
    ASSERT_TRUE(recording.engine().bindDevice(0, "desk"));
    server.freeze();
    const double duration = millisecondsOf([&recording] {
        try {
            recording.engine().start();
            ADD_FAILURE() << "a frozen server cannot have started a recording";
        } catch (const AudioEngineError& error) {
            EXPECT_STREQ(error.what(), "Timeout");
        }
    });
    std::printf("start against a frozen server: failed after %.0f ms\n", duration);
    EXPECT_GE(duration, 2900);
    EXPECT_LE(duration, 3200);
}

TEST_P(PulseAudioInputTest, StopsAtOnceAndDeliversNothingMore) {
    server.addMicrophone("desk", "Desk", 48000, 1);
    Recording recording(input);
    double longest = 0;
    for (int round = 0; round < 10; ++round) {
        ASSERT_TRUE(recording.start("desk"));
        const std::size_t before = recording.frames();
        ASSERT_TRUE(runUntil([&] { return recording.frames() > before; }));
        longest = std::max(longest, millisecondsOf([&recording] { recording.engine().stop(); }));
        const std::size_t after = recording.frames();
        runFor(30ms);
        EXPECT_EQ(recording.frames(), after);
    }
    std::printf("stop: at most %.2f ms in 10 rounds\n", longest);
    EXPECT_LE(longest, stopLimit);
    EXPECT_THAT(recording.faults, IsEmpty());
}

TEST_P(PulseAudioInputTest, StartsAgainWhileRunning) {
    const auto microphone = server.addMicrophone("desk", "Desk", 48000, 1);
    server.addMicrophone("other", "Other", 44100, 2);
    Recording recording(input);
    ASSERT_TRUE(recording.start("other"));
    ASSERT_TRUE(runUntil([&recording] { return recording.frames() > 0; }));
    const double duration = millisecondsOf([&recording] { ASSERT_TRUE(recording.start("desk")); });
    std::printf("restart on another microphone: %.1f ms\n", duration);

    const RampReport report = recordRamp(recording, microphone, 12000);
    EXPECT_EQ(report.received, 12000U);
    EXPECT_EQ(report.lostRepeatedOrReordered, 0U);
    EXPECT_THAT(server.recordingIndexes(), SizeIs(1));
}

TEST_P(PulseAudioInputTest, BindsNothingButMicrophones) {
    server.addMicrophone("desk", "Desk", 48000, 1);
    const auto engine = input.makeEngine();
    EXPECT_TRUE(engine->bindDevice(0, "desk"));
    for (const char* uid : {"gone", "", "@DEFAULT_SOURCE@", "desk_feed", "desk_feed.monitor",
                            "@DEFAULT_MONITOR@", "0"}) {
        EXPECT_FALSE(engine->bindDevice(0, uid)) << uid;
    }
}

TEST_P(PulseAudioInputTest, LogsThatTheUserHasMutedIt) {
    const auto microphone = server.addMicrophone("desk", "Desk", 48000, 1);
    VirtualMicrophoneFeeder feeder(server, microphone, std::vector<float>(48000 * 8, 0.25F));
    const std::string line = "[capture] this recording is muted in the system's sound settings";
    const test::LogCapture log;
    Recording recording(input);
    ASSERT_TRUE(recording.start("desk"));
    ASSERT_TRUE(runUntil([&recording] { return recording.hasHeard(0.25F); }));
    EXPECT_EQ(log.count(line), 0U);
    for (const std::string& index : server.recordingIndexes()) {
        server.control({"set-source-output-mute", index, "1"});
    }
    const auto isSilent = [&recording] { return recording.samples().back() == 0.0F; };
    ASSERT_TRUE(runUntil(isSilent));
    recording.engine().stop();

    Recording next(input);
    ASSERT_TRUE(next.start("desk"));
    EXPECT_TRUE(runUntil([&] { return log.count(line) == 1; }, 5s));
    ASSERT_TRUE(runUntil([&next] { return next.frames() > 12000; }));
    EXPECT_THAT(next.samples(), Each(0.0F));
    EXPECT_THAT(next.faults, IsEmpty());
}

TEST_P(PulseAudioInputTest, ReportsASuspendedMicrophone) {
    server.addMicrophone("desk", "Desk", 48000, 1);
    Recording recording(input);
    ASSERT_TRUE(recording.start("desk"));
    ASSERT_TRUE(runUntil([&recording] { return recording.frames() > 0; }));

    const auto start = SteadyClock::now();
    server.control({"suspend-source", "desk", "1"});
    const std::size_t before = recording.frames();
    // PipeWire wakes it again at once, since it is in use.
    ASSERT_TRUE(runUntil([&] {
        return !recording.faults.empty() ||
               recording.frames() > before + std::size_t{48000} * 3 / 2;
    }));

    const bool isReported = !recording.faults.empty();
    EXPECT_EQ(isReported, server.kind() == PrivateSoundServer::Kind::pulseAudio);
    if (isReported) {
        std::printf("suspended: reported after %.0f ms\n", millisecondsSince(start));
        EXPECT_LE(millisecondsSince(start), 1500);
        EXPECT_EQ(recording.faults[0]->kind, CaptureFault::Kind::stalled);
        EXPECT_EQ(recording.faults[0]->description, "The microphone was suspended");
    }
}

TEST_P(PulseAudioInputTest, GoesOnWhenASuspendedMicrophoneIsResumed) {
    const auto desk = server.addMicrophone("desk", "Desk", 48000, 1);
    const VirtualMicrophoneFeeder feeder(server, desk, std::vector<float>(48000 * 30, 0.25F));
    Recording recording(input);
    ASSERT_TRUE(recording.start("desk"));
    ASSERT_TRUE(runUntil([&recording] { return recording.hasHeard(0.25F); }));
    server.control({"suspend-source", "desk", "1"});
    if (server.kind() == PrivateSoundServer::Kind::pulseAudio) {
        // PipeWire wakes it at once.
        ASSERT_TRUE(runUntil([&recording] { return recording.faults.size() == 1; }, 5s));
    }
    const std::size_t before = recording.frames();
    server.control({"suspend-source", "desk", "0"});
    ASSERT_TRUE(runUntil([&] { return recording.frames() > before + 48000; }));
    EXPECT_THAT(recording.faults, SizeIs(testing::AnyOf(0, 2)));
    EXPECT_TRUE(recording.faults.empty() || !recording.faults.back().has_value());
    EXPECT_EQ(recording.samples().back(), 0.25F);
}

TEST_P(PulseAudioInputTest, ReportsNoFaultOnceStopped) {
    server.addMicrophone("desk", "Desk", 48000, 1);
    Recording recording(input);
    ASSERT_TRUE(recording.start("desk"));
    server.kill();
    // The fault is on its way to the main thread, which stops before it arrives.
    const auto deadline = SteadyClock::now() + 5s;
    while (mainQueue.size() == 0 && SteadyClock::now() < deadline) {
        std::this_thread::yield();
    }
    ASSERT_GT(mainQueue.size(), 0U);
    recording.engine().stop();
    mainQueue.drain();
    EXPECT_THAT(recording.faults, IsEmpty());
}

TEST_P(PulseAudioInputTest, EngineMayGoInItsOwnFaultHandler) {
    server.addMicrophone("desk", "Desk", 48000, 1);
    auto engine = input.makeEngine();
    bool handled = false;
    engine->setFaultHandler([&engine, &handled](const std::optional<CaptureFault>& fault) {
        engine.reset();
        handled = !fault->description.empty();
    });
    ASSERT_TRUE(engine->bindDevice(0, "desk"));
    engine->installTap(1024, [](const AudioBuffer&) {});
    engine->start();
    server.kill();
    EXPECT_TRUE(runUntil([&handled] { return handled; }, 5s));
}

// Waiting for a device

TEST_P(PulseAudioInputTest, FindsADeviceThatIsThere) {
    server.addMicrophone("desk", "Desk", 48000, 1);
    bool isFound = false;
    const Handle wait = input.awaitDevice("desk", [&isFound] { isFound = true; });
    EXPECT_FALSE(isFound) << "later";
    EXPECT_TRUE(runUntil([&isFound] { return isFound; }, 5s));
}

TEST_P(PulseAudioInputTest, FindsADeviceOnceItIsPluggedIn) {
    auto desk = server.addMicrophone("desk", "Desk", 48000, 1);
    server.unplug(desk);
    int found = 0;
    const Handle wait = input.awaitDevice("desk", [&found] { ++found; });
    runFor(1s);
    EXPECT_EQ(found, 0);
    server.plugIn(desk, 48000);
    EXPECT_TRUE(runUntil([&found] { return found > 0; }, 5s));
    runFor(700ms);
    EXPECT_EQ(found, 1);
}

TEST_P(PulseAudioInputTest, FindsADeviceOfTheNextServer) {
    server.addMicrophone("desk", "Desk", 48000, 1);
    server.kill();
    bool isFound = false;
    const Handle wait = input.awaitDevice("desk", [&isFound] { isFound = true; });
    runFor(500ms);
    server.restart();
    EXPECT_FALSE(isFound);
    server.addMicrophone("desk", "Desk", 48000, 1);
    EXPECT_TRUE(runUntil([&isFound] { return isFound; }, 5s));
}

TEST_P(PulseAudioInputTest, FindsNothingButMicrophones) {
    server.addMicrophone("desk", "Desk", 48000, 1);
    std::vector<std::string> found;
    std::vector<Handle> waits;
    for (const char* uid : {"gone", "", "@DEFAULT_SOURCE@", "desk_feed", "desk_feed.monitor",
                            "@DEFAULT_MONITOR@", "0"}) {
        waits.push_back(input.awaitDevice(uid, [&found, uid] { found.emplace_back(uid); }));
    }
    runFor(1s);
    EXPECT_THAT(found, IsEmpty());
}

TEST_P(PulseAudioInputTest, AFrozenServerHoldsUpNeitherAWaitNorItsEnd) {
    server.addMicrophone("desk", "Desk", 48000, 1);
    ASSERT_TRUE(input.devices());
    server.freeze();
    bool isFound = false;
    Handle wait;
    const double beginning =
        millisecondsOf([&] { wait = input.awaitDevice("desk", [&isFound] { isFound = true; }); });
    runFor(500ms);
    const double ending = millisecondsOf([&wait] { wait.reset(); });
    std::printf("a wait on a frozen server: begun in %.2f ms, ended in %.2f ms\n", beginning,
                ending);
    EXPECT_LE(beginning, 100);
    EXPECT_LE(ending, 100);
    wait = input.awaitDevice("desk", [&isFound] { isFound = true; });
    runFor(500ms);
    EXPECT_FALSE(isFound);
    server.thaw();
    EXPECT_TRUE(runUntil([&isFound] { return isFound; }, 5s));
}

TEST_P(PulseAudioInputTest, AWaitThatHasEndedLeavesNothingBehind) {
    server.addMicrophone("desk", "Desk", 48000, 1);
    ASSERT_TRUE(input.devices());
    const auto entries = [](const char* folder) {
        const std::filesystem::directory_iterator all(folder);
        return std::distance(begin(all), end(all));
    };
    // A look that an earlier test left behind takes 1.5 s at the most.
    runFor(2s);
    const auto threads = entries("/proc/self/task");
    const auto files = entries("/proc/self/fd");
    for (const char* uid : {"desk", "gone"}) {
        const Handle wait = input.awaitDevice(uid, [] {});
        runFor(400ms);
        EXPECT_GT(entries("/proc/self/task"), threads);
    }
    EXPECT_TRUE(runUntil([&] { return entries("/proc/self/task") == threads; }, 5s));
    EXPECT_TRUE(runUntil([&] { return entries("/proc/self/fd") == files; }, 5s));
}

INSTANTIATE_TEST_SUITE_P(Servers, PulseAudioInputTest, test::bothSoundServers,
                         test::soundServerTestName);

TEST(PulseAudioInputWithoutServer, FailsAtOnceAndStartsNone) {
    test::ManualMainQueue mainQueue;
    PulseAudioInput input(mainQueue);
    const double listing = millisecondsOf([&input] { EXPECT_FALSE(input.devices()); });

    const auto engine = input.makeEngine();
    // Nobody knows whether there is such a device: the start tells what is wrong.
    EXPECT_TRUE(engine->bindDevice(0, "desk"));
    const double starting = millisecondsOf([&engine] {
        try {
            engine->start();
            ADD_FAILURE() << "started without a server";
        } catch (const AudioEngineError& error) {
            EXPECT_STREQ(error.what(), "Connection refused");
        }
    });
    std::printf("no server: refresh failed in %.2f ms, start in %.2f ms\n", listing, starting);
    EXPECT_LE(listing, 100);
    EXPECT_LE(starting, 100);
    const std::filesystem::path runtime = std::getenv("XDG_RUNTIME_DIR");
    EXPECT_FALSE(std::filesystem::exists(runtime / "pulse/native"));
    EXPECT_FALSE(std::filesystem::exists(runtime / "pulse/pid"));
}

} // namespace
} // namespace tandrel
