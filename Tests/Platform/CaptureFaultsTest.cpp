#include "Platform/PulseAudio/PulseAudioInput.h"
#include "Services/AudioCaptureService.h"
#include "SlowLog.h"
#include "Support/BothSoundServers.h"
#include "Support/FakeMicrophonePermission.h"
#include "Support/LogCapture.h"
#include "Support/ManualMainQueue.h"
#include "Support/ProcessFootprint.h"
#include "Support/SignalAnalysis.h"
#include "Support/VirtualMicrophoneFeeder.h"
#include "Support/WaitUntil.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <numbers>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace tandrel {
namespace {

using namespace std::chrono_literals;
using test::PrivateSoundServer;
using test::ProcessFootprint;
using test::VirtualMicrophone;
using test::VirtualMicrophoneFeeder;
using testing::SizeIs;

constexpr double streamRate = 16000;

/// `seconds` of 1 kHz on the first channel, with another tone for each of the others.
std::vector<float> tones(const VirtualMicrophone& microphone, double seconds) {
    const auto frames = static_cast<std::size_t>(seconds * microphone.rate);
    std::vector<float> samples(frames * microphone.channels);
    for (std::size_t index = 0; index < samples.size(); ++index) {
        const std::size_t frame = index / microphone.channels;
        const std::size_t channel = index % microphone.channels;
        const double frequency =
            channel == 0 ? 1000.0 : 1000.0 + 250.0 * static_cast<double>(channel);
        const double phase = 2 * std::numbers::pi * frequency * static_cast<double>(frame);
        samples[index] = static_cast<float>(0.25 * std::sin(phase / microphone.rate));
    }
    return samples;
}

/// The capture of the whole program, from the sound server to the bytes of the stream.
class Capture {
public:
    explicit Capture(test::ManualMainQueue& queue)
        : queue_(queue)
        , input_(queue)
        , permission_(queue)
        , service(input_, permission_, queue) {
        service.setOnAudioBuffer([this](const std::vector<std::uint8_t>& bytes) {
            const auto samples = test::decodePcm(bytes);
            const std::lock_guard lock(mutex_);
            samples_.insert(samples_.end(), samples.begin(), samples.end());
        });
    }
    ~Capture() { service.stopCapture(); }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    void start(std::size_t device = 0) {
        service.refreshDevices();
        ASSERT_GT(service.availableDevices.value().size(), device);
        service.startCapture(service.availableDevices.value()[device]);
    }
    [[nodiscard]] std::vector<double> samples() {
        const std::lock_guard lock(mutex_);
        return samples_;
    }
    /// From the first sample that is none of silence on, so many.
    [[nodiscard]] std::vector<double> sound(std::size_t count) {
        const auto all = samples();
        const auto begin =
            std::find_if(all.begin(), all.end(), [](double sample) { return sample != 0.0; });
        const auto length =
            std::min<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(count), all.end() - begin);
        return {begin, begin + length};
    }
    /// Waits until so many samples have come after the silence.
    [[nodiscard]] bool awaitSound(std::size_t count, std::chrono::milliseconds limit = 20s) {
        return queue_.drainUntil([&] { return sound(count).size() == count; }, limit);
    }

private:
    test::ManualMainQueue& queue_;
    PulseAudioInput input_;
    test::FakeMicrophonePermission permission_;
    std::mutex mutex_;
    std::vector<double> samples_;

public:
    // Last: its tap is gone before what the tap uses.
    AudioCaptureService service;
};

/// How loud `frequency` is in the middle of a sound.
double loudness(const std::vector<double>& sound, double frequency) {
    // Whole periods of every tone that is in it; without the filter's start.
    const std::vector<double> middle(sound.begin() + 320, sound.begin() + 320 + 1280);
    return std::abs(test::component(middle, frequency, streamRate));
}

using Format = std::tuple<PrivateSoundServer::Kind, std::uint32_t>;

class CaptureFormats : public testing::TestWithParam<Format> {};

std::string formatName(const testing::TestParamInfo<Format>& info) {
    return std::to_string(std::get<1>(info.param)) + "Hz";
}

INSTANTIATE_TEST_SUITE_P(PulseAudio, CaptureFormats,
                         testing::Combine(testing::Values(PrivateSoundServer::Kind::pulseAudio),
                                          testing::Values(8000, 16000, 22050, 44100, 48000,
                                                          192000)),
                         formatName);
INSTANTIATE_TEST_SUITE_P(PipeWire, CaptureFormats,
                         testing::Combine(testing::Values(PrivateSoundServer::Kind::pipeWire),
                                          testing::Values(8000, 48000, 192000)),
                         formatName);

