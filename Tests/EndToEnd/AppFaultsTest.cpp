#include "EndToEnd/AppStory.h"
#include "EndToEnd/SetClock.h"
#include "Support/PrivateSoundServer.h"
#include "Support/ProcessFootprint.h"
#include "Support/SmallDisk.h"
#include "Support/VirtualMicrophoneFeeder.h"
#include "Support/WaitUntil.h"

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace tandrel::test {
namespace {

using std::chrono::seconds;

/// The whole program while it streams, and what may happen to it then.
class AppFaults : public AppStory {
protected:
    static void SetUpTestSuite() {
        AppStory::SetUpTestSuite();
        sound = std::make_unique<PrivateSoundServer>(PrivateSoundServer::Kind::pulseAudio);
        const auto microphone = sound->addMicrophone("studio", "Studio Microphone", 48000, 1);
        std::vector<float> samples(std::size_t{48000} * 240);
        for (std::size_t index = 0; index < samples.size(); ++index) {
            samples[index] = static_cast<float>(index % 96) / 192;
        }
        feeder = std::make_unique<VirtualMicrophoneFeeder>(*sound, microphone, samples);
    }
    static void TearDownTestSuite() {
        feeder.reset();
        sound.reset();
        AppStory::TearDownTestSuite();
    }
    void SetUp() override {
        AppStory::SetUp();
        environment["PULSE_SERVER"] = sound->address();
    }

    [[nodiscard]] bool awaitAudio(std::int64_t more = 10) {
        const auto before = backend().messageCount(session());
        return waitUntil([&] { return backend().messageCount(session()) > before + more; });
    }
    void startStreaming(const std::filesystem::path& home = {}) {
        startSession();
        startWithPopover(home);
        signIn();
        stream();
    }
    void stream() {
        click(role::button, "Start Streaming");
        interface().await(role::button, "Stop");
        ASSERT_TRUE(awaitAudio());
    }
    void stopStreaming() {
        click(role::button, "Stop");
        interface().awaitName("Done");
        EXPECT_TRUE(waitUntil([&] { return backend().lastEnd(session()) == "client 1000"; }))
            << backend().lastEnd(session());
    }

    static inline std::unique_ptr<PrivateSoundServer> sound;
    static inline std::unique_ptr<VirtualMicrophoneFeeder> feeder;
};

TEST_F(AppFaults, KilledWhileStreamingItStartsAgainWithIconSignInAndSession) {
    desktop().startKeyring();
    startStreaming();
    const auto home = app().home();
    app().process().kill();
    EXPECT_TRUE(waitUntil([] { return sound->recordingIndexes().empty(); }));
    startWithPopover(home);
    interface().await(role::button, "Sign Out");
    interface().awaitEnabled(role::button, "Start Streaming");
    stream();
    stopStreaming();
}

TEST_F(AppFaults, AClockThatIsSetBackWhileItStreamsChangesTheLogsStampsAndNothingElse) {
    SetClock clock(desktop().folder() / "clock");
    environment["TANDREL_TEST_CLOCK"] = clock.file().string();
    startStreaming();
    constexpr std::chrono::hours tenYears(10 * 365 * 24);
    clock.set(-tenYears);
    ASSERT_TRUE(awaitAudio(100));
    EXPECT_EQ(backend().connectionCount(session()), 1);
    EXPECT_NE(interface().nameStartingWith("Streaming 00:0"), "");
    backend().send("POST", "/dev/sessions/" + session() + "/stream", R"({"action": "reset"})");
    ASSERT_TRUE(waitUntil([&] { return backend().connectionCount(session()) == 2; }));
    ASSERT_TRUE(awaitAudio());
    stopStreaming();
    EXPECT_TRUE(app().waitForLog('\n' + clock.day())) << app().debugLog();
}

TEST_F(AppFaults, SixtyFourDescriptorsAreEnough) {
    desktop().startKeyring();
    startSession();
    desktop().startStatusNotifierTray();
    AppProcess::Start limited;
    limited.backendURL = backend().url();
    limited.program = "/usr/bin/prlimit";
    limited.arguments = {"--nofile=64:64", AppProcess::builtProgram().string(), "--show"};
    start(limited);
    signIn();
    stream();
    const auto footprint = ProcessFootprint::of(app().process().pid());
    RecordProperty("descriptors", static_cast<int>(footprint.descriptors.size()));
    EXPECT_LT(footprint.descriptors.size(), 60U) << "hardly any room is left";
    stopStreaming();
    EXPECT_EQ(app().end(SIGTERM), 0);
}

TEST_F(AppFaults, OnAFullDiskItSignsInStreamsAndStops) {
    const SmallDisk disk;
    const auto home = disk.path() / "home";
    std::filesystem::create_directories(home);
    // The app's own output goes there too; it is there before the disk is full.
    startSession();
    startWithPopover(home);
    disk.fill();
    signIn();
    stream();
    disk.clear();
    stopStreaming();
    EXPECT_EQ(app().end(SIGTERM), 0);
}

TEST_F(AppFaults, StreamingAgainAndAgainLeavesNothingOpen) {
    desktop().startKeyring();
    startStreaming();
    stopStreaming();
    const auto once = [this] {
        interface().awaitName("Waiting");
        startSession();
        interface().awaitEnabled(role::button, "Start Streaming");
        stream();
        stopStreaming();
    };
    once();
    // Whether it keeps its connection for the polls depends on how long ago the last one was.
    const auto footprint = [process = app().process().pid()] {
        return ProcessFootprint::of(process).without(ProcessFootprint::tcpSocket);
    };
    const auto before = footprint();
    for (int count = 0; count < 2; ++count) {
        once();
    }
    const auto difference = [&] { return footprint().differenceFrom(before); };
    EXPECT_TRUE(waitUntil([&] { return difference().empty(); }, seconds(5))) << difference();
}

} // namespace
} // namespace tandrel::test