TEST_P(CaptureFormats, WithOneToEightChannelsTheFirstIsStreamed) {
    const auto [kind, rate] = GetParam();
    PrivateSoundServer server(kind, {rate, std::bit_ceil(std::max(rate * 1024 / 48000, 256U))});
    server.makeDefault();
    test::ManualMainQueue queue;
    for (std::uint32_t channels = 1; channels <= 8; ++channels) {
        SCOPED_TRACE(channels);
        const auto microphone =
            server.addMicrophone("m" + std::to_string(channels), "Microphone", rate, channels);
        Capture capture(queue);
        capture.start();
        const VirtualMicrophoneFeeder feeder(server, microphone, tones(microphone, 0.6));
        // For a tenth of a second without a gap: on a busy machine the server itself loses sound.
        constexpr std::size_t enough = 2000;
        constexpr std::size_t step = 320;
        double own = 0;
        double others = 1;
        for (std::size_t begin = 0; begin < 6000 && (std::abs(own - 0.25) > 0.01 || others > 0.005);
             begin += step) {
            ASSERT_TRUE(capture.awaitSound(begin + enough));
            auto sound = capture.sound(begin + enough);
            sound.erase(sound.begin(), sound.begin() + static_cast<std::ptrdiff_t>(begin));
            own = loudness(sound, 1000);
            others = loudness(sound, 1250);
        }
        EXPECT_NEAR(own, 0.25, 0.01);
        EXPECT_LT(others, 0.005) << "of another channel";
        EXPECT_FALSE(capture.service.captureFault.value());
        capture.service.stopCapture();
        server.unplug(microphone);
        server.unloadModule(microphone.sinkModule);
    }
}

class CaptureFaults : public testing::TestWithParam<PrivateSoundServer::Kind> {
protected:
    CaptureFaults() { server.makeDefault(); }

    PrivateSoundServer server{GetParam()};
    test::ManualMainQueue queue;
};

INSTANTIATE_TEST_SUITE_P(Servers, CaptureFaults, test::bothSoundServers, test::soundServerTestName);

TEST_P(CaptureFaults, OfTwoDevicesWithOneNameTheChosenOneIsHeard) {
    const auto first = server.addMicrophone("first", "Headset", 48000, 1);
    const auto second = server.addMicrophone("second", "Headset", 48000, 1);
    for (const std::size_t chosen : {std::size_t{0}, std::size_t{1}}) {
        Capture capture(queue);
        capture.start(chosen);
        const auto& devices = capture.service.availableDevices.value();
        ASSERT_THAT(devices, SizeIs(2));
        EXPECT_EQ(devices[0].name, devices[1].name);
        EXPECT_NE(devices[0].id, devices[1].id);
        EXPECT_NE(devices[0].uid, devices[1].uid);
        // Only the other one speaks at first.
        const VirtualMicrophone& other = devices[chosen].uid == "first" ? second : first;
        const VirtualMicrophone& own = devices[chosen].uid == "first" ? first : second;
        {
            VirtualMicrophoneFeeder feeder(server, other, tones(other, 0.3));
            ASSERT_TRUE(test::waitUntil([&] { return !feeder.isPlaying(); }));
            EXPECT_TRUE(capture.sound(1).empty());
        }
        const VirtualMicrophoneFeeder feeder(server, own, tones(own, 0.3));
        EXPECT_TRUE(capture.awaitSound(2000));
    }
}

TEST_P(CaptureFaults, WhatIsNoNumberSpoilsNothingAfterIt) {
    const auto microphone = server.addMicrophone("desk", "Desk", 48000, 1);
    Capture capture(queue);
    capture.start();
    std::vector<float> samples = tones(microphone, 0.6);
    // From 0.2 s on, for 1 ms each.
    const float bad[] = {
        std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
        -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::max(), 1000.0F};
    auto place = samples.begin() + 9600;
    for (const float value : bad) {
        std::fill_n(place, 48, value);
        place += 48;
    }
    const VirtualMicrophoneFeeder feeder(server, microphone, samples);
    constexpr std::size_t enough = 8000;
    ASSERT_TRUE(capture.awaitSound(enough));
    const auto sound = capture.sound(enough);
    // Where the sound is to be the tone alone again: those 5 ms, and what the filter remembers.
    constexpr std::ptrdiff_t begin = 3200;
    constexpr std::ptrdiff_t end = 3280 + 96;
    EXPECT_NEAR(loudness({sound.begin(), sound.begin() + begin}, 1000), 0.25, 0.01);
    EXPECT_NEAR(loudness({sound.begin() + end, sound.end()}, 1000), 0.25, 0.01);
    EXPECT_GT(*std::max_element(sound.begin() + begin, sound.begin() + end), 0.99)
        << "what is too loud is clipped, and does not wrap around";
    EXPECT_TRUE(std::isfinite(capture.service.audioLevel.value()));
    EXPECT_FALSE(capture.service.captureFault.value());
}

/// At the stream's own rate every sample is one of the recording's, and so can be counted.
class CaptureFaultsAtItsOwnRate : public testing::TestWithParam<PrivateSoundServer::Kind> {
protected:
    CaptureFaultsAtItsOwnRate() { server.makeDefault(); }

    PrivateSoundServer server{GetParam(), {16000, 512}};
    test::ManualMainQueue queue;
};

INSTANTIATE_TEST_SUITE_P(Servers, CaptureFaultsAtItsOwnRate, test::bothSoundServers,
                         test::soundServerTestName);

TEST_P(CaptureFaultsAtItsOwnRate, ADiskThatStallsUnderTheLogCostsNoSound) {
    const auto microphone = server.addMicrophone("desk", "Desk", 16000, 1);
    const test::SlowLog slow(1500ms, 2);
    Capture capture(queue);
    capture.start();
    std::vector<float> counted(16000 * 6);
    for (std::size_t index = 0; index < counted.size(); ++index) {
        counted[index] = static_cast<float>(index % 30000 + 1) / 32768.0F;
    }
    const VirtualMicrophoneFeeder feeder(server, microphone, counted);
    ASSERT_TRUE(capture.awaitSound(counted.size(), 40s)) << capture.samples().size();
    EXPECT_EQ(test::SlowLog::heldUp(), 2) << "the log has not been written to";
    const auto sound = capture.sound(counted.size());
    for (std::size_t index = 0; index < counted.size(); ++index) {
        ASSERT_EQ(std::lround(sound[index] * 32768), index % 30000 + 1) << "at " << index;
    }
}

TEST_P(CaptureFaults, StartingAndStoppingLeavesNothingBehind) {
    server.addMicrophone("desk", "Desk", 48000, 1);
    const auto round = [this] {
        Capture capture(queue);
        capture.start();
        EXPECT_TRUE(queue.drainUntil([&] { return !capture.samples().empty(); }));
    };
    // What the library makes once and keeps is there before anything is counted.
    round();
    const auto before = ProcessFootprint::ofThisProcess();
    for (int count = 0; count < 20; ++count) {
        round();
    }
    const auto difference = [&before] {
        return ProcessFootprint::ofThisProcess().differenceFrom(before);
    };
    EXPECT_TRUE(test::waitUntil([&] { return difference().empty(); })) << difference();
}

/// The graph's clock changes under a capture that runs, as when another program asks for a rate.
TEST(CaptureFaultsOfPipeWire, AGraphThatChangesItsRateChangesNothingOfTheStream) {
    PrivateSoundServer server(PrivateSoundServer::Kind::pipeWire);
    server.makeDefault();
    test::ManualMainQueue queue;
    const auto microphone = server.addMicrophone("desk", "Desk", 48000, 1);
    Capture capture(queue);
    capture.start();
    int faults = 0;
    const auto watch = capture.service.captureFault.observe(
        [&faults](const std::optional<CaptureFault>& fault) { faults += fault ? 1 : 0; });
    const VirtualMicrophoneFeeder feeder(server, microphone, tones(microphone, 6));
    ASSERT_TRUE(capture.awaitSound(8000));
    const auto set =
        test::ChildProcess::run({"pw-metadata", "-n", "settings", "0", "clock.force-rate", "44100"},
                                server.clientEnvironment());
    ASSERT_EQ(set.exitCode, 0);
    const std::size_t before = capture.samples().size();
    ASSERT_TRUE(queue.drainUntil([&] { return capture.samples().size() > before + 48000; }));
    const auto all = capture.samples();
    const std::vector<double> after(all.end() - 16000, all.end());
    EXPECT_NEAR(test::measureFrequency(after, 1000, streamRate), 1000, 0.1);
    EXPECT_EQ(faults, 0);
}

/// More than the server keeps for us: what is lost is lost, the rest is in order, and the capture
/// goes on.
TEST(CaptureFaultsOfPulseAudio, ATapThatIsHeldUpTooLongLosesSoundAndNothingElse) {
    PrivateSoundServer server(PrivateSoundServer::Kind::pulseAudio);
    server.makeDefault();
    test::ManualMainQueue queue;
    const auto microphone = server.addMicrophone("desk", "Desk", 8000, 1);
    const test::SlowLog slow(6s, 1);
    Capture capture(queue);
    capture.start();
    std::vector<float> rising(8000 * 8);
    for (std::size_t index = 0; index < rising.size(); ++index) {
        rising[index] = static_cast<float>(index + 1) / static_cast<float>(rising.size());
    }
    const VirtualMicrophoneFeeder feeder(server, microphone, rising);
    const auto isAtTheEnd = [&] {
        const auto all = capture.samples();
        return std::find_if(all.begin(), all.end(), [](double sample) { return sample > 0.99; }) !=
               all.end();
    };
    ASSERT_TRUE(queue.drainUntil(isAtTheEnd, 40s));
    EXPECT_EQ(test::SlowLog::heldUp(), 1);
    const auto all = capture.samples();
    const auto top = std::max_element(all.begin(), all.end());
    const auto begin = std::find_if(all.begin(), top, [](double sample) { return sample > 0.001; });
    int falls = 0;
    double furthest = 0;
    for (auto sample = begin; sample != top; ++sample) {
        furthest = std::max(furthest, *sample);
        // The filter rings a little at a jump.
        falls += *sample < furthest - 0.15 ? 1 : 0;
    }
    EXPECT_EQ(falls, 0);
    // Sound that is seconds old by then is of no use to anybody: what is kept has a bound.
    const double seconds = static_cast<double>(top - begin) / streamRate;
    std::printf("%.2f s of %.2f s came\n", seconds, 8.0);
    EXPECT_LT(seconds, 7.6);
}

} // namespace
} // namespace tandrel
